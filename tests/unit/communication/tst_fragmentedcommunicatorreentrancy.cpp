// SPDX-License-Identifier: MIT
#include "communication/recordingcarrier.h"
#include "support/logcapture.h"
#include "support/watchdog.h"

#include <QtTest>

namespace {

using Frames = QList<QByteArray>;

CompletePayload urgent(int id, int size = 200)
{
    return payloadOf(254, size, static_cast<quint16>(id));
}

CompletePayload queued(int id)
{
    return payloadOf(7, 200, static_cast<quint16>(id));
}

/// Has the carrier do something once, from inside the sending of its nth frame.
void onFrame(RecordingCarrier &carrier, int number, const std::function<void()> &action)
{
    carrier.onFrame = [number, action, seen = 0](const QByteArray &) mutable {
        if (++seen == number)
            action();
    };
}

/// Runs the scenario with a carrier of the thread's own. Nothing if it hangs; else the frames that it sent.
std::optional<Frames> framesInTime(const std::function<void(RecordingCarrier &)> &scenario)
{
    return resultInTime<Frames>([scenario] {
        RecordingCarrier carrier;
        carrier.start();
        scenario(carrier);
        return carrier.take();
    });
}

} // namespace

/// Calls from inside a send or an emission of the same thread: never a deadlock, never a payload torn apart.
class TestFragmentedCommunicatorReentrancy : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void urgentPayload_fromInsideASend_leavesAfterIt_data();
    void urgentPayload_fromInsideASend_leavesAfterIt();
    void urgentPayloads_fromInsideASend_keepTheirOrder();
    void urgentPayload_fromInsideANestedOne_leavesLast();
    void urgentPayload_fromInsideATick_leavesAfterIt();
    void queuedPayload_fromInsideASend_waitsForATick();
    void queuedPayload_fromInsideATick_waitsForTheNext();
    void emptyPayload_fromInsideASend_changesNothing();
    void stop_fromInsideASend_endsTimersAndQueue();
    void stop_fromInsideATick_endsTimersAndQueue();
    void restart_fromInsideASend_runsTheTimers();
    void pong_fromInsideASend_fallsBetween();
    void tick_fromInsideASend_doesNotHang();
    void dropTick_fromInsideASend_doesNotHang();
    void answer_fromReceivedData_isSentAtOnce();
    void stop_fromReceivedData_works();
    void sendsAfterAReentrantOne_areAsBefore();
};

void TestFragmentedCommunicatorReentrancy::initTestCase()
{
    LogCapture log;
    RecordingCarrier().parseIncomingData(onboardFrame(4, pingBody(0))); // the first of the process logs more
    log.take();
}

void TestFragmentedCommunicatorReentrancy::urgentPayload_fromInsideASend_leavesAfterIt_data()
{
    QTest::addColumn<int>("frame");
    QTest::newRow("first frame") << 1;
    QTest::newRow("in the middle") << 2;
    QTest::newRow("last frame") << 3;
}

void TestFragmentedCommunicatorReentrancy::urgentPayload_fromInsideASend_leavesAfterIt()
{
    QFETCH(int, frame);
    const auto sent = framesInTime([frame](RecordingCarrier &carrier) {
        onFrame(carrier, frame, [&] { carrier.sendData(urgent(2)); });
        carrier.sendData(urgent(1));
    });
    QVERIFY2(sent, "deadlock");
    QCOMPARE(*sent, onboardFrames(urgent(1)) + onboardFrames(urgent(2)));
}

void TestFragmentedCommunicatorReentrancy::urgentPayloads_fromInsideASend_keepTheirOrder()
{
    const auto sent = framesInTime([](RecordingCarrier &carrier) {
        onFrame(carrier, 1, [&] {
            for (int id = 2; id <= 4; ++id)
                carrier.sendData(urgent(id));
        });
        carrier.sendData(urgent(1));
    });
    QVERIFY2(sent, "deadlock");
    QCOMPARE(*sent, onboardFrames(urgent(1)) + onboardFrames(urgent(2)) + onboardFrames(urgent(3)) +
                        onboardFrames(urgent(4)));
}

