// SPDX-License-Identifier: MIT
// A TCP peer that accepts and then reads nothing: each send blocks for the write timeout.
#include "app/app.h"
#include "autopilot/support/autopilotrig.h"
#include "autopilot/support/frames.h"
#include "autopilot/support/goldenframes.h"
#include "communication/mavcommunicator.h"
#include "connection/loopbackpeer.h"
#include "connection/tcpconnection.h"
#include "support/testmain.h"

#include <QSignalSpy>
#include <QTimerEvent>

#include <chrono>
#include <future>
#include <iterator>
#include <memory>

namespace {

constexpr int WriteTimeoutMs = 50;
constexpr int SendsOfARequest = 3;
constexpr int SendsOfASubscription = 15;

QByteArray attitudeFrame(float roll)
{
    mavlink::common::msg::ATTITUDE attitude{};
    attitude.roll = roll;
    return frameOf(attitude);
}

QByteArray readFrame(LoopbackPeer &peer)
{
    constexpr int BytesAroundThePayload = 12;
    const QByteArray head = peer.read(2);
    return head + peer.read(static_cast<quint8>(head.back()) + BytesAroundThePayload - head.size());
}

} // namespace

class TestMavStalledPeer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void subscription_leavesTheEventLoopATurnAfterEachRequest();
    void subscription_isNotBegunTwice();
    void subscription_atAnotherRate_followsTheOneThatIsGoing();
    void subscription_endsWithStop();
    void subscription_endsWithAStopFromInside();
    void subscription_begunAfterAStopFromInside_isWhole();
    void subscription_ofAPeerThatReadsAgain_isWhole();
    void telemetry_isDeliveredBetweenTwoSends();
    void telemetry_isDeliveredBeforeTheNextTimersSend();
    void telemetry_isDeliveredBeforeTheCarriersTimers();

private:
    void stall();
    void receive(float roll);
    int sends() const { return channelStatus().current_tx_seq; }

    std::unique_ptr<LoopbackPeer> peer;
    std::unique_ptr<AutopilotRig> rig;
    std::unique_ptr<QSignalSpy> rolls;
    int stalledBytes = 0;
};

void TestMavStalledPeer::initTestCase()
{
    spendFirstHeartbeat();
}

void TestMavStalledPeer::init()
{
    peer = std::make_unique<LoopbackPeer>();
    rig.reset(new AutopilotRig({{"MAV/CONNECTION_TYPE", QStringLiteral("TCP")},
                                {"MAV/SERIAL_DEVICE", QStringLiteral("127.0.0.1")},
                                {"MAV/BAUD_RATE", peer->port()}}));
    rig->plugin->link()->setParameter(QStringLiteral("writetimeout"), WriteTimeoutMs);
    QVERIFY(rig->plugin->start());
    peer->accept();
    rig->detectPx4();
    rolls = std::make_unique<QSignalSpy>(runningApp(), &App::roll);
    stall();
}

void TestMavStalledPeer::cleanup()
{
    rolls.reset();
    peer->reset();
    rig.reset();
    peer.reset();
}

void TestMavStalledPeer::stall()
{
    const QByteArray block(1 << 20, 'x');
    stalledBytes = block.size();
    while (rig->plugin->link()->sendData(block.constData(), block.size()))
        stalledBytes += block.size();
    rig->plugin->fire(rig->plugin->heartbeatTimerId); // blocks, and nothing gets out any more
    resetChannel();
}

void TestMavStalledPeer::receive(float roll)
{
    const QByteArray frame = attitudeFrame(roll);
    peer->write(frame);
    waitForBytes(static_cast<TcpConnection &>(*rig->plugin->link()), frame.size());
}

void TestMavStalledPeer::subscription_leavesTheEventLoopATurnAfterEachRequest()
{
    rig->plugin->fire(rig->plugin->subscribeTimerId);
    QCOMPARE(sends(), SendsOfARequest);
    rig->plugin->stopTimers();
    for (int sent = 2 * SendsOfARequest; sent <= SendsOfASubscription; sent += SendsOfARequest) {
        QCoreApplication::processEvents();
        QCOMPARE(sends(), sent);
    }
    QCoreApplication::processEvents();
    QCOMPARE(sends(), SendsOfASubscription);
}

