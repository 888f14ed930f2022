// SPDX-License-Identifier: MIT
#include "ground/benchcommand.h"
#include "groundfixture.h"

#include <QSignalSpy>
#include <QtTest>

using namespace std::chrono_literals;

namespace {

const int patienceMs = 60'000;

} // namespace

class TestBenchCommand : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void highestRate_isWhatThePaceAllows();
    void slowLink_isNoLoss_andGivesItsOwnRate();
    void stalledLink_isNoAnswer();
    void answersThatStop_areLoss();

private:
    void answer(const QByteArray &frame);

    GroundOptions options;
    const GroundReport report{false, true};
    std::unique_ptr<FakeLink> link;
    std::unique_ptr<FrameCarrier> carrier;
    std::unique_ptr<PacedSender> sender;
    std::unique_ptr<OnboardReceiver> receiver;
    int answersLeft = 0;
};

void TestBenchCommand::init()
{
    options = {};
    options.command = GroundOptions::Command::Bench;
    options.pace = 0ms;
    options.step = 200ms;
    sender.reset();
    carrier.reset();
    link = std::make_unique<FakeLink>();
    carrier = std::make_unique<FrameCarrier>(link.get(), 255);
    sender = std::make_unique<PacedSender>(carrier.get(), options.pace);
    receiver = std::make_unique<OnboardReceiver>();
    answersLeft = 1'000'000;
    connect(sender.get(), &PacedSender::frameLeft, this, &TestBenchCommand::answer);
}

void TestBenchCommand::answer(const QByteArray &frame)
{
    if (answersLeft-- <= 0)
        return;
    const PingBody body = *PingBody::read(OnboardMessage(frame));
    QTimer::singleShot(0, receiver.get(), [this, body] { Q_EMIT receiver->pong(body); });
}

void TestBenchCommand::highestRate_isWhatThePaceAllows()
{
    QCOMPARE(BenchCommand::highestRate(5ms), 200);
    QCOMPARE(BenchCommand::highestRate(10'000ms), 1);
    QCOMPARE(BenchCommand::highestRate(0ms), 5120);
}

void TestBenchCommand::slowLink_isNoLoss_andGivesItsOwnRate()
{
    link->stalled = true;
    QTimer taking; // 20 a second, heartbeats included
    connect(&taking, &QTimer::timeout, link.get(), [this] { link->drain(); });
    taking.start(50ms);
    options.timeout = 30s;
    BenchCommand bench({options, report, *sender, *receiver});
    QSignalSpy done(&bench, &GroundCommand::done);
    sender->start();
    bench.begin();
    QTRY_COMPARE_WITH_TIMEOUT(done.count(), 1, patienceMs);
    QCOMPARE(done[0][0].toInt(), 0);
    QVERIFY(!bench.benched().lossyPerSecond);
    QVERIFY(bench.benched().losslessPerSecond > 0 && bench.benched().losslessPerSecond < 40);
}

void TestBenchCommand::stalledLink_isNoAnswer()
{
    link->stalled = true;
    options.timeout = 50ms;
    BenchCommand bench({options, report, *sender, *receiver});
    QSignalSpy done(&bench, &GroundCommand::done);
    sender->start();
    bench.begin();
    QTRY_COMPARE_WITH_TIMEOUT(done.count(), 1, patienceMs);
    QCOMPARE(done[0][0].toInt(), 5);
    QCOMPARE(bench.benched().losslessPerSecond, 0.0);
}

void TestBenchCommand::answersThatStop_areLoss()
{
    answersLeft = 4; // two steps of 2 and 4 pings; the second has loss
    options.timeout = 1s;
    BenchCommand bench({options, report, *sender, *receiver});
    QSignalSpy done(&bench, &GroundCommand::done);
    sender->start();
    bench.begin();
    QTRY_COMPARE_WITH_TIMEOUT(done.count(), 1, patienceMs);
    QCOMPARE(done[0][0].toInt(), 0);
    QVERIFY(bench.benched().lossyPerSecond);
    QVERIFY(bench.benched().losslessPerSecond > 0);
}

QTEST_GUILESS_MAIN(TestBenchCommand)
#include "tst_benchcommand.moc"
