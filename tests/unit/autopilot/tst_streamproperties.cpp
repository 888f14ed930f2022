// SPDX-License-Identifier: MIT
#include "autopilot/support/autopilotrig.h"
#include "autopilot/support/frames.h"
#include "autopilot/support/goldenframes.h"
#include "support/testmain.h"

#include <rapidcheck.h>

#include <utility>
#include <vector>

namespace {

const std::vector<QByteArray> &goldenFrames()
{
    static const std::vector<QByteArray> frames = {
        QByteArray::fromHex(Golden::Px4Heartbeat),      QByteArray::fromHex(Golden::Px4HeartbeatMavlink1),
        QByteArray::fromHex(Golden::SystemTime),        QByteArray::fromHex(Golden::GpsRawInt),
        QByteArray::fromHex(Golden::Attitude),          QByteArray::fromHex(Golden::AttitudeMavlink1),
        QByteArray::fromHex(Golden::GlobalPositionInt), QByteArray::fromHex(Golden::DistanceSensor)};
    return frames;
}

/// Frames with stray bytes between them.
QByteArray anyStream()
{
    QByteArray stream;
    const auto pieces = *rc::gen::inRange(1, 30);
    for (int i = 0; i < pieces; ++i) {
        if (*rc::gen::inRange(0, 3) == 0) {
            const auto stray = *rc::gen::container<std::vector<quint8>>(rc::gen::arbitrary<quint8>());
            stream.append(reinterpret_cast<const char *>(stray.data()), static_cast<int>(stray.size()));
        } else {
            stream += *rc::gen::elementOf(goldenFrames());
        }
    }
    return stream;
}

class Receiver
{
public:
    Receiver()
    {
        rig.log.ignoreDebug();
        QObject::connect(rig.plugin.get(), &MavAutopilot::messageReceived, rig.plugin.get(),
                         [this](const mavlink::mavlink_message_t &message) {
                             seen.append(QByteArray(_MAV_PAYLOAD(&message), message.len) +
                                         QByteArray::number(message.msgid) + '/' +
                                         QByteArray::number(message.seq));
                         });
    }
    ~Receiver()
    {
        rig.log.take(); // telemetry is another matter
        takeStandInCalls();
    }

    QList<QByteArray> take(const QByteArray &bytes)
    {
        rig.plugin->dispatchReceivedData(bytes);
        return std::exchange(seen, {});
    }

private:
    AutopilotRig rig;
    QList<QByteArray> seen;
};

} // namespace

class TestStreamProperties : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void stream_cutAnywhere_givesTheSameMessages();
    void frame_withOneBitFlipped_isNotDelivered();
};

void TestStreamProperties::stream_cutAnywhere_givesTheSameMessages()
{
    QVERIFY(rc::check("any cut of a stream into reads gives the same messages", [] {
        const QByteArray stream = anyStream();
        const QList<QByteArray> expected = Receiver().take(stream);
        Receiver receiver;
        QList<QByteArray> messages;
        for (int start = 0; start < stream.size();) {
            const auto size = *rc::gen::inRange(1, 400);
            messages += receiver.take(stream.mid(start, size));
            start += size;
        }
        RC_ASSERT(messages == expected);
    }));
}

void TestStreamProperties::frame_withOneBitFlipped_isNotDelivered()
{
    Receiver receiver;
    for (const QByteArray &frame : goldenFrames()) {
        for (int bit = 0; bit < 8 * frame.size(); ++bit) {
            resetChannel();
            QByteArray damaged = frame;
            damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ (1 << (bit % 8)));
            QVERIFY2(receiver.take(damaged).isEmpty(), qPrintable(QString::number(bit)));
        }
        resetChannel();
        QCOMPARE(receiver.take(frame).size(), 1);
    }
}

APP_TEST_MAIN(TestStreamProperties)
#include "tst_streamproperties.moc"
