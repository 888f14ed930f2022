// SPDX-License-Identifier: MIT
#include "ground/pingtracker.h"
#include "groundfixture.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QtTest>

#include <cmath>

using namespace std::chrono_literals;

class TestPingTracker : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void ping_neverUsesATimestampTwice();
    void pong_isMatchedByItsTimestamp();
    void pong_ofNoPing_andSecondPong_areNoAnswers();
    void oldestPing_beyondTheLimit_isLost();
    void pingThatTheQueueRefuses_isLost();
    void loss_withoutAPing_isNotANumber();
    void leftPerSecond_isMeasuredFromTheFirstToTheLast();

private:
    void pong(int index) { Q_EMIT receiver->pong({timestamps.at(index), 0, 2}); }

    std::unique_ptr<FakeLink> link;
    std::unique_ptr<FrameCarrier> ground;
    std::unique_ptr<PacedSender> sender;
    std::unique_ptr<OnboardReceiver> receiver;
    std::unique_ptr<PingTracker> pings;
    QVector<qint64> timestamps; // of the pings that have left
};

void TestPingTracker::init()
{
    pings.reset();
    sender.reset();
    ground.reset();
    timestamps.clear();
    link = std::make_unique<FakeLink>();
    ground = std::make_unique<FrameCarrier>(link.get(), 255);
    sender = std::make_unique<PacedSender>(ground.get(), 0ms);
    receiver = std::make_unique<OnboardReceiver>();
    pings = std::make_unique<PingTracker>(sender.get(), *receiver);
    connect(sender.get(), &PacedSender::frameLeft, this, [this](const QByteArray &frame) {
        const OnboardMessage message(frame);
        if (message.type == OnboardPing)
            timestamps.append(PingBody::read(message)->timestampMs);
    });
    sender->start();
}

void TestPingTracker::ping_neverUsesATimestampTwice()
{
    for (int i = 0; i < 100; ++i)
        pings->ping();
    QTRY_COMPARE(timestamps.size(), 100);
    for (int i = 1; i < 100; ++i)
        QVERIFY(timestamps[i] > timestamps[i - 1]);
}

void TestPingTracker::pong_isMatchedByItsTimestamp()
{
    QVector<int> sequences;
    connect(pings.get(), &PingTracker::answered, this, [&](const PingTracker::Answer &answer) {
        sequences.append(answer.sequence);
        QVERIFY(answer.roundTrip > 0ns);
    });
    for (int i = 0; i < 4; ++i)
        pings->ping();
    QTRY_COMPARE(timestamps.size(), 4);
    pong(3);
    pong(0);
    pong(1);
    QCOMPARE(sequences, (QVector<int>{4, 1, 2}));
    QCOMPARE(pings->lossPercent(), 25.0);
}

void TestPingTracker::pong_ofNoPing_andSecondPong_areNoAnswers()
{
    pings->ping();
    QTRY_COMPARE(timestamps.size(), 1);
    Q_EMIT receiver->pong({timestamps[0] - 1, 0, 2});
    QCOMPARE(pings->answerCount(), 0);
    pong(0);
    pong(0);
    QCOMPARE(pings->answerCount(), 1);
}

void TestPingTracker::oldestPing_beyondTheLimit_isLost()
{
    for (int i = 0; i <= PingTracker::limit; ++i) {
        pings->ping();
        QTRY_COMPARE(timestamps.size(), i + 1);
    }
    pong(0);
    QCOMPARE(pings->answerCount(), 0);
    pong(1);
    QCOMPARE(pings->answerCount(), 1);
}

void TestPingTracker::pingThatTheQueueRefuses_isLost()
{
    link->stalled = true;
    while (sender->send("filler")) {
    }
    pings->ping();
    QCOMPARE(pings->pingCount(), 1);
    QCOMPARE(pings->lossPercent(), 100.0);
}

void TestPingTracker::loss_withoutAPing_isNotANumber()
{
    QVERIFY(std::isnan(pings->lossPercent()));
}

void TestPingTracker::leftPerSecond_isMeasuredFromTheFirstToTheLast()
{
    pings->ping();
    QTRY_COMPARE(timestamps.size(), 1);
    QVERIFY(std::isnan(pings->leftPerSecond()));
    QElapsedTimer elapsed;
    elapsed.start();
    while (elapsed.elapsed() < 20)
        QCoreApplication::processEvents();
    pings->ping();
    QTRY_COMPARE(timestamps.size(), 2);
    QVERIFY(pings->leftPerSecond() <= 50);
    QVERIFY(pings->leftPerSecond() > 0);
}

QTEST_GUILESS_MAIN(TestPingTracker)
#include "tst_pingtracker.moc"
