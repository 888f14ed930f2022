// SPDX-License-Identifier: MIT
#include "host/linkcounters.h"

#include "autopilot/support/frames.h"
#include "autopilot/support/goldenframes.h"

#include <QtTest>

#include <rapidcheck.h>

#include <algorithm>
#include <set>
#include <vector>

using namespace std::chrono_literals;

namespace {

constexpr auto Channel = mavlink::MAVLINK_COMM_1; // a spare one: the plugin's is 0

const std::vector<QByteArray> &goldenFrames()
{
    static const std::vector<QByteArray> frames = {
        QByteArray::fromHex(Golden::Px4Heartbeat),         QByteArray::fromHex(Golden::Px4HeartbeatMavlink1),
        QByteArray::fromHex(Golden::SystemTime),           QByteArray::fromHex(Golden::GpsRawInt),
        QByteArray::fromHex(Golden::AttitudeMavlink1),     QByteArray::fromHex(Golden::AttitudeSigned),
        QByteArray::fromHex(Golden::GroundHeartbeat),      QByteArray::fromHex(Golden::Unknown),
        QByteArray::fromHex(Golden::UnknownEndingInMarker)};
    return frames;
}

QByteArray anyBytes()
{
    const auto bytes = *rc::gen::container<std::vector<quint8>>(
        rc::gen::oneOf(rc::gen::arbitrary<quint8>(), rc::gen::elementOf(std::vector<quint8>{0xfd, 0xfe})));
    return QByteArray(reinterpret_cast<const char *>(bytes.data()), static_cast<int>(bytes.size()));
}

QByteArray anyDamage(QByteArray frame)
{
    const auto at = *rc::gen::inRange(0, frame.size());
    switch (*rc::gen::inRange(0, 4)) {
    case 0:
        frame[at] = static_cast<char>(frame[at] ^ 1 << *rc::gen::inRange(0, 8));
        return frame;
    case 1:
        return frame.left(at);
    default:
        return frame;
    }
}

/// Frames, some of them damaged, with stray bytes between them.
QByteArray anyStream()
{
    QByteArray stream;
    const auto pieces = *rc::gen::inRange(1, 40);
    for (int i = 0; i < pieces; ++i)
        stream += *rc::gen::inRange(0, 4) == 0 ? anyBytes() : anyDamage(*rc::gen::elementOf(goldenFrames()));
    return stream;
}

/// What the plugin's parser makes of it.
QList<QByteArray> parsedByTheLibrary(const QByteArray &stream)
{
    *mavlink::mavlink_get_channel_status(Channel) = {};
    QList<QByteArray> messages;
    for (const char byte : stream) {
        if (mavlink::mavlink_parse_char(Channel, static_cast<quint8>(byte), nullptr, nullptr) !=
            mavlink::MAVLINK_FRAMING_OK)
            continue;
        const mavlink::mavlink_message_t &message = *mavlink::mavlink_get_channel_buffer(Channel);
        messages += QByteArray(_MAV_PAYLOAD(&message), message.len) + QByteArray::number(message.msgid);
    }
    return messages;
}

QByteArray summary(const LinkCounters &counters)
{
    QByteArray text;
    for (const qint64 count : {counters.bytes(), counters.frames(), counters.badChecksums(),
                               counters.unknownIds(), counters.strayBytes()})
        text += QByteArray::number(count) + ' ';
    for (const auto &sender : counters.senders()) {
        const SequenceLoss &loss = sender.second.loss();
        for (const qint64 count :
             {loss.received(), loss.lost(), loss.late(), loss.duplicates(), sender.second.restarts()})
            text += QByteArray::number(count) + ' ';
    }
    return text;
}

/// Frames on their way: some are lost, some come twice, some are overtaken by a few others.
std::vector<int> anyArrivals()
{
    struct Arrival
    {
        int place;
        int number;
    };
    std::vector<Arrival> arrivals;
    const auto first = *rc::gen::inRange(0, 256);
    const auto frames = *rc::gen::inRange(1, 1500);
    const auto lossPercent = *rc::gen::element(0, 1, 10, 50);
    for (int number = first; number < first + frames; ++number) {
        const auto copies =
            *rc::gen::inRange(0, 100) < lossPercent ? 0 : *rc::gen::weightedElement<int>({{20, 1}, {1, 2}});
        for (int i = 0; i < copies; ++i)
            arrivals.push_back(
                {number + *rc::gen::weightedOneOf<int>(
                              {{10, rc::gen::just(0)}, {1, rc::gen::inRange(0, SequenceLoss::Window)}}),
                 number});
    }
    std::stable_sort(arrivals.begin(), arrivals.end(),
                     [](const Arrival &one, const Arrival &other) { return one.place < other.place; });
    std::vector<int> numbers;
    for (const Arrival &arrival : arrivals)
        numbers.push_back(arrival.number);
    return numbers;
}

} // namespace

