// SPDX-License-Identifier: MIT
#include "sim/speedtrim.h"

#include <QtTest>

class TestSpeedTrim : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void noShortfall_changesNothing();
    void shortfall_isThereAtFirst_andGoesAway();
    void otherDemand_isBentByWhatWasLearnt();
    void reset_forgets();

private:
    void fly(SpeedTrim *trim, const Utils::Vector3d &demanded, double seconds);

    Utils::Vector3d actual;
};

/// A vehicle that follows quickly.
void TestSpeedTrim::fly(SpeedTrim *trim, const Utils::Vector3d &demanded, double seconds)
{
    const double following = 0.05;
    for (int steps = qRound(seconds / toSeconds(simStep)); steps > 0; --steps) {
        const Utils::Vector2d wanted = trim->step(demanded, actual);
        actual.x += (wanted.x - actual.x) * following;
        actual.y += (wanted.y - actual.y) * following;
    }
}

void TestSpeedTrim::noShortfall_changesNothing()
{
    SpeedTrim trim(0);
    const Utils::Vector2d wanted = trim.step({3, -2, 1}, {1, 1, 1});
    QCOMPARE(wanted.x, 3.0);
    QCOMPARE(wanted.y, -2.0);
}

void TestSpeedTrim::shortfall_isThereAtFirst_andGoesAway()
{
    SpeedTrim trim(0.25);
    actual = {};
    fly(&trim, {4, 0, 0}, 0.5);
    QVERIFY2(qAbs(actual.x - 3) < 0.2, qPrintable(QString::number(actual.x)));
    fly(&trim, {4, 0, 0}, SpeedTrim::settlingS);
    QVERIFY2(qAbs(actual.x - (4 - 1 / M_E)) < 0.1, qPrintable(QString::number(actual.x)));
    fly(&trim, {4, 0, 0}, 10 * SpeedTrim::settlingS);
    QVERIFY(qAbs(actual.x - 4) < 0.01);
}

void TestSpeedTrim::otherDemand_isBentByWhatWasLearnt()
{
    SpeedTrim trim(0.25);
    actual = {};
    fly(&trim, {4, 0, 0}, 10 * SpeedTrim::settlingS);
    fly(&trim, {0, 2, 0}, 0.5);
    QVERIFY2(actual.x > 0.8 && actual.x < 1.1, qPrintable(QString::number(actual.x)));
    fly(&trim, {0, 2, 0}, 10 * SpeedTrim::settlingS);
    QVERIFY(qAbs(actual.x) < 0.01);
}

void TestSpeedTrim::reset_forgets()
{
    SpeedTrim trim(0.25);
    actual = {};
    fly(&trim, {4, 0, 0}, 10 * SpeedTrim::settlingS);
    trim.reset();
    QCOMPARE(trim.step({0, 0, 0}, {}).x, 0.0);
}

QTEST_GUILESS_MAIN(TestSpeedTrim)
#include "tst_speedtrim.moc"
