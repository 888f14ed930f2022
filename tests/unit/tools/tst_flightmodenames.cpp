// SPDX-License-Identifier: MIT
#include "host/flightmodenames.h"

#include <QtTest>

using mavlink::minimal::MAV_AUTOPILOT;
using mavlink::minimal::MAV_TYPE;

class TestFlightModeNames : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void mode_hasItsName_data();
    void mode_hasItsName();
};

void TestFlightModeNames::mode_hasItsName_data()
{
    QTest::addColumn<int>("autopilot");
    QTest::addColumn<int>("type");
    QTest::addColumn<quint32>("number");
    QTest::addColumn<QString>("name");
    const auto row = [](const char *title, MAV_AUTOPILOT autopilot, MAV_TYPE type, quint32 number,
                        const char *name) {
        QTest::newRow(title) << int(autopilot) << int(type) << number << QString::fromLatin1(name);
    };
    const auto ardupilot = MAV_AUTOPILOT::ARDUPILOTMEGA;
    const auto px4 = MAV_AUTOPILOT::PX4;
    row("first", ardupilot, MAV_TYPE::QUADROTOR, 0, "stabilize");
    row("guided", ardupilot, MAV_TYPE::QUADROTOR, 4, "guided");
    row("hexacopter", ardupilot, MAV_TYPE::HEXAROTOR, 9, "land");
    row("gap in the numbers", ardupilot, MAV_TYPE::QUADROTOR, 8, "mode 8");
    row("new one", ardupilot, MAV_TYPE::QUADROTOR, 99, "mode 99");
    row("plane", ardupilot, MAV_TYPE::FIXED_WING, 4, "mode 4");
    row("PX4 position", px4, MAV_TYPE::QUADROTOR, 3U << 16, "posctl");
    row("PX4 off-board", px4, MAV_TYPE::QUADROTOR, 393216, "offboard");
    row("PX4 hold", px4, MAV_TYPE::QUADROTOR, 4U << 16 | 3U << 24, "loiter");
    row("PX4 plane returns", px4, MAV_TYPE::FIXED_WING, 4U << 16 | 5U << 24, "rtl");
    row("PX4, an ArduPilot's number", px4, MAV_TYPE::QUADROTOR, 4, "mode 4");
}

void TestFlightModeNames::mode_hasItsName()
{
    QFETCH(int, autopilot);
    QFETCH(int, type);
    QFETCH(quint32, number);
    mavlink::minimal::msg::HEARTBEAT heartbeat{};
    heartbeat.autopilot = static_cast<quint8>(autopilot);
    heartbeat.type = static_cast<quint8>(type);
    heartbeat.custom_mode = number;
    QTEST(flightModeName(heartbeat), "name");
}

QTEST_GUILESS_MAIN(TestFlightModeNames)
#include "tst_flightmodenames.moc"