class TestLinkProperties : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void numbersInAnyOrder_areCountedAsTheyWereSent();
    void parser_findsWhatTheLibraryFinds();
    void everyByte_isAccountedFor();
    void stream_cutAnywhere_givesTheSameCounts();
};

void TestLinkProperties::numbersInAnyOrder_areCountedAsTheyWereSent()
{
    QVERIFY(rc::check("of frames that come in any order within the window the missing ones are lost", [] {
        const std::vector<int> numbers = anyArrivals();
        const std::set<int> different(numbers.begin(), numbers.end());
        SequenceLoss loss;
        for (const int number : numbers)
            loss.take(static_cast<quint8>(number));
        const qint64 came = static_cast<qint64>(different.size());
        const qint64 span = different.empty() ? 0 : *different.rbegin() - *different.begin() + 1;
        RC_ASSERT(loss.received() == came);
        RC_ASSERT(loss.lost() == span - came);
        RC_ASSERT(loss.duplicates() == static_cast<qint64>(numbers.size()) - came);
    }));
}

void TestLinkProperties::parser_findsWhatTheLibraryFinds()
{
    QVERIFY(rc::check("in any bytes the parser finds the messages that the library finds", [] {
        const QByteArray stream = anyStream();
        LinkParser parser;
        QList<QByteArray> messages;
        for (const char byte : stream) {
            if (parser.take(static_cast<quint8>(byte)) != LinkParser::Outcome::Frame)
                continue;
            const mavlink::mavlink_message_t &message = parser.message();
            messages += QByteArray(_MAV_PAYLOAD(&message), message.len) + QByteArray::number(message.msgid);
        }
        RC_ASSERT(messages == parsedByTheLibrary(stream));
    }));
}

void TestLinkProperties::everyByte_isAccountedFor()
{
    QVERIFY(rc::check("a byte is part of a frame, stray, or of a frame that is begun", [] {
        const QByteArray stream = anyStream();
        LinkParser parser;
        qint64 inFrames = 0;
        int begunBefore = 0;
        for (const char byte : stream) {
            const bool ended = parser.take(static_cast<quint8>(byte)) != LinkParser::Outcome::Nothing;
            inFrames += ended ? begunBefore + 1 - parser.bytesOfBegunFrame() : 0;
            begunBefore = parser.bytesOfBegunFrame();
        }
        RC_ASSERT(inFrames + parser.strayBytes() + parser.bytesOfBegunFrame() == stream.size());
    }));
}

void TestLinkProperties::stream_cutAnywhere_givesTheSameCounts()
{
    QVERIFY(rc::check("any cut of a stream into reads gives the same counts", [] {
        const QByteArray stream = anyStream();
        LinkCounters whole;
        whole.take(stream, 0ms);
        LinkCounters inParts;
        for (int start = 0; start < stream.size();) {
            const auto size = *rc::gen::inRange(1, 400);
            inParts.take(stream.mid(start, size), 0ms);
            start += size;
        }
        RC_ASSERT(summary(inParts) == summary(whole));
    }));
}

QTEST_GUILESS_MAIN(TestLinkProperties)
#include "tst_linkproperties.moc"
