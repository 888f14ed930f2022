// SPDX-License-Identifier: MIT
#include "appfixture.h"
#include "support/logcapture.h"

#include <QCryptographicHash>
#include <QMap>
#include <QMetaMethod>
#include <QSignalSpy>

#include <algorithm>
#include <memory>
#include <vector>

namespace {

struct Signal
{
    QString name;
    QByteArray type;
    QMetaMethod method;

    bool isSetting() const { return name == name.toUpper(); }
    QByteArray line() const { return name.toLatin1() + "(" + type + ")"; }
};

/// The meta-object knows Qt's integer types by the name of the type they stand for.
QByteArray qtName(const QByteArray &type)
{
    static const QMap<QByteArray, QByteArray> names{
        {"uchar", "quint8"}, {"ushort", "quint16"}, {"uint", "quint32"}, {"qulonglong", "quint64"}};
    return names.value(type, type);
}

QList<Signal> ownSignals()
{
    QList<Signal> list;
    const QMetaObject &meta = App::staticMetaObject;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        const QMetaMethod method = meta.method(i);
        if (method.methodType() == QMetaMethod::Signal)
            list.append(
                {QString::fromLatin1(method.name()), qtName(method.parameterTypes().join(',')), method});
    }
    return list;
}

QList<Signal> settingSignals()
{
    QList<Signal> list;
    for (const Signal &signal : ownSignals())
        if (signal.isSetting())
            list.append(signal);
    return list;
}

/// A value to store, and what the change signal carries of it.
struct Sample
{
    QString text;
    QVariantList emitted;
};

/// Every type has its sample; only double has no emission.
Sample sampleFor(const QByteArray &type)
{
    static const QMap<QByteArray, Sample> samples{
        {"bool", {QStringLiteral("True"), {true}}},
        {"int", {QStringLiteral("-70000"), {-70000}}},
        {"float", {QStringLiteral("1.25"), {1.25F}}},
        {"double", {QStringLiteral("1.25"), {}}},
        {"quint8", {QStringLiteral("300"), {QVariant::fromValue(quint8(44))}}},
        {"quint16", {QStringLiteral("65541"), {QVariant::fromValue(quint16(5))}}},
        {"quint32", {QStringLiteral("4000000000"), {4000000000U}}},
        {"QString", {QStringLiteral("/dev/tty, 1"), {QStringLiteral("/dev/tty, 1")}}}};
    return samples.value(type);
}

} // namespace

class TestAppSignals : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void settings_areTheFullList();
    void settings_countPerType_data();
    void settings_countPerType();
    void telemetry_hasTheGivenNamesAndTypes();
    void signals_areNothingElse();
    void updateSetting_ofEachSetting_data();
    void updateSetting_ofEachSetting();
};

void TestAppSignals::settings_areTheFullList()
{
    QList<QByteArray> lines;
    for (const Signal &signal : settingSignals())
        lines.append(signal.line());
    QCOMPARE(lines.size(), 203);
    std::sort(lines.begin(), lines.end());
    const QByteArray sum = QCryptographicHash::hash(lines.join('\n'), QCryptographicHash::Sha256).toHex();
    QCOMPARE(sum, QByteArray("75b04b7790f381f558f93289046ace0e82f34076c4e6c14ace99ebaa2a4d8dfd"));
}

void TestAppSignals::settings_countPerType_data()
{
    QTest::addColumn<int>("count");
    QTest::newRow("float") << 68;
    QTest::newRow("int") << 56;
    QTest::newRow("QString") << 46;
    QTest::newRow("bool") << 16;
    QTest::newRow("quint16") << 7;
    QTest::newRow("quint32") << 5;
    QTest::newRow("double") << 4;
    QTest::newRow("quint8") << 1;
}

void TestAppSignals::settings_countPerType()
{
    int found = 0;
    for (const Signal &signal : settingSignals())
        found += signal.type == QTest::currentDataTag() ? 1 : 0;
    QTEST(found, "count");
}