void TestFragmentedCommunicatorReentrancy::urgentPayload_fromInsideANestedOne_leavesLast()
{
    const auto sent = framesInTime([](RecordingCarrier &carrier) {
        carrier.onFrame = [&carrier, seen = 0](const QByteArray &) mutable {
            ++seen;
            if (seen == 1) {
                carrier.sendData(urgent(2));
                carrier.sendData(urgent(3));
            } else if (seen == 4) { // the first of 2
                carrier.sendData(urgent(4));
            }
        };
        carrier.sendData(urgent(1));
    });
    QVERIFY2(sent, "deadlock");
    QCOMPARE(*sent, onboardFrames(urgent(1)) + onboardFrames(urgent(2)) + onboardFrames(urgent(3)) +
                        onboardFrames(urgent(4)));
}

void TestFragmentedCommunicatorReentrancy::urgentPayload_fromInsideATick_leavesAfterIt()
{
    const auto sent = framesInTime([](RecordingCarrier &carrier) {
        onFrame(carrier, 1, [&] { carrier.sendData(urgent(3)); });
        carrier.sendData(queued(1));
        carrier.sendData(queued(2));
        carrier.tick();
    });
    QVERIFY2(sent, "deadlock");
    QCOMPARE(*sent, onboardFrames(queued(1)) + onboardFrames(urgent(3)));
}

void TestFragmentedCommunicatorReentrancy::queuedPayload_fromInsideASend_waitsForATick()
{
    Frames beforeTheTick;
    const auto sent = framesInTime([&beforeTheTick](RecordingCarrier &carrier) {
        onFrame(carrier, 2, [&] { carrier.sendData(queued(2)); });
        carrier.sendData(urgent(1));
        beforeTheTick = carrier.take();
        carrier.tick();
    });
    QVERIFY2(sent, "deadlock");
    QCOMPARE(beforeTheTick, onboardFrames(urgent(1)));
    QCOMPARE(*sent, onboardFrames(queued(2)));
}

void TestFragmentedCommunicatorReentrancy::queuedPayload_fromInsideATick_waitsForTheNext()
{
    Frames firstTick;
    const auto sent = framesInTime([&firstTick](RecordingCarrier &carrier) {
        onFrame(carrier, 2, [&] { carrier.sendData(queued(2)); });
        carrier.sendData(queued(1));
        carrier.tick();
        firstTick = carrier.take();
        carrier.tick();
    });
    QVERIFY2(sent, "deadlock");
    QCOMPARE(firstTick, onboardFrames(queued(1)));
    QCOMPARE(*sent, onboardFrames(queued(2)));
}

void TestFragmentedCommunicatorReentrancy::emptyPayload_fromInsideASend_changesNothing()
{
    const auto sent = framesInTime([](RecordingCarrier &carrier) {
        onFrame(carrier, 1, [&] { carrier.sendData(urgent(2, 0)); });
        carrier.sendData(urgent(1));
    });
    QVERIFY2(sent, "deadlock");
    QCOMPARE(*sent, onboardFrames(urgent(1)));
}

void TestFragmentedCommunicatorReentrancy::stop_fromInsideASend_endsTimersAndQueue()
{
    int timers = -1;
    const auto sent = framesInTime([&timers](RecordingCarrier &carrier) {
        carrier.sendData(queued(2));
        onFrame(carrier, 1, [&] { carrier.stop(); });
        carrier.sendData(urgent(1));
        timers = carrier.timers().size();
        carrier.start();
        carrier.tick();
    });
    QVERIFY2(sent, "deadlock");
    QCOMPARE(timers, 0);
    QCOMPARE(*sent, onboardFrames(urgent(1))); // what was begun is handed to the carrier whole
}

void TestFragmentedCommunicatorReentrancy::stop_fromInsideATick_endsTimersAndQueue()
{
    int timers = -1;
    const auto sent = framesInTime([&timers](RecordingCarrier &carrier) {
        carrier.sendData(queued(1));
        carrier.sendData(queued(2));
        onFrame(carrier, 3, [&] { carrier.stop(); });
        carrier.tick();
        timers = carrier.timers().size();
        carrier.start();
        carrier.tick();
    });
    QVERIFY2(sent, "deadlock");
    QCOMPARE(timers, 0);
    QCOMPARE(*sent, onboardFrames(queued(1)));
}

