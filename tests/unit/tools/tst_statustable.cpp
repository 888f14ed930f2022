// SPDX-License-Identifier: MIT
#include "host/statustable.h"

#include "host/jsonconversion.h"
#include "host/latestvalues.h"
#include "host/valuewords.h"

#include <QtTest>

class TestStatusTable : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void nothingSeen_showsDashesAndAnEmptyLine();
    void rows_wordTheValues_data();
    void rows_wordTheValues();
    void line_holdsWhatIsKnown();
    void line_endsWithTheLinksTrouble();
    void origin_withoutAFix_tellsNoDistance();
    void altitude_outOfRange_isBad();
    void autopilotStatus_inWords_data();
    void autopilotStatus_inWords();
    void age_isShort_data();
    void age_isShort();

private:
    static StatusTable::Row rowCalled(const LatestValues &values, const QString &label);
};

StatusTable::Row TestStatusTable::rowCalled(const LatestValues &values, const QString &label)
{
    const QVector<StatusTable::Row> rows = StatusTable(values).rows();
    for (const StatusTable::Row &row : rows)
        if (row.label == label)
            return row;
    return {};
}

void TestStatusTable::nothingSeen_showsDashesAndAnEmptyLine()
{
    const LatestValues values;
    const StatusTable table(values);
    QCOMPARE(table.rows().size(), 12);
    const QVector<StatusTable::Row> rows = table.rows();
    for (const StatusTable::Row &row : rows)
        QCOMPARE(row.text, QStringLiteral("-"));
    QCOMPARE(table.line(), QString());
}

void TestStatusTable::rows_wordTheValues_data()
{
    QTest::addColumn<QString>("signal");
    QTest::addColumn<QCborValue>("value");
    QTest::addColumn<QString>("label");
    QTest::addColumn<QString>("text");
    const auto row = [](const char *signal, const QCborValue &value, const char *label, const char *text) {
        QTest::newRow(text) << QString::fromLatin1(signal) << value << QString::fromLatin1(label)
                            << QString::fromUtf8(text);
    };
    const auto flightMode = [](bool armed, const char *mode) {
        return QCborMap{{QStringLiteral("armed"), armed}, {QStringLiteral("mode"), QLatin1String(mode)}};
    };
    row("flightMode", flightMode(false, "guided"), "Vehicle", "disarmed, guided");
    row("flightMode", flightMode(true, "mode 99"), "Vehicle", "armed, mode 99");
    row("satellites", 12, "Satellites", "12");
    row("roll", 0.5, "Attitude", "roll 28.6\u00b0, pitch -, yaw -");
    row("gpsCoordinate", toJson(GeoCoordinates{-47.5, 8.25}), "Position",
        "47.5000000\u00b0 S, 8.2500000\u00b0 E");
    row("vehicleLocalPos", toJson(Value3d{1, -2.5, 0}), "Local position",
        "1.00 m north, -2.50 m east, 0.00 m down");
    row("velocity", 3.14159, "Velocity", "3.14 m/s");
    row("velocity", QCborValue(QCborValue::Null), "Velocity", "-");
    row("altitude", toJson(ScalarSensorData{1.5F, 0, {}}), "Altitude", "1.50 m, in range");
    row("altitude", toJson(ScalarSensorData{200, 1, {}}), "Altitude", "200.00 m, above the maximum");
    row("altitude", toJson(ScalarSensorData{0.5F, 2, {}}), "Altitude", "0.50 m, below the minimum");
    row("rawAltimeterValue", toJson(ScalarSensorData{1.23F, 0, {}}), "Altimeter", "1.23 m");
    row("daqEnabled", true, "Logging", "on");
    row("daqEnabled", false, "Logging", "off");
    row("timeIsSet", true, "Clock", "set from the autopilot");
}

void TestStatusTable::rows_wordTheValues()
{
    QFETCH(QString, signal);
    QFETCH(QCborValue, value);
    QFETCH(QString, label);
    LatestValues values;
    values.store(signal, value);
    QTEST(rowCalled(values, label).text, "text");
}

void TestStatusTable::line_holdsWhatIsKnown()
{
    LatestValues values;
    values.store(QStringLiteral("velocity"), 1);
    values.store(QStringLiteral("autopilotStatus"), 2);
    QCOMPARE(StatusTable(values).line(), QStringLiteral("autopilot heard | velocity 1.00 m/s"));
}

void TestStatusTable::line_endsWithTheLinksTrouble()
{
    LatestValues values;
    values.store(QStringLiteral("velocity"), 1);
    values.store(QStringLiteral("link"), QCborMap{{QStringLiteral("strayBytes"), 0}});
    QCOMPARE(StatusTable(values).line(), QStringLiteral("velocity 1.00 m/s"));
    values.store(QStringLiteral("link"), QCborMap{{QStringLiteral("strayBytes"), 6}});
    QCOMPARE(StatusTable(values).line(), QStringLiteral("velocity 1.00 m/s | link 6 stray bytes"));
}

void TestStatusTable::origin_withoutAFix_tellsNoDistance()
{
    LatestValues values;
    const auto origin = [&values](double latitude, double longitude) {
        values.store(QStringLiteral("virtualStick.originChanged"),
                     QCborMap{{QStringLiteral("lat"), latitude},
                              {QStringLiteral("lon"), longitude},
                              {QStringLiteral("altAmsl"), 0.0}});
    };
    origin(0, 0);
    values.store(
        QStringLiteral("virtualStick.localPositionChanged"),
        QCborMap{{QStringLiteral("x"), 3.0}, {QStringLiteral("y"), -4.0}, {QStringLiteral("z"), -15.0}});
    QCOMPARE(rowCalled(values, QStringLiteral("From origin")).text, QStringLiteral("no fix yet"));
    origin(47.5, 8.25);
    QCOMPARE(rowCalled(values, QStringLiteral("From origin")).text,
             QStringLiteral("5.00 m away, 15.00 m above it"));
}

void TestStatusTable::altitude_outOfRange_isBad()
{
    LatestValues values;
    values.store(QStringLiteral("altitude"), toJson(ScalarSensorData{1, 0, {}}));
    QCOMPARE(rowCalled(values, QStringLiteral("Altitude")).tone, StatusTable::Tone::Plain);
    values.store(QStringLiteral("altitude"), toJson(ScalarSensorData{1, 2, {}}));
    QCOMPARE(rowCalled(values, QStringLiteral("Altitude")).tone, StatusTable::Tone::Bad);
}

void TestStatusTable::autopilotStatus_inWords_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("words");
    QTest::newRow("0") << 0 << "no link";
    QTest::newRow("1") << 1 << "link open, no autopilot heard";
    QTest::newRow("2") << 2 << "heard";
    QTest::newRow("other") << 9 << "status 9";
}

void TestStatusTable::autopilotStatus_inWords()
{
    QFETCH(int, status);
    QTEST(ValueWords::autopilotStatus(status), "words");
}

void TestStatusTable::age_isShort_data()
{
    QTest::addColumn<qint64>("ms");
    QTest::addColumn<QString>("words");
    QTest::newRow("never") << qint64(-1) << "";
    QTest::newRow("now") << qint64(0) << "0.0 s";
    QTest::newRow("a while") << qint64(2340) << "2.3 s";
    QTest::newRow("long") << qint64(75000) << "75 s";
    QTest::newRow("very long") << qint64(7200000) << "120 min";
}

void TestStatusTable::age_isShort()
{
    QFETCH(qint64, ms);
    QTEST(ValueWords::age(ms), "words");
}

QTEST_GUILESS_MAIN(TestStatusTable)
#include "tst_statustable.moc"
