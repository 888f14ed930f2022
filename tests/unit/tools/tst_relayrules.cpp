// SPDX-License-Identifier: MIT
#include "sim/relayrules.h"

#include "sim/frameparser.h"
#include "sim/heardsources.h"

#include <QtTest>

namespace {

const quint32 extensionId = mavlink::common::msg::V2_EXTENSION::MSG_ID;
const quint32 heartbeatId = mavlink::minimal::msg::HEARTBEAT::MSG_ID;

} // namespace

class TestRelayRules : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void frame_isHandedOnByTheRules_data();
    void frame_isHandedOnByTheRules();
    void dataMessages_arePassedByArduPilotOnly_data();
    void dataMessages_arePassedByArduPilotOnly();
    void linkNeverHeard_getsNothingFromArduPilot_broadcastsFromPx4();
};

// On the other link 255/190 and 3/1 were heard.
void TestRelayRules::frame_isHandedOnByTheRules_data()
{
    QTest::addColumn<quint32>("messageId");
    QTest::addColumn<int>("system");
    QTest::addColumn<int>("component");
    QTest::addColumn<bool>("byArduPilot");
    QTest::addColumn<bool>("byPx4");
    QTest::newRow("to all") << extensionId << 0 << 0 << true << true;
    QTest::newRow("to all, a component named") << extensionId << 0 << 7 << true << true;
    QTest::newRow("no target") << heartbeatId << 0 << 0 << true << true;
    QTest::newRow("to a component heard") << extensionId << 255 << 190 << true << true;
    QTest::newRow("to all of a system heard") << extensionId << 255 << 0 << true << true;
    QTest::newRow("to another component of it") << extensionId << 255 << 5 << true << false;
    QTest::newRow("to the other system heard") << extensionId << 3 << 1 << true << true;
    QTest::newRow("to the autopilot") << extensionId << 1 << 1 << false << false;
    QTest::newRow("to a system never heard") << extensionId << 77 << 0 << false << false;
}

void TestRelayRules::frame_isHandedOnByTheRules()
{
    QFETCH(quint32, messageId);
    QFETCH(int, system);
    QFETCH(int, component);
    HeardSources heard;
    heard.add(255, 190);
    heard.add(3, 1);
    const ReceivedFrame frame = {{}, messageId, 2, 5, quint8(system), quint8(component)};
    QTEST(isHandedOn(AutopilotKind::ArduPilot, frame, heard), "byArduPilot");
    QTEST(isHandedOn(AutopilotKind::Px4, frame, heard), "byPx4");
}

void TestRelayRules::dataMessages_arePassedByArduPilotOnly_data()
{
    QTest::addColumn<quint32>("messageId");
    QTest::newRow("DATA16") << quint32(mavlink::ardupilotmega::msg::DATA16::MSG_ID);
    QTest::newRow("DATA32") << quint32(mavlink::ardupilotmega::msg::DATA32::MSG_ID);
    QTest::newRow("DATA64") << quint32(mavlink::ardupilotmega::msg::DATA64::MSG_ID);
    QTest::newRow("DATA96") << quint32(mavlink::ardupilotmega::msg::DATA96::MSG_ID);
}

void TestRelayRules::dataMessages_arePassedByArduPilotOnly()
{
    QFETCH(quint32, messageId);
    HeardSources heard;
    heard.add(255, 190);
    const ReceivedFrame frame = {{}, messageId, 2, 5, 0, 0};
    QVERIFY(isHandedOn(AutopilotKind::ArduPilot, frame, heard));
    QVERIFY(!isHandedOn(AutopilotKind::Px4, frame, heard));
}

void TestRelayRules::linkNeverHeard_getsNothingFromArduPilot_broadcastsFromPx4()
{
    const HeardSources nobody;
    const ReceivedFrame toAll = {{}, extensionId, 2, 5, 0, 0};
    const ReceivedFrame toGround = {{}, extensionId, 2, 5, 255, 190};
    QVERIFY(!isHandedOn(AutopilotKind::ArduPilot, toAll, nobody));
    QVERIFY(!isHandedOn(AutopilotKind::ArduPilot, toGround, nobody));
    QVERIFY(isHandedOn(AutopilotKind::Px4, toAll, nobody));
    QVERIFY(!isHandedOn(AutopilotKind::Px4, toGround, nobody));
}

QTEST_GUILESS_MAIN(TestRelayRules)
#include "tst_relayrules.moc"
