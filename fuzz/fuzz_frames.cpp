// SPDX-License-Identifier: MIT
// Frames of the on-board protocol into the communicator: what it answers and delivers is what the frame's
// bytes say, taken apart here by hand.
//
// An input is a row of frames, each after a byte with its size.
#include "communication/fragmentedcommunicator.h"
#include "communication/reassemblymodel.h"
#include "support/fuzzapp.h"
#include "support/fuzzcheck.h"
#include "support/inputbytes.h"

#include <QVector>

namespace {

constexpr quint8 Telemetry = 2;
constexpr quint8 Data = 252;
constexpr quint8 Ping = 254;
constexpr int HeaderSize = 2;

class Carrier : public FragmentedCommunicator
{
public:
    Carrier()
        : FragmentedCommunicator(20)
    {}

    using FragmentedCommunicator::sendFragment;
    void sendFragment(QByteArray frame) override { sent.append(frame); }
    QString id() const override { return QStringLiteral("FUZZ"); }

    QVector<QByteArray> sent;
};

struct Expected
{
    bool pong = false;
    std::optional<QByteArray> delivered;
};

PayloadMessage fragmentFrom(const QByteArray &body)
{
    InputBytes bytes(reinterpret_cast<const quint8 *>(body.constData()), static_cast<size_t>(body.size()));
    PayloadMessage fragment;
    const auto word = [&bytes] {
        const quint8 low = bytes.byte();
        return static_cast<quint16>(low | (bytes.byte() << 8));
    };
    fragment.header.total = word();
    fragment.header.id = word();
    fragment.header.offset = word();
    fragment.header.messageId = MessageId{bytes.byte()};
    fragment.header.payloadId = PayloadId{bytes.byte()};
    fragment.data = bytes.rest();
    return fragment;
}

Expected expectedOf(const QByteArray &frame, ReassemblyModel &model)
{
    Expected expected;
    if (frame.size() < HeaderSize || frame.size() < HeaderSize + static_cast<quint8>(frame[1]))
        return expected;
    const auto type = static_cast<quint8>(frame[0]);
    const QByteArray body = frame.mid(HeaderSize, static_cast<quint8>(frame[1]));
    if (body.size() < 8)
        return expected;
    if (type == Ping)
        expected.pong = true;
    if (type == Telemetry || type == Data)
        expected.delivered = model.put(fragmentFrom(body));
    if (type == Telemetry)
        expected.delivered.reset(); // told in the log alone
    return expected;
}

void checkPong(const QVector<QByteArray> &sent, const QByteArray &ping)
{
    fuzzCheck(sent.size() == 1, "one pong to a ping");
    fuzzCheck(sent[0].left(2) == QByteArray::fromHex("040a"), "a pong with ten bytes");
    fuzzCheck(sent[0].mid(2, 8) == ping.mid(2, 8), "the time of the ping");
    fuzzCheck(sent[0].mid(10, 2) == QByteArray::fromHex("0002"), "version 0.2");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const quint8 *data, size_t size)
{
    fuzzApp();
    Carrier communicator;
    ReassemblyModel model;
    QVector<CompletePayload> delivered;
    QObject::connect(&communicator, &ICommunicator::receivedData, &communicator,
                     [&delivered](const CompletePayload &payload) { delivered.append(payload); });
    InputBytes input(data, size);
    while (!input.atEnd()) {
        const QByteArray frame = input.bytes(input.byte());
        communicator.sent.clear();
        delivered.clear();
        communicator.parseIncomingData(frame);
        const Expected expected = expectedOf(frame, model);
        if (expected.pong)
            checkPong(communicator.sent, frame);
        else
            fuzzCheck(communicator.sent.isEmpty(), "nothing is sent but pongs");
        fuzzCheck(delivered.size() == (expected.delivered ? 1 : 0), "delivered when complete");
        if (expected.delivered)
            fuzzCheck(delivered[0].data == *expected.delivered, "the data that came");
    }
    return 0;
}