void TestMavStalledPeer::subscription_isNotBegunTwice()
{
    rig->plugin->subscribe();
    rig->plugin->subscribe();
    QCOMPARE(sends(), SendsOfARequest);
    rig->plugin->stopTimers();
    QTRY_COMPARE(sends(), SendsOfASubscription);
    QCoreApplication::processEvents();
    QCOMPARE(sends(), SendsOfASubscription);
    rig->plugin->subscribe();
    QCOMPARE(sends(), SendsOfASubscription + SendsOfARequest);
}

void TestMavStalledPeer::subscription_endsWithStop()
{
    rig->plugin->subscribe();
    rig->plugin->stop();
    QCoreApplication::processEvents();
    QCOMPARE(sends(), SendsOfARequest);
}

void TestMavStalledPeer::subscription_atAnotherRate_followsTheOneThatIsGoing()
{
    rig->plugin->subscribe();
    Q_EMIT runningApp()->MAV_TELEMETRY_RATE(20);
    rig->plugin->subscribe();
    rig->plugin->stopTimers();
    QTRY_COMPARE(sends(), 2 * SendsOfASubscription);
    QCoreApplication::processEvents();
    QCOMPARE(sends(), 2 * SendsOfASubscription);
}

void TestMavStalledPeer::subscription_endsWithAStopFromInside()
{
    connect(runningApp(), &App::roll, rig->plugin.get(), [this] { rig->plugin->stop(); });
    receive(0.25F);
    rig->plugin->subscribe();
    QCOMPARE(rolls->count(), 1);
    QCOMPARE(sends(), 1);
    QCoreApplication::processEvents();
    QCOMPARE(sends(), 1);
    rig->log.take();
}

void TestMavStalledPeer::subscription_begunAfterAStopFromInside_isWhole()
{
    connect(runningApp(), &App::roll, rig->plugin.get(), [this] {
        rig->plugin->stop();
        resetChannel();
        QVERIFY(rig->plugin->start());
        peer->accept();
        rig->plugin->stopTimers();
        rig->plugin->subscribe();
    });
    receive(0.25F);
    rig->plugin->subscribe();
    QCOMPARE(rolls->count(), 1);
    QTRY_COMPARE(sends(), SendsOfASubscription);
    rig->log.take();
}

void TestMavStalledPeer::subscription_ofAPeerThatReadsAgain_isWhole()
{
    rig->plugin->subscribe();
    rig->plugin->stopTimers();
    QTRY_COMPARE(sends(), SendsOfASubscription);
    auto reading = std::async(std::launch::async, [this] {
        peer->read(stalledBytes);
        readFrame(*peer); // the heartbeat
        QList<QByteArray> frames;
        while (frames.size() < SendsOfASubscription)
            frames.append(readFrame(*peer));
        return frames;
    });
    QTRY_VERIFY(reading.wait_for(std::chrono::seconds(0)) == std::future_status::ready);
    QByteArrayList hex;
    for (const QByteArray &frame : reading.get())
        hex.append(frame.toHex().toUpper());
    QCOMPARE(hex, QByteArrayList(std::begin(Golden::Px4Requests), std::end(Golden::Px4Requests)));
}

void TestMavStalledPeer::telemetry_isDeliveredBetweenTwoSends()
{
    receive(0.25F);
    rig->plugin->fire(rig->plugin->subscribeTimerId);
    QCOMPARE(rolls->count(), 1);
    QCOMPARE(rolls->first().first().toFloat(), 0.25F);
    rig->log.take();
}

void TestMavStalledPeer::telemetry_isDeliveredBeforeTheNextTimersSend()
{
    receive(0.5F);
    rig->plugin->fire(rig->plugin->heartbeatTimerId);
    QCOMPARE(rolls->count(), 0);
    rig->plugin->fire(rig->plugin->heartbeatTimerId);
    QCOMPARE(rolls->count(), 1);
    QCOMPARE(rolls->first().first().toFloat(), 0.5F);
    rig->log.take();
}

void TestMavStalledPeer::telemetry_isDeliveredBeforeTheCarriersTimers()
{
    receive(0.75F);
    rig->plugin->fire(rig->plugin->heartbeatTimerId);
    QCOMPARE(rolls->count(), 0);
    QTimerEvent anyTimer(0);
    QCoreApplication::sendEvent(rig->plugin->findChild<MavCommunicator *>(), &anyTimer);
    QCOMPARE(rolls->count(), 1);
    rig->log.take();
}

APP_TEST_MAIN(TestMavStalledPeer)
#include "tst_mavstalledpeer.moc"
