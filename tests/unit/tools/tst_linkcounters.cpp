// SPDX-License-Identifier: MIT
#include "host/linkcounters.h"

#include "autopilot/support/frames.h"
#include "autopilot/support/goldenframes.h"
#include "sim/recording.h"

#include <QtTest>

#include <random>

using namespace std::chrono_literals;

namespace {

constexpr quint8 Px4 = 12;
constexpr quint8 ArduPilot = 3;
constexpr quint8 NoAutopilot = 8;
constexpr Sender Autopilot{1, 1};
constexpr Sender Gimbal{1, 154};
constexpr Sender GroundStation{255, 190};

QByteArray heartbeat(quint8 autopilot, Sender sender, int number)
{
    return frameOf(heartbeatOf(autopilot), sender, static_cast<quint8>(number));
}

QByteArray attitude(Sender sender, int number)
{
    mavlink::common::msg::ATTITUDE message{};
    message.roll = static_cast<float>(number);
    return frameOf(message, sender, static_cast<quint8>(number));
}

/// Frames of a sender that restarts after number 43, and tells its time in such messages.
template <typename Message>
QByteArray restarting()
{
    Message message{};
    message.time_boot_ms = 60'000;
    QByteArray stream = frameOf(message, Autopilot, 42) + heartbeat(Px4, Autopilot, 43);
    message.time_boot_ms = 500;
    return stream + heartbeat(Px4, Autopilot, 0) + frameOf(message, Autopilot, 1);
}

const SenderCounters &countersOf(const LinkCounters &counters, Sender one)
{
    return counters.senders().at({one.system, one.component});
}

LinkCounters counted(const QByteArray &bytes)
{
    LinkCounters counters;
    counters.take(bytes, 0ms);
    return counters;
}

/// Frames of a sender from number 0, of which some are lost.
QByteArray lossyStream(int frames, int lossPercent, qint64 &lost)
{
    std::mt19937 generator(7);
    QByteArray stream;
    qint64 missing = 0;
    for (int i = 0; i < frames; ++i) {
        if (i > 0 && generator() % 100 < static_cast<unsigned>(lossPercent)) {
            ++missing;
            continue;
        }
        stream += attitude(Autopilot, i);
        lost += std::exchange(missing, 0);
    }
    return stream;
}

QByteArray recorded(const char *name)
{
    QString error;
    const QString path = QStringLiteral(NOFLAILSTEN_TEST_DATA "/%1").arg(QLatin1String(name));
    const auto recording = Recording::open(path, 57600, &error);
    QByteArray bytes;
    for (qint64 i = 0; recording && i < recording->pieceCount(); ++i)
        bytes += recording->read(recording->piece(i));
    return bytes;
}

} // namespace

class TestLinkCounters : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void nothing_isNothing();
    void lossyStream_isCountedExactly_data();
    void lossyStream_isCountedExactly();
    void sendersInTurn_areCountedApart();
    void damagedFrame_isABadChecksumAndLost();
    void unknownMessage_isNotLost();
    void unknownMessage_makesNobodyASender();
    void recordings_data();
    void recordings();
    void timeSinceBoot_tellsARestart_data();
    void timeSinceBoot_tellsARestart();
    void heartbeats_tellTheAutopilot_data();
    void heartbeats_tellTheAutopilot();
    void heartbeatAge_isTheAutopilots();
    void newConnection_forgetsNoTotals();
    void frameThatIsBegun_swallowsTheNewConnectionsBeginning();
    void sendersBeyondTheLimit_areCountedTogether();
};

void TestLinkCounters::nothing_isNothing()
{
    const LinkCounters counters;
    QCOMPARE(counters.bytes(), qint64(0));
    QVERIFY(counters.senders().empty());
    QVERIFY(!counters.autopilot());
    QVERIFY(!counters.heartbeatAge(5s));
}

void TestLinkCounters::lossyStream_isCountedExactly_data()
{
    QTest::addColumn<int>("percent");
    QTest::newRow("none") << 0;
    QTest::newRow("10 %") << 10;
    QTest::newRow("50 %") << 50;
}

void TestLinkCounters::lossyStream_isCountedExactly()
{
    QFETCH(int, percent);
    qint64 lost = 0;
    const QByteArray stream = lossyStream(5000, percent, lost);
    const LinkCounters counters = counted(stream);
    QCOMPARE(counters.bytes(), qint64(stream.size()));
    QCOMPARE(countersOf(counters, Autopilot).loss().lost(), lost);
    QCOMPARE(countersOf(counters, Autopilot).loss().received(), counters.frames());
    QCOMPARE(lost > 0, percent > 0);
}