void TestAppSignals::telemetry_hasTheGivenNamesAndTypes()
{
    QList<QByteArray> lines;
    for (const Signal &signal : ownSignals())
        if (!signal.isSetting())
            lines.append(signal.line());
    std::sort(lines.begin(), lines.end());
    const QList<QByteArray> expected{
        "algorithmStatus(AlgorithmStatus)",
        "altimeterValue(ScalarSensorData)",
        "altitude(ScalarSensorData)",
        "altitudeAMSL(ScalarSensorData)",
        "autopilotStatus(quint8)",
        "currentWaypointIndex(quint32)",
        "daqEnabled(bool)",
        "filteredAltimeterValue(ScalarSensorData)",
        "freeSpaceMB(quint64)",
        "gprConnected(PayloadConnectedData)",
        "gpsCoordinate(GeoCoordinates)",
        "hdop(float)",
        "isRtkPositionInfoGood(bool)",
        "isTerrainFollowingModeEnabled(bool)",
        "missionStatus(MissionStatus)",
        "nsv(quint16)",
        "obstacleDistance(ScalarSensorData)",
        "pitch(float)",
        "rawAltimeterValue(ScalarSensorData)",
        "roll(float)",
        "rtkAltitude(ScalarSensorData)",
        "rtkCoordinate(GeoCoordinates)",
        "syncTimeMs(float)",
        "takeOff(bool)",
        "terrainFollowingAltitude(float)",
        "terrainFollowingSpeed(float)",
        "textToGround(TextToGround)",
        "timeIsSet(bool)",
        "traceQuality(quint8)",
        "vehicleGpsPosition(Navigate::VehicleGpsPosition)",
        "vehicleLocalPos(Value3d)",
        "vehicleLocalPosition(Navigate::VehicleLocalPosition)",
        "vehicleLocalVel(Value3d)",
        "vehicleStatus(Navigate::VehicleStatus)",
        "velocity(double)",
        "yaw(float)",
    };
    QCOMPARE(lines, expected);
}

void TestAppSignals::signals_areNothingElse()
{
    QCOMPARE(ownSignals().size(), 203 + 36);
    QCOMPARE(App::staticMetaObject.methodCount() - App::staticMetaObject.methodOffset(), 203 + 36);
}

void TestAppSignals::updateSetting_ofEachSetting_data()
{
    QTest::addColumn<int>("method");
    for (const Signal &signal : settingSignals())
        QTest::newRow(signal.line().constData()) << signal.method.methodIndex();
}

void TestAppSignals::updateSetting_ofEachSetting()
{
    QFETCH(int, method);
    LogCapture log;
    SettingsFixture<> f;
    f.load();

    std::vector<std::unique_ptr<QSignalSpy>> others;
    std::unique_ptr<QSignalSpy> own;
    Sample sample;
    QByteArray name;
    for (const Signal &signal : ownSignals()) {
        auto spy = std::make_unique<QSignalSpy>(&f.app, signal.method);
        if (signal.method.methodIndex() != method) {
            others.push_back(std::move(spy));
            continue;
        }
        own = std::move(spy);
        sample = sampleFor(signal.type);
        name = signal.name.toLatin1();
    }

    QVERIFY(!sample.text.isEmpty());

    const int split = name.indexOf('_');
    f.app.updateSetting(name.left(split).constData(), name.mid(split + 1).constData(), sample.text);

    QList<QVariantList> expected;
    if (!sample.emitted.isEmpty())
        expected.append(sample.emitted);
    QCOMPARE(emissions(*own), expected);
    for (const auto &spy : others)
        QCOMPARE(spy->count(), 0);
    const QString key = QString::fromLatin1(name.left(split) + '/' + name.mid(split + 1));
    QCOMPARE(f.stored().value(key).toString(), sample.text);
    QCOMPARE(log.take(), QStringList{QStringLiteral("Updated: %1=%2").arg(key, sample.text)});
}

APPLESS_TEST_MAIN(TestAppSignals)
#include "tst_appsignals.moc"
