// SPDX-License-Identifier: MIT
#include "host/settingskey.h"

#include <QtTest>

class TestSettingsKey : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void values_thatFit_areNoMistake_data();
    void values_thatFit_areNoMistake();
    void values_thatDoNotFit_areTold_data();
    void values_thatDoNotFit_areTold();
    void types_ofAllSettings_areKnown();
};

void TestSettingsKey::values_thatFit_areNoMistake_data()
{
    QTest::addColumn<QByteArray>("group");
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QString>("value");
    const auto row = [](const char *group, const char *name, const char *value) {
        QTest::addRow("%s/%s=%s", group, name, value)
            << QByteArray(group) << QByteArray(name) << QString::fromLatin1(value);
    };
    row("MAV", "V2_EXTENSION", "true");
    row("MAV", "V2_EXTENSION", "False");
    row("MAV", "V2_EXTENSION", "1");
    row("MAV", "SYSTEM_ID", "65535");
    row("MAV", "BAUD_RATE", "9");
    row("MAV", "BAUD_RATE", "-2147483648");
    row("APP", "LOG_SPLIT_TRACES", "4294967295");
    row("GPR", "SIMULATOR_SAMPLE_BIT_DEPTH", "255");
    row("ALTIMETER", "MAX_ALTITUDE_M", "12.5");
    row("ALTIMETER", "MIN_ALTITUDE_M", "-1e3");
    row("RADSYS", "ZOND_OFFSET_RIGHT_M_1", "0.25");
    row("MAV", "SERIAL_DEVICE", "anything at all");
    row("MAV", "SERIAL_DEVICE", "");
}

void TestSettingsKey::values_thatFit_areNoMistake()
{
    QFETCH(QByteArray, group);
    QFETCH(QByteArray, name);
    QFETCH(QString, value);
    QCOMPARE(settingMistake(group, name, value), QString());
}

void TestSettingsKey::values_thatDoNotFit_areTold_data()
{
    QTest::addColumn<QByteArray>("group");
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QString>("value");
    QTest::addColumn<QString>("mistake");
    const auto row = [](const char *group, const char *name, const char *value, const char *mistake) {
        QTest::newRow(mistake) << QByteArray(group) << QByteArray(name) << QString::fromLatin1(value)
                               << QString::fromLatin1(mistake);
    };
    row("MAV", "V2_EXTENSION", "yes", "MAV/V2_EXTENSION is true or false, not yes");
    row("MAV", "V2_EXTENSION", "2", "MAV/V2_EXTENSION is true or false, not 2");
    row("MAV", "SYSTEM_ID", "65536", "MAV/SYSTEM_ID is a whole number from 0 to 65535, not 65536");
    row("MAV", "SYSTEM_ID", "-1", "MAV/SYSTEM_ID is a whole number from 0 to 65535, not -1");
    row("MAV", "SYSTEM_ID", "", "MAV/SYSTEM_ID is a whole number from 0 to 65535, not ");
    row("MAV", "BAUD_RATE", "57.6",
        "MAV/BAUD_RATE is a whole number from -2147483648 to 2147483647, not 57.6");
    row("APP", "LOG_SPLIT_TRACES", "4294967296",
        "APP/LOG_SPLIT_TRACES is a whole number from 0 to 4294967295, not 4294967296");
    row("GPR", "SIMULATOR_SAMPLE_BIT_DEPTH", "256",
        "GPR/SIMULATOR_SAMPLE_BIT_DEPTH is a whole number from 0 to 255, not 256");
    row("ALTIMETER", "MAX_ALTITUDE_M", "high", "ALTIMETER/MAX_ALTITUDE_M is a number, not high");
    row("ALTIMETER", "MAX_ALTITUDE_M", "inf", "ALTIMETER/MAX_ALTITUDE_M is a number, not inf");
    row("ALTIMETER", "MAX_ALTITUDE_M", "nan", "ALTIMETER/MAX_ALTITUDE_M is a number, not nan");
    row("ALTIMETER", "MAX_ALTITUDE_M", "1e39", "ALTIMETER/MAX_ALTITUDE_M is a number, not 1e39");
    row("RADSYS", "ZOND_OFFSET_RIGHT_M_1", "far", "RADSYS/ZOND_OFFSET_RIGHT_M_1 is a number, not far");
}

void TestSettingsKey::values_thatDoNotFit_areTold()
{
    QFETCH(QByteArray, group);
    QFETCH(QByteArray, name);
    QFETCH(QString, value);
    QTEST(settingMistake(group, name, value), "mistake");
}

// Whatever is no text must refuse one.
void TestSettingsKey::types_ofAllSettings_areKnown()
{
    int refusing = 0;
    const QStringList settings = knownSettings();
    for (const QString &setting : settings) {
        const QByteArray group = setting.section(QLatin1Char(' '), 0, 0).toUtf8();
        const QByteArray name = setting.section(QLatin1Char(' '), 1).toUtf8();
        refusing += settingMistake(group, name, QStringLiteral("no number")).isEmpty() ? 0 : 1;
    }
    QVERIFY2(refusing > settings.size() / 2, qPrintable(QString::number(refusing)));
}

QTEST_GUILESS_MAIN(TestSettingsKey)
#include "tst_settingskey.moc"