void TestLinkCounters::sendersInTurn_areCountedApart()
{
    QByteArray stream;
    for (int i = 0; i < 600; ++i) {
        stream += attitude(Autopilot, 200 + i);
        if (i % 2 == 0)
            stream += attitude(Gimbal, i / 2);
        if (i % 3 == 0)
            stream += heartbeat(NoAutopilot, GroundStation, i); // loses two of three
    }
    const LinkCounters counters = counted(stream);
    QCOMPARE(counters.senders().size(), size_t(3));
    QCOMPARE(countersOf(counters, Autopilot).loss().lost(), qint64(0));
    QCOMPARE(countersOf(counters, Autopilot).loss().received(), qint64(600));
    QCOMPARE(countersOf(counters, Gimbal).loss().lost(), qint64(0));
    QCOMPARE(countersOf(counters, Gimbal).loss().received(), qint64(300));
    QCOMPARE(countersOf(counters, GroundStation).loss().lost(), qint64(398));
    QCOMPARE(countersOf(counters, GroundStation).loss().received(), qint64(200));
}

void TestLinkCounters::damagedFrame_isABadChecksumAndLost()
{
    QByteArray damaged = attitude(Autopilot, 1);
    damaged[15] = static_cast<char>(damaged[15] ^ 1);
    const LinkCounters counters = counted(attitude(Autopilot, 0) + damaged + "??" + attitude(Autopilot, 2));
    QCOMPARE(counters.frames(), qint64(2));
    QCOMPARE(counters.badChecksums(), qint64(1));
    QCOMPARE(counters.strayBytes(), qint64(2));
    QCOMPARE(counters.unknownIds(), qint64(0));
    QCOMPARE(countersOf(counters, Autopilot).loss().lost(), qint64(1));
}

// As a PX4 sends them.
void TestLinkCounters::unknownMessage_isNotLost()
{
    const QByteArray unknown = QByteArray::fromHex(Golden::Unknown); // number 19
    const LinkCounters counters = counted(attitude(Autopilot, 18) + unknown + attitude(Autopilot, 20));
    QCOMPARE(counters.unknownIds(), qint64(1));
    QCOMPARE(counters.frames(), qint64(2));
    QCOMPARE(countersOf(counters, Autopilot).loss().received(), qint64(3));
    QCOMPARE(countersOf(counters, Autopilot).loss().lost(), qint64(0));
}

void TestLinkCounters::unknownMessage_makesNobodyASender()
{
    const LinkCounters counters = counted(QByteArray::fromHex(Golden::Unknown));
    QCOMPARE(counters.unknownIds(), qint64(1));
    QVERIFY(counters.senders().empty());
}

// Between the parts that were cut out of the whole recordings frames are missing, in the PX4's flight also
// within them: 23,449 of its 35,938 frames. Of the ground station's the autopilot relays a part.
void TestLinkCounters::recordings_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<int>("frames");
    QTest::addColumn<int>("unknown");
    QTest::addColumn<int>("stray");
    QTest::addColumn<int>("received");
    QTest::addColumn<int>("lost");
    QTest::addColumn<int>("late");
    QTest::addColumn<int>("restarts");
    QTest::addColumn<int>("lostOfGroundStation");
    const auto row = [](const char *name) -> QTestData & { return QTest::newRow(name) << recorded(name); };
    row("arducopter-flight.tlog") << 27330 << 0 << 0 << 27196 << 0 << 0 << 0 << 14;
    row("arducopter-idle.tlog") << 2642 << 0 << 0 << 2626 << 29 << 0 << 0 << 20;
    row("arducopter-mavlink1.tlog") << 1867 << 0 << 0 << 1855 << 0 << 0 << 0 << 0;
    row("arducopter-serial-reboot.raw") << 3255 << 0 << 8 << 3241 << 3 << 0 << 1 << 12;
    row("px4-boot-57600.raw") << 736 << 22 << 0 << 758 << 220 << 0 << 1 << 0;
    row("px4-flight.tlog") << 12425 << 64 << 0 << 12489 << 23449 << 1 << 0 << 0;
}

void TestLinkCounters::recordings()
{
    QFETCH(QByteArray, bytes);
    const LinkCounters counters = counted(bytes);
    QVERIFY(counters.autopilot());
    const SequenceLoss &autopilot = counters.autopilot()->loss();
    QTEST(int(counters.frames()), "frames");
    QTEST(int(counters.unknownIds()), "unknown");
    QTEST(int(counters.strayBytes()), "stray");
    QCOMPARE(counters.badChecksums(), qint64(0));
    QTEST(int(autopilot.received()), "received");
    QTEST(int(autopilot.lost()), "lost");
    QTEST(int(autopilot.late()), "late");
    QCOMPARE(autopilot.duplicates(), qint64(0));
    QTEST(int(counters.autopilot()->restarts()), "restarts");
    const auto groundStation = counters.senders().find({GroundStation.system, GroundStation.component});
    const bool heard = groundStation != counters.senders().end();
    QTEST(heard ? int(groundStation->second.loss().lost()) : 0, "lostOfGroundStation");
}

