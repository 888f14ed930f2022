// SPDX-License-Identifier: MIT
#include "navigation/navigate.h"

#include <QtTest>

#include <cmath>
#include <type_traits>

namespace {

template <class Record>
constexpr bool isPlain = std::is_aggregate_v<Record> &&std::is_trivially_copyable_v<Record>;

static_assert(isPlain<Navigate::Attitude> && isPlain<Navigate::VehicleLocalPosition>);
static_assert(isPlain<Navigate::VehicleStatus> && isPlain<Navigate::VehicleGpsPosition>);

template <class A, class B>
constexpr bool same = std::is_same_v<A, B>;

} // namespace

class TestNavigate : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void metaTypes_carryTheNamesOfTheRecords();
    void attitude_bindsInFieldOrder();
    void attitude_startsWithItsLastThreeUnknown();
    void localPosition_bindsInFieldOrder();
    void status_bindsInFieldOrder();
    void gpsPosition_bindsInFieldOrder();
};

void TestNavigate::metaTypes_carryTheNamesOfTheRecords()
{
    const auto name = [](int id) { return QByteArray(QMetaType::typeName(id)); };
    QCOMPARE(name(qMetaTypeId<Navigate::Attitude>()), QByteArray("Navigate::Attitude"));
    QCOMPARE(name(qMetaTypeId<Navigate::VehicleLocalPosition>()),
             QByteArray("Navigate::VehicleLocalPosition"));
    QCOMPARE(name(qMetaTypeId<Navigate::VehicleStatus>()), QByteArray("Navigate::VehicleStatus"));
    QCOMPARE(name(qMetaTypeId<Navigate::VehicleGpsPosition>()), QByteArray("Navigate::VehicleGpsPosition"));
}

void TestNavigate::attitude_bindsInFieldOrder()
{
    const Navigate::Attitude attitude{1000, 1, 2, 3, 4, 5, 6};
    const auto &[timestamp, roll, pitch, yaw, extra1, extra2, extra3] = attitude;
    static_assert(same<decltype(timestamp), const double> && same<decltype(roll), const float>);
    static_assert(same<decltype(extra1), const float> && same<decltype(extra3), const float>);
    QCOMPARE(timestamp, attitude.timestamp);
    QCOMPARE(roll, attitude.roll);
    QCOMPARE(pitch, attitude.pitch);
    QCOMPARE(yaw, attitude.yaw);
    QCOMPARE(attitude.yaw, 3.0F);
    QCOMPARE(extra1 + extra2 + extra3, 15.0F);
}

void TestNavigate::attitude_startsWithItsLastThreeUnknown()
{
    const Navigate::Attitude attitude;
    QCOMPARE(attitude.timestamp, 0.0);
    QCOMPARE(attitude.roll, 0.0F);
    QCOMPARE(attitude.pitch, 0.0F);
    QCOMPARE(attitude.yaw, 0.0F);
    QVERIFY(std::isnan(attitude.extra1) && std::isnan(attitude.extra2) && std::isnan(attitude.extra3));
}

void TestNavigate::localPosition_bindsInFieldOrder()
{
    const Navigate::VehicleLocalPosition position{1000, 1, 2, 3, 4, 5, 6, 7, 8};
    const auto &[timestamp, x, y, z, vx, vy, vz, extra1, extra2] = position;
    static_assert(same<decltype(timestamp), const double> && same<decltype(x), const float>);
    static_assert(same<decltype(vz), const float>);
    static_assert(same<decltype(extra1), const double> && same<decltype(extra2), const float>);
    QCOMPARE(timestamp, position.timestamp);
    QCOMPARE(x, position.x);
    QCOMPARE(y, position.y);
    QCOMPARE(z, position.z);
    QCOMPARE(vx, position.vx);
    QCOMPARE(vy, position.vy);
    QCOMPARE(vz, position.vz);
    QCOMPARE(position.vz, 6.0F);
    QCOMPARE(extra1, 7.0);
    QCOMPARE(extra2, 8.0F);
    const auto [t, a, b, c, d, e, f, g, h] = Navigate::VehicleLocalPosition();
    QCOMPARE(t + double(a + b + c + d + e + f) + g + double(h), 0.0);
}

void TestNavigate::status_bindsInFieldOrder()
{
    const auto [timestamp, armed, guided, active, originSet] =
        Navigate::VehicleStatus{-1, true, false, true, false};
    QCOMPARE(timestamp, -1.0);
    QVERIFY(armed && !guided && active && !originSet);
    const Navigate::VehicleStatus unknown;
    QVERIFY(!unknown.armed && !unknown.guided && !unknown.active && !unknown.originSet);
}

void TestNavigate::gpsPosition_bindsInFieldOrder()
{
    const Navigate::VehicleGpsPosition position{1000, 1.5, 2.5, 3.5};
    QCOMPARE(position.timestamp, 1000.0);
    QCOMPARE(position.latitude, 1.5);
    QCOMPARE(position.longitude, 2.5);
    QCOMPARE(position.altitude, 3.5);
}

QTEST_GUILESS_MAIN(TestNavigate)
#include "tst_navigate.moc"