void TestFragmentedCommunicatorReentrancy::restart_fromInsideASend_runsTheTimers()
{
    int timers = -1;
    const auto sent = framesInTime([&timers](RecordingCarrier &carrier) {
        onFrame(carrier, 1, [&] {
            carrier.stop();
            carrier.start();
        });
        carrier.sendData(urgent(1));
        timers = carrier.timers().size();
    });
    QVERIFY2(sent, "deadlock");
    QCOMPARE(timers, 2);
    QCOMPARE(*sent, onboardFrames(urgent(1)));
}

void TestFragmentedCommunicatorReentrancy::pong_fromInsideASend_fallsBetween()
{
    const auto sent = framesInTime([](RecordingCarrier &carrier) {
        onFrame(carrier, 2, [&] { carrier.sendPong(5); });
        carrier.sendData(urgent(1));
    });
    QVERIFY2(sent, "deadlock");
    Frames expected = onboardFrames(urgent(1));
    expected.insert(2, onboardFrame(4, pingBody(5, QByteArray("\x00\x02", 2))));
    QCOMPARE(*sent, expected);
}

// A host that turns the event loop in a handler of disconnected(), say.
void TestFragmentedCommunicatorReentrancy::tick_fromInsideASend_doesNotHang()
{
    const auto sent = framesInTime([](RecordingCarrier &carrier) {
        carrier.sendData(queued(2));
        onFrame(carrier, 1, [&] { carrier.tick(); });
        carrier.sendData(urgent(1));
        carrier.onFrame = nullptr;
        carrier.tick();
    });
    QVERIFY2(sent, "deadlock");
    QCOMPARE(*sent, onboardFrames(urgent(1)) + onboardFrames(queued(2)));
}

void TestFragmentedCommunicatorReentrancy::dropTick_fromInsideASend_doesNotHang()
{
    const auto sent = framesInTime([](RecordingCarrier &carrier) {
        carrier.sendData(queued(2));
        onFrame(carrier, 1, [&] { carrier.dropTick(); });
        carrier.sendData(urgent(1));
        carrier.onFrame = nullptr;
        carrier.tick();
    });
    QVERIFY2(sent, "deadlock");
    QCOMPARE(*sent, onboardFrames(urgent(1)));
}

void TestFragmentedCommunicatorReentrancy::answer_fromReceivedData_isSentAtOnce()
{
    const auto sent = framesInTime([](RecordingCarrier &carrier) {
        connect(&carrier, &ICommunicator::receivedData, &carrier, [&](const CompletePayload &payload) {
            carrier.sendData(urgent(payload.id + 1));
            carrier.sendData(queued(payload.id + 2));
        });
        for (const QByteArray &frame : onboardFrames(payloadOf(4, 100, 1), 252))
            carrier.parseIncomingData(frame);
        carrier.tick();
    });
    QVERIFY2(sent, "deadlock");
    QCOMPARE(*sent, onboardFrames(urgent(2)) + onboardFrames(queued(3)));
}

void TestFragmentedCommunicatorReentrancy::stop_fromReceivedData_works()
{
    int timers = -1;
    const auto sent = framesInTime([&timers](RecordingCarrier &carrier) {
        connect(&carrier, &ICommunicator::receivedData, &carrier, [&] { carrier.stop(); });
        carrier.sendData(queued(1));
        carrier.parseIncomingData(onboardFrames(payloadOf(4, 10), 252).at(0));
        timers = carrier.timers().size();
        carrier.start();
        carrier.tick();
    });
    QVERIFY2(sent, "deadlock");
    QCOMPARE(timers, 0);
    QCOMPARE(*sent, Frames());
}

void TestFragmentedCommunicatorReentrancy::sendsAfterAReentrantOne_areAsBefore()
{
    Frames first;
    const auto sent = framesInTime([&first](RecordingCarrier &carrier) {
        onFrame(carrier, 1, [&] { carrier.sendData(urgent(2)); });
        carrier.sendData(urgent(1));
        first = carrier.take();
        carrier.sendData(urgent(3));
        carrier.sendData(queued(4));
        carrier.tick();
    });
    QVERIFY2(sent, "deadlock");
    QCOMPARE(first, onboardFrames(urgent(1)) + onboardFrames(urgent(2)));
    QCOMPARE(*sent, onboardFrames(urgent(3)) + onboardFrames(queued(4)));
}

QTEST_GUILESS_MAIN(TestFragmentedCommunicatorReentrancy)
#include "tst_fragmentedcommunicatorreentrancy.moc"
