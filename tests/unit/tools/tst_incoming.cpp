// SPDX-License-Identifier: MIT
#include "sim/incoming.h"

#include "autopilotfixture.h"

#include <QtTest>

class TestIncoming : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void addresses_data();
    void addresses();
    void wholeNumber_data();
    void wholeNumber();
    void acknowledgement_goesToTheSender();
    void velocity_isTaken_withItsYawRate();
    void ignoredYawRate_isZero();
};

void TestIncoming::addresses_data()
{
    QTest::addColumn<int>("system");
    QTest::addColumn<int>("component");
    QTest::addColumn<bool>("ours");
    QTest::newRow("1/1") << 1 << 1 << true;
    QTest::newRow("1/0") << 1 << 0 << true;
    QTest::newRow("0/0") << 0 << 0 << true;
    QTest::newRow("0/1") << 0 << 1 << true;
    QTest::newRow("another component") << 1 << 5 << false;
    QTest::newRow("another system") << 2 << 1 << false;
}

void TestIncoming::addresses()
{
    QFETCH(int, system);
    QFETCH(int, component);
    QTEST(Incoming::isForAutopilot(quint8(system), quint8(component)), "ours");
}

void TestIncoming::wholeNumber_data()
{
    QTest::addColumn<float>("parameter");
    QTest::addColumn<quint32>("number");
    QTest::newRow("one") << 33.0F << 33U;
    QTest::newRow("negative") << -1.0F << UINT32_MAX;
    QTest::newRow("no number") << float(NAN) << UINT32_MAX;
    QTest::newRow("too large") << 1e20F << UINT32_MAX;
}

void TestIncoming::wholeNumber()
{
    QFETCH(float, parameter);
    QTEST(Incoming::wholeNumber(parameter), "number");
}

void TestIncoming::acknowledgement_goesToTheSender()
{
    mavlink::mavlink_message_t from = {};
    from.sysid = 2;
    from.compid = 5;
    const auto ack =
        FakeOutbox::decode<mavlink::common::msg::COMMAND_ACK>(Incoming::acknowledge(400, 4, from));
    QCOMPARE(int(ack.command), 400);
    QCOMPARE(int(ack.result), 4);
    QCOMPARE(int(ack.target_system), 2);
    QCOMPARE(int(ack.target_component), 5);
}

void TestIncoming::velocity_isTaken_withItsYawRate()
{
    Incoming::SET_POSITION_TARGET_LOCAL_NED target = {};
    target.coordinate_frame = 1;
    target.type_mask = 1991;
    target.vx = 1;
    target.vy = 2;
    target.vz = -0.5F;
    target.yaw_rate = 0.25F;
    const std::optional<Demand> demand = Incoming::velocityOf(target);
    QVERIFY(demand);
    QCOMPARE(demand->velocity.x, 1.0);
    QCOMPARE(demand->velocity.y, 2.0);
    QCOMPARE(demand->velocity.z, -0.5);
    QCOMPARE(demand->yawRate, 0.25);
}

void TestIncoming::ignoredYawRate_isZero()
{
    Incoming::SET_POSITION_TARGET_LOCAL_NED target = {};
    target.coordinate_frame = 1;
    target.type_mask = 1991 | 0x800;
    target.yaw_rate = NAN;
    const std::optional<Demand> demand = Incoming::velocityOf(target);
    QVERIFY(demand);
    QCOMPARE(demand->yawRate, 0.0);
}

QTEST_GUILESS_MAIN(TestIncoming)
#include "tst_incoming.moc"
