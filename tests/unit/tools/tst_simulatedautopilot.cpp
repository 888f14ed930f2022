// SPDX-License-Identifier: MIT
#include "sim/simulatedautopilot.h"

#include "autopilotfixture.h"

#include <QSignalSpy>
#include <QtTest>

using mavlink::minimal::msg::HEARTBEAT;

class TestSimulatedAutopilot : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void sameRun_sendsTheSameBytes();
    void bootBytes_goToSerialLinesOnly();
    void clientThatJoins_getsAHeartbeatAtOnce();
    void clientThatHasLeft_getsNoStreams();
    void streams_areEachClientsOwn();
    void bootDelay_scalesTheBoot();
    void beforeItIsUp_nobodyIsAnswered();
    void changes_areTold();
    void rebootInTheAir_letsItFall();
};

void TestSimulatedAutopilot::sameRun_sendsTheSameBytes()
{
    QByteArray runs[2];
    for (QByteArray &bytes : runs) {
        Flight flight(AutopilotKind::Px4);
        flight.run(10);
        for (const FakeOutbox::Sent &sent : qAsConst(flight.outbox.sent))
            bytes += sent.message.payload;
    }
    QVERIFY(!runs[0].isEmpty());
    QVERIFY(runs[0] == runs[1]);
}

void TestSimulatedAutopilot::bootBytes_goToSerialLinesOnly()
{
    Flight flight(AutopilotKind::ArduPilot);
    flight.autopilot.addClient(2, {true, 57600});
    flight.run(1);
    const QByteArray stray = QByteArray::fromHex("302030203020");
    QCOMPARE(flight.outbox.bytes, (QMap<int, QByteArray>{{2, stray}}));
    flight.autopilot.reboot();
    flight.run(1);
    QCOMPARE(flight.outbox.bytes[2], stray + stray);
}

void TestSimulatedAutopilot::clientThatJoins_getsAHeartbeatAtOnce()
{
    Flight flight(AutopilotKind::ArduPilot);
    flight.run(1.5);
    flight.outbox.sent.clear();
    flight.autopilot.addClient(2, {});
    QCOMPARE(flight.outbox.sent.size(), 1);
    QCOMPARE(flight.outbox.sent[0].client, 2);
    QCOMPARE(flight.outbox.count(HEARTBEAT::MSG_ID), 1);
}

void TestSimulatedAutopilot::clientThatHasLeft_getsNoStreams()
{
    Flight flight(AutopilotKind::Px4);
    flight.run(1);
    flight.autopilot.removeClient(Flight::client);
    flight.outbox.sent.clear();
    flight.run(5);
    for (const FakeOutbox::Sent &sent : qAsConst(flight.outbox.sent))
        QCOMPARE(sent.client, int(FakeOutbox::everybody));
}

void TestSimulatedAutopilot::streams_areEachClientsOwn()
{
    Flight flight(AutopilotKind::ArduPilot);
    flight.run(1);
    flight.autopilot.addClient(2, {});
    mavlink::common::msg::REQUEST_DATA_STREAM request = {};
    request.req_stream_id = 10;
    request.req_message_rate = 10;
    request.start_stop = 1;
    flight.send(request);
    flight.outbox.sent.clear();
    flight.run(1);
    QVERIFY(flight.outbox.count(mavlink::common::msg::ATTITUDE::MSG_ID) >= 10);
    for (const FakeOutbox::Sent &sent : qAsConst(flight.outbox.sent))
        QVERIFY(sent.client != 2);
}

void TestSimulatedAutopilot::bootDelay_scalesTheBoot()
{
    SimulatedAutopilot::Settings settings;
    settings.bootDelayS = 4.2;
    Flight flight(settings);
    flight.run(4.1);
    QCOMPARE(flight.arm(), 4);
    flight.run(0.2);
    QCOMPARE(flight.arm(), 0);
    settings.bootDelayS = 0;
    Flight atOnce(settings);
    atOnce.run(0.02);
    QCOMPARE(atOnce.arm(), 0);
}

void TestSimulatedAutopilot::beforeItIsUp_nobodyIsAnswered()
{
    Flight flight(AutopilotKind::ArduPilot);
    flight.run(0.5);
    QCOMPARE(flight.arm(), -1);
}

void TestSimulatedAutopilot::changes_areTold()
{
    SimulatedAutopilot::Settings settings;
    settings.bootDelayS = 0;
    Flight flight(settings);
    QSignalSpy mode(&flight.autopilot, &SimulatedAutopilot::modeChanged);
    QSignalSpy armed(&flight.autopilot, &SimulatedAutopilot::armedChanged);
    QSignalSpy landed(&flight.autopilot, &SimulatedAutopilot::landedChanged);
    flight.run(1);
    QVERIFY(mode.isEmpty() && armed.isEmpty() && landed.isEmpty());
    flight.setMode(4);
    flight.arm();
    flight.run(1);
    flight.command(Incoming::TakeOff, {0, 0, 0, 2});
    flight.run(8);
    flight.setMode(9);
    flight.run(10);
    QCOMPARE(mode.size(), 2);
    QCOMPARE(mode[0][0].toUInt(), 4U);
    QCOMPARE(mode[1][0].toUInt(), 9U);
    QCOMPARE(armed.size(), 2);
    QCOMPARE(armed[0][0].toBool(), true);
    QCOMPARE(landed.size(), 2);
    QCOMPARE(landed[0][0].toBool(), false);
}

void TestSimulatedAutopilot::rebootInTheAir_letsItFall()
{
    SimulatedAutopilot::Settings settings;
    settings.bootDelayS = 0;
    Flight flight(settings);
    flight.run(1);
    flight.setMode(4);
    flight.arm();
    flight.run(1);
    flight.command(Incoming::TakeOff, {0, 0, 0, 10});
    flight.run(12);
    QVERIFY(!flight.vehicle().landed);
    flight.autopilot.reboot();
    flight.run(5);
    QVERIFY(flight.vehicle().landed);
    QVERIFY(!flight.autopilot.state().armed);
}

QTEST_GUILESS_MAIN(TestSimulatedAutopilot)
#include "tst_simulatedautopilot.moc"
