// SPDX-License-Identifier: MIT
#include "navigation/positions.h"

#include <QtTest>

#include <cmath>
#include <limits>

namespace {

using Limits = std::numeric_limits<float>;

constexpr float Infinity = Limits::infinity();
constexpr float TwoPi = 6.2831855F;
constexpr float Pi = 3.1415927F;

/// Pi as both ends of the system use it.
constexpr long double SinglePi = 3.1415927410125732421875L;

void compareExactly(float actual, float expected)
{
    if (std::isnan(expected)) {
        QVERIFY2(std::isnan(actual), qPrintable(QString::number(double(actual))));
        return;
    }
    QVERIFY2(
        actual >= expected && actual <= expected,
        qPrintable(
            QStringLiteral("%1 is not %2").arg(double(actual), 0, 'g', 9).arg(double(expected), 0, 'g', 9)));
    QCOMPARE(std::signbit(actual), std::signbit(expected));
}

void addWrapColumns()
{
    QTest::addColumn<float>("angle");
    QTest::addColumn<float>("wrapped");
}

void row(const char *title, float angle, float wrapped)
{
    QTest::newRow(title) << angle << wrapped;
}

} // namespace

class TestAngles : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void toRadians_usesTheSinglePrecisionPi();
    void toDegrees_usesTheSinglePrecisionPi();
    void toRadians_dividesFirst();
    void conversions_agreeWithAWiderComputation_data();
    void conversions_agreeWithAWiderComputation();
    void conversions_letNaNAndInfinityThrough();
    void degE7toDeg_isExact_data();
    void degE7toDeg_isExact();
    void degE7toDeg_isTheNearestDouble();
    void wrap360_data();
    void wrap360();
    void wrap180_data();
    void wrap180();
    void wrap2PI_data();
    void wrap2PI();
    void wrapPI_data();
    void wrapPI();
    void wraps_stayInRangeAndKeepTheAngle();
};

void TestAngles::toRadians_usesTheSinglePrecisionPi()
{
    QVERIFY(toRadians(180) == 3.1415927410125732);
    QVERIFY(toRadians(-180) == -3.1415927410125732);
    QVERIFY(toRadians(360) == 6.2831854820251465);
    QVERIFY(toRadians(90) == 1.5707963705062866);
    QVERIFY(toRadians(0) == 0.0);
    QVERIFY(toRadians(180) == double(float(M_PI)));
    QVERIFY(toRadians(180) != M_PI);
}

void TestAngles::toDegrees_usesTheSinglePrecisionPi()
{
    QVERIFY(toDegrees(3.1415927410125732) == 180.0);
    QVERIFY(toDegrees(-1.5707963705062866) == -90.0);
    QVERIFY(toDegrees(0) == 0.0);
    QVERIFY(toDegrees(M_PI) < 180.0);
}

// Dividing first keeps what multiplying first would carry over the top.
void TestAngles::toRadians_dividesFirst()
{
    QVERIFY(std::isfinite(toRadians(std::numeric_limits<double>::max())));
    QVERIFY(std::isfinite(toDegrees(std::numeric_limits<double>::max() / 60)));
    QVERIFY(toRadians(1) == 1 / 180.0 * 3.1415927410125732);
    QVERIFY(toRadians(7.7) == 7.7 / 180.0 * 3.1415927410125732);
    QVERIFY(toDegrees(7.7) == 7.7 / 3.1415927410125732 * 180.0);
}

void TestAngles::conversions_agreeWithAWiderComputation_data()
{
    QTest::addColumn<double>("angle");
    for (const double angle :
         {1e-300, 1e-9, 0.1, 1.0, 45.0, 59.9386300, 89.999999, 123.456789, 1e6, -0.3, -77.7})
        QTest::addRow("%g", angle) << angle;
}

void TestAngles::conversions_agreeWithAWiderComputation()
{
    QFETCH(double, angle);
    const auto close = [](double actual, long double expected) {
        return std::fabs(actual - expected) <= std::fabs(expected) * 1e-15L;
    };
    QVERIFY(close(toRadians(angle), angle * SinglePi / 180));
    QVERIFY(close(toDegrees(angle), angle * 180 / SinglePi));
    QVERIFY(close(toDegrees(toRadians(angle)), angle));
}

void TestAngles::conversions_letNaNAndInfinityThrough()
{
    QVERIFY(std::isnan(toRadians(std::nan(""))));
    QVERIFY(std::isnan(toDegrees(std::nan(""))));
    QVERIFY(std::isinf(toRadians(-HUGE_VAL)));
    QVERIFY(std::isinf(toDegrees(HUGE_VAL)));
}

void TestAngles::degE7toDeg_isExact_data()
{
    QTest::addColumn<qint32>("value");
    QTest::addColumn<double>("degrees");
    const auto row = [](qint32 value, double degrees) { QTest::addRow("%d", value) << value << degrees; };
    row(0, 0.0);
    row(1, 1e-7);
    row(-1, -1e-7);
    row(9999999, 0.9999999);
    row(10000000, 1.0);
    row(-10000000, -1.0);
    row(10000001, 1.0000001);
    row(599386300, 59.93863);
    row(-337000001, -33.7000001);
    row(900000000, 90.0);
    row(1799999999, 179.9999999);
    row(1800000000, 180.0);
    row(-1800000000, -180.0);
    row(2147483647, 214.7483647);
    row(-2147483647, -214.7483647);
    row(-2147483647 - 1, 214.7483648);
}