void TestLinkCounters::timeSinceBoot_tellsARestart_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("SYSTEM_TIME") << restarting<mavlink::common::msg::SYSTEM_TIME>();
    QTest::newRow("ATTITUDE") << restarting<mavlink::common::msg::ATTITUDE>();
    QTest::newRow("GLOBAL_POSITION_INT") << restarting<mavlink::standard::msg::GLOBAL_POSITION_INT>();
}

void TestLinkCounters::timeSinceBoot_tellsARestart()
{
    QFETCH(QByteArray, bytes);
    const LinkCounters counters = counted(bytes);
    QCOMPARE(counters.autopilot()->restarts(), qint64(1));
    QCOMPARE(counters.autopilot()->loss().lost(), qint64(0));
}

void TestLinkCounters::heartbeats_tellTheAutopilot_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<int>("received"); // of the autopilot; -1: there is none
    const QByteArray others = heartbeat(NoAutopilot, GroundStation, 0) + attitude(Gimbal, 0);
    const QByteArray px4 = heartbeat(Px4, Autopilot, 0) + attitude(Autopilot, 1);
    QTest::newRow("others") << others << -1;
    QTest::newRow("PX4") << others + px4 << 2;
    QTest::newRow("the first") << heartbeat(ArduPilot, {7, 1}, 0) + px4 << 1;
    QTest::newRow("what it sent before counts") << attitude(Autopilot, 255) + px4 << 3;
}

void TestLinkCounters::heartbeats_tellTheAutopilot()
{
    QFETCH(QByteArray, bytes);
    const LinkCounters counters = counted(bytes);
    QTEST(counters.autopilot() ? int(counters.autopilot()->loss().received()) : -1, "received");
}

void TestLinkCounters::heartbeatAge_isTheAutopilots()
{
    LinkCounters counters;
    counters.take(heartbeat(Px4, Autopilot, 0), 10s);
    counters.take(attitude(Autopilot, 1), 11s);
    counters.take(heartbeat(NoAutopilot, GroundStation, 0), 12s);
    counters.take(heartbeat(Px4, {2, 1}, 0), 13s);
    QCOMPARE(counters.heartbeatAge(13s)->count(), 3000);
    counters.beginAnew();
    counters.take(heartbeat(Px4, Autopilot, 2), 14s);
    QCOMPARE(counters.heartbeatAge(14500ms)->count(), 500);
}

void TestLinkCounters::newConnection_forgetsNoTotals()
{
    LinkCounters counters;
    counters.take(heartbeat(Px4, Autopilot, 0) + "?" + attitude(Autopilot, 2), 0ms);
    counters.beginAnew();
    counters.take(attitude(Autopilot, 90) + attitude(Autopilot, 92), 1s);
    QCOMPARE(counters.frames(), qint64(4));
    QCOMPARE(counters.badChecksums(), qint64(0));
    QCOMPARE(counters.strayBytes(), qint64(1));
    QCOMPARE(counters.autopilot()->loss().received(), qint64(4));
    QCOMPARE(counters.autopilot()->loss().lost(), qint64(2));
}

void TestLinkCounters::frameThatIsBegun_swallowsTheNewConnectionsBeginning()
{
    LinkCounters counters;
    const QByteArray frame = attitude(Autopilot, 3);
    counters.take(frame.left(frame.size() - 2), 0ms);
    counters.beginAnew();
    counters.take(attitude(Autopilot, 90) + attitude(Autopilot, 91), 1s);
    QCOMPARE(counters.badChecksums(), qint64(1));
    QCOMPARE(counters.frames(), qint64(1));
    QCOMPARE(counters.strayBytes(), qint64(frame.size() - 2));
}

void TestLinkCounters::sendersBeyondTheLimit_areCountedTogether()
{
    LinkCounters counters;
    for (int system = 1; system <= 255; ++system)
        counters.take(attitude({static_cast<quint8>(system), 7}, 0), 0ms);
    counters.take(heartbeat(Px4, Autopilot, 0) + attitude(Autopilot, 2), 0ms);
    QCOMPARE(int(counters.senders().size()), LinkCounters::MaxSenders + 1);
    QCOMPARE(counters.framesOfOthers(), qint64(255 - LinkCounters::MaxSenders));
    QCOMPARE(counters.frames(), qint64(257));
    QCOMPARE(counters.autopilot()->loss().lost(), qint64(1));
    counters.take(attitude({1, 7}, 1) + attitude({255, 7}, 1), 0ms);
    QCOMPARE(countersOf(counters, {1, 7}).loss().received(), qint64(2));
    QCOMPARE(counters.framesOfOthers(), qint64(256 - LinkCounters::MaxSenders));
}

QTEST_GUILESS_MAIN(TestLinkCounters)
#include "tst_linkcounters.moc"
