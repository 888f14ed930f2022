// SPDX-License-Identifier: MIT
#include "communication/recordingcarrier.h"
#include "support/logcapture.h"
#include "support/watchdog.h"

#include <QtTest>

#include <memory>
#include <vector>

namespace {

using Frames = QList<QByteArray>;

constexpr int ThreadCount = 8;
constexpr int PayloadsPerThread = 2000;

/// The thread is the message id; sizes are from one fragment to four.
CompletePayload payloadOfThread(int thread, int number, int payloadId)
{
    return payloadOf(payloadId, 1 + (number * 37 + thread) % 350, static_cast<quint16>(number), thread);
}

void runThreads(const std::function<void(int thread)> &work)
{
    std::vector<std::unique_ptr<QThread>> threads;
    for (int thread = 1; thread <= ThreadCount; ++thread) {
        threads.emplace_back(QThread::create([work, thread] { work(thread); }));
        threads.back()->start();
    }
    for (const auto &thread : threads)
        thread->wait();
}

int threadOf(const QByteArray &frame)
{
    return static_cast<quint8>(frame[8]);
}

/// The number of payloads if the frames are those of whole payloads, one after the other, each thread's in
/// the order of their making; else -1 - the index of the first frame that is not.
int countWholePayloads(const Frames &frames, int payloadId)
{
    std::vector<int> nextOfThread(ThreadCount + 1, 0);
    int payloads = 0;
    for (int at = 0; at < frames.size(); ++payloads) {
        const int thread = threadOf(frames[at]);
        if (thread < 1 || thread > ThreadCount)
            return -1 - at;
        const Frames expected = onboardFrames(payloadOfThread(thread, nextOfThread[thread]++, payloadId));
        if (frames.mid(at, expected.size()) != expected)
            return -1 - at;
        at += expected.size();
    }
    return payloads;
}

} // namespace

class TestFragmentedCommunicatorThreads : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void urgentPayloads_ofManyThreads_leaveWholeOnceAndInOrder();
    void queuedPayloads_ofManyThreads_leaveWholeOnceAndInOrder();
    void send_happensOnTheThreadOfTheCaller();
    void send_ofAnotherThread_waitsForTheOneThatRuns();
    void stopsAndWipes_besideSendingThreads_doNotHang();
};

void TestFragmentedCommunicatorThreads::urgentPayloads_ofManyThreads_leaveWholeOnceAndInOrder()
{
    const LogCapture log;
    const auto frames = resultInTime<Frames>([] {
        RecordingCarrier carrier;
        runThreads([&carrier](int thread) {
            for (int number = 0; number < PayloadsPerThread; ++number)
                carrier.sendData(payloadOfThread(thread, number, 254));
        });
        return carrier.take();
    });
    QVERIFY2(frames, "deadlock");
    QCOMPARE(countWholePayloads(*frames, 254), ThreadCount * PayloadsPerThread);
}

void TestFragmentedCommunicatorThreads::queuedPayloads_ofManyThreads_leaveWholeOnceAndInOrder()
{
    const LogCapture log;
    const auto frames = resultInTime<Frames>([] {
        RecordingCarrier carrier;
        carrier.start();
        runThreads([&carrier](int thread) {
            for (int number = 0; number < PayloadsPerThread; ++number)
                carrier.sendData(payloadOfThread(thread, number, 7));
        });
        for (int i = 0; i < ThreadCount * PayloadsPerThread; ++i)
            carrier.tick();
        return carrier.take();
    });
    QVERIFY2(frames, "deadlock");
    QCOMPARE(countWholePayloads(*frames, 7), ThreadCount * PayloadsPerThread);
}

void TestFragmentedCommunicatorThreads::send_happensOnTheThreadOfTheCaller()
{
    const LogCapture log;
    RecordingCarrier carrier;
    QList<QThread *> senders;
    carrier.onFrame = [&](const QByteArray &) { senders.append(QThread::currentThread()); };
    const std::unique_ptr<QThread> worker(QThread::create([&] { carrier.sendData(payloadOf(4, 89)); }));
    worker->start();
    QVERIFY(worker->wait(10000));
    QCOMPARE(senders, (QList<QThread *>{worker.get(), worker.get()}));
    carrier.sendData(payloadOf(4, 1));
    QCOMPARE(senders.last(), QThread::currentThread());
}

void TestFragmentedCommunicatorThreads::send_ofAnotherThread_waitsForTheOneThatRuns()
{
    const LogCapture log;
    const CompletePayload first = payloadOf(4, 200, 1);
    const CompletePayload second = payloadOf(4, 200, 2);
    const auto frames = resultInTime<Frames>([first, second] {
        RecordingCarrier carrier;
        std::unique_ptr<QThread> other;
        carrier.onFrame = [&](const QByteArray &) {
            if (other)
                return;
            other.reset(QThread::create([&] { carrier.sendData(second); }));
            other->start();
            other->wait(50); // time to get in between, if it could
        };
        carrier.sendData(first);
        other->wait();
        return carrier.take();
    });
    QVERIFY2(frames, "deadlock");
    QCOMPARE(*frames, onboardFrames(first) + onboardFrames(second));
}

// What the main thread does while others send: nothing is torn apart, whatever is thrown away.
void TestFragmentedCommunicatorThreads::stopsAndWipes_besideSendingThreads_doNotHang()
{
    const LogCapture log;
    const auto frames = resultInTime<Frames>([] {
        RecordingCarrier carrier;
        carrier.start();
        const std::unique_ptr<QThread> senders(QThread::create([&carrier] {
            runThreads([&carrier](int thread) {
                for (int number = 0; number < PayloadsPerThread; ++number) {
                    carrier.sendData(payloadOfThread(thread, number, 254));
                    carrier.sendData(payloadOf(7, 10));
                }
            });
        }));
        senders->start();
        while (!senders->isFinished()) {
            carrier.dropTick();
            carrier.stop();
            carrier.start();
        }
        senders->wait();
        return carrier.take();
    });
    QVERIFY2(frames, "deadlock");
    QCOMPARE(countWholePayloads(*frames, 254), ThreadCount * PayloadsPerThread);
}

QTEST_GUILESS_MAIN(TestFragmentedCommunicatorThreads)
#include "tst_fragmentedcommunicatorthreads.moc"