void TestAngles::degE7toDeg_isExact()
{
    QFETCH(qint32, value);
    QFETCH(double, degrees);
    const double actual = degE7toDeg(value);
    QVERIFY2(std::fabs(actual - degrees) <= std::fabs(degrees) * 2.3e-16,
             qPrintable(QString::number(actual, 'g', 17)));
    QCOMPARE(std::signbit(actual), degrees < 0);
}

void TestAngles::degE7toDeg_isTheNearestDouble()
{
    for (qint64 value = -1800000000; value <= 1800000000; value += 7654321) {
        const qint64 magnitude = value < 0 ? -value : value;
        const double sign = value < 0 ? -1.0 : 1.0;
        const qint64 whole = magnitude / 10000000;
        const double expected = (double(magnitude % 10000000) / 1e7 + double(whole)) * sign;
        QVERIFY2(degE7toDeg(qint32(value)) == expected, qPrintable(QString::number(value)));
    }
}

void TestAngles::wrap360_data()
{
    addWrapColumns();
    row("nought", 0.0F, 0.0F);
    row("negative nought", -0.0F, -0.0F);
    row("inside", 123.5F, 123.5F);
    row("border", 360.0F, 0.0F);
    row("negative border", -360.0F, -0.0F);
    row("just below the border", std::nextafter(360.0F, 0.0F), std::nextafter(360.0F, 0.0F));
    row("above", 361.5F, 1.5F);
    row("below", -1.5F, 358.5F);
    row("far above", 3601.0F, 1.0F);
    row("far below", -3601.0F, 359.0F);
    row("too little below to tell from the border", -1e-10F, 360.0F);
    row("infinity", Infinity, Limits::quiet_NaN());
    row("NaN", Limits::quiet_NaN(), Limits::quiet_NaN());
}

void TestAngles::wrap360()
{
    QFETCH(float, angle);
    QFETCH(float, wrapped);
    compareExactly(::wrap360(angle), wrapped);
}

void TestAngles::wrap180_data()
{
    addWrapColumns();
    row("nought", 0.0F, 0.0F);
    row("negative nought", -0.0F, -0.0F);
    row("border", 180.0F, 180.0F);
    row("negative border", -180.0F, 180.0F);
    row("just above the border", std::nextafter(180.0F, 360.0F), std::nextafter(180.0F, 360.0F) - 360.0F);
    row("inside", 123.5F, 123.5F);
    row("negative inside", -123.5F, -123.5F);
    row("above", 190.0F, -170.0F);
    row("below", -190.0F, 170.0F);
    row("full turn", 360.0F, 0.0F);
    row("turn and a half", 540.0F, 180.0F);
    row("negative turn and a half", -540.0F, 180.0F);
    row("too little below to tell from nought", -1e-10F, 0.0F);
    row("NaN", Limits::quiet_NaN(), Limits::quiet_NaN());
}

void TestAngles::wrap180()
{
    QFETCH(float, angle);
    QFETCH(float, wrapped);
    compareExactly(::wrap180(angle), wrapped);
}

void TestAngles::wrap2PI_data()
{
    addWrapColumns();
    row("nought", 0.0F, 0.0F);
    row("negative nought", -0.0F, -0.0F);
    row("inside", 1.25F, 1.25F);
    row("border", TwoPi, 0.0F);
    row("negative border", -TwoPi, -0.0F);
    row("just below the border", std::nextafter(TwoPi, 0.0F), std::nextafter(TwoPi, 0.0F));
    row("below", -1.0F, -1.0F + TwoPi);
    row("two turns", 2 * TwoPi, 0.0F);
    row("too little below to tell from the border", -1e-10F, TwoPi);
    row("NaN", Limits::quiet_NaN(), Limits::quiet_NaN());
}

void TestAngles::wrap2PI()
{
    QFETCH(float, angle);
    QFETCH(float, wrapped);
    compareExactly(::wrap2PI(angle), wrapped);
}

void TestAngles::wrapPI_data()
{
    addWrapColumns();
    row("nought", 0.0F, 0.0F);
    row("negative nought", -0.0F, -0.0F);
    row("border", Pi, Pi);
    row("negative border", -Pi, -Pi + TwoPi);
    row("just above the border", std::nextafter(Pi, 4.0F), std::nextafter(Pi, 4.0F) - TwoPi);
    row("inside", 3.0F, 3.0F);
    row("negative inside", -3.0F, (-3.0F + TwoPi) - TwoPi);
    row("full turn", TwoPi, 0.0F);
    row("NaN", Limits::quiet_NaN(), Limits::quiet_NaN());
}

void TestAngles::wrapPI()
{
    QFETCH(float, angle);
    QFETCH(float, wrapped);
    compareExactly(::wrapPI(angle), wrapped);
}

void TestAngles::wraps_stayInRangeAndKeepTheAngle()
{
    for (int step = 0; step <= 5333; ++step) {
        const float angle = -2000.0F + 0.75F * float(step);
        const float full = ::wrap360(angle);
        const float half = ::wrap180(angle);
        QVERIFY(full >= 0.0F && full < 360.0F);
        QVERIFY(half > -180.0F && half <= 180.0F);
        QVERIFY(std::fabs(std::remainder(full - angle, 360.0F)) < 1e-3F);
        QVERIFY(std::fabs(std::remainder(half - angle, 360.0F)) < 1e-3F);
    }
}

QTEST_GUILESS_MAIN(TestAngles)
#include "tst_angles.moc"
