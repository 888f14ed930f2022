// SPDX-License-Identifier: MIT
#include "appfixture.h"
#include "support/logcapture.h"

#include <QMetaMethod>
#include <QThread>

#include <cstddef>
#include <cstring>
#include <memory>
#include <type_traits>

namespace {

using std::chrono::steady_clock;

static_assert(std::is_trivially_copyable_v<ScalarSensorData> && std::is_aggregate_v<ScalarSensorData>);
static_assert(std::is_trivially_copyable_v<GeoCoordinates> && std::is_aggregate_v<GeoCoordinates>);
static_assert(std::is_trivially_copyable_v<Value3d> && std::is_aggregate_v<Value3d>);
static_assert(std::is_trivially_copyable_v<MissionStatus> && std::is_aggregate_v<MissionStatus>);
static_assert(std::is_trivially_copyable_v<AlgorithmStatus> && std::is_aggregate_v<AlgorithmStatus>);
static_assert(std::is_trivially_copyable_v<PayloadConnectedData> &&
              std::is_aggregate_v<PayloadConnectedData>);
static_assert(std::is_same_v<decltype(ScalarSensorData::time), steady_clock::time_point>);
static_assert(sizeof(steady_clock::time_point) == 8);
static_assert(std::is_same_v<decltype(ScalarSensorData::value), float>);
static_assert(std::is_same_v<decltype(ScalarSensorData::status), quint8>);
static_assert(offsetof(ScalarSensorData, value) < offsetof(ScalarSensorData, status));
static_assert(offsetof(ScalarSensorData, status) < offsetof(ScalarSensorData, time));

bool operator==(const ScalarSensorData &a, const ScalarSensorData &b)
{
    return a.value == b.value && a.status == b.status && a.time == b.time;
}

steady_clock::time_point at(qint64 ticks)
{
    return steady_clock::time_point(steady_clock::duration(ticks));
}

} // namespace

/// Takes every telemetry signal by its name, and keeps what came and on which thread.
class Receiver : public QObject
{
    Q_OBJECT

public:
    QVariant last;
    QThread *thread = nullptr;
    int count = 0;

    void connectTo(App *app, const QByteArray &signal)
    {
        const QByteArray signature = QMetaObject::normalizedSignature(signal);
        const QByteArray slot = "take" + signature.mid(signature.indexOf('('));
        QVERIFY2(connect(app, ('2' + signature).constData(), this, ('1' + slot).constData()),
                 slot.constData());
    }

public Q_SLOTS:
    void take(bool value) { keep(QVariant::fromValue(value)); }
    void take(quint8 value) { keep(QVariant::fromValue(value)); }
    void take(quint16 value) { keep(QVariant::fromValue(value)); }
    void take(quint32 value) { keep(QVariant::fromValue(value)); }
    void take(quint64 value) { keep(QVariant::fromValue(value)); }
    void take(float value) { keep(QVariant::fromValue(value)); }
    void take(double value) { keep(QVariant::fromValue(value)); }
    void take(ScalarSensorData value) { keep(QVariant::fromValue(value)); }
    void take(GeoCoordinates value) { keep(QVariant::fromValue(value)); }
    void take(Value3d value) { keep(QVariant::fromValue(value)); }
    void take(MissionStatus value) { keep(QVariant::fromValue(value)); }
    void take(AlgorithmStatus value) { keep(QVariant::fromValue(value)); }
    void take(PayloadConnectedData value) { keep(QVariant::fromValue(value)); }
    void take(const TextToGround &value) { keep(QVariant::fromValue(value)); }
    void take(Navigate::VehicleGpsPosition value) { keep(QVariant::fromValue(value)); }
    void take(Navigate::VehicleLocalPosition value) { keep(QVariant::fromValue(value)); }
    void take(Navigate::VehicleStatus value) { keep(QVariant::fromValue(value)); }

private:
    void keep(const QVariant &value)
    {
        last = value;
        thread = QThread::currentThread();
        ++count;
    }
};

class TestTelemetryData : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void argumentTypes_areRegisteredUnderTheirNames();
    void defaults_areNoughtAndNull();
    void reading_initialisesInFieldOrder();
    void signal_invokedByName_reachesAnotherThreadIntact_data();
    void signal_invokedByName_reachesAnotherThreadIntact();
    void signal_invokedFromAnotherThread_isEmittedOnTheMainThread_data();
    void signal_invokedFromAnotherThread_isEmittedOnTheMainThread();

private:
    static void addSignals();
};

// First of all, before anything else of this program could have registered a type.
void TestTelemetryData::argumentTypes_areRegisteredUnderTheirNames()
{
    const ApplicationFixture<> f;
    const QMetaObject &meta = App::staticMetaObject;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        for (const QByteArray &name : meta.method(i).parameterTypes()) {
            const int id = QMetaType::type(name.constData());
            QVERIFY2(id != QMetaType::UnknownType && QMetaType::isRegistered(id), name.constData());
            if (id >= QMetaType::User)
                QCOMPARE(QByteArray(QMetaType::typeName(id)), name);
        }
    }
}

void TestTelemetryData::defaults_areNoughtAndNull()
{
    QVERIFY(ScalarSensorData() == (ScalarSensorData{0, 0, at(0)}));
    const auto [latitude, longitude] = GeoCoordinates();
    QCOMPARE(latitude, 0.0);
    QCOMPARE(longitude, 0.0);
    const auto [x, y, z] = Value3d();
    QCOMPARE(x, 0.0);
    QCOMPARE(y, 0.0);
    QCOMPARE(z, 0.0);
}

void TestTelemetryData::reading_initialisesInFieldOrder()
{
    const ScalarSensorData reading{1.5F, 4, at(7)};
    const auto &[value, status, time] = reading;
    QCOMPARE(value, 1.5F);
    QCOMPARE(status, quint8(4));
    QVERIFY(time == at(7));
}

void TestTelemetryData::addSignals()
{
    QTest::addColumn<QVariant>("value");
    const auto row = [](const char *signal, const QVariant &value) { QTest::newRow(signal) << value; };
    const auto reading = QVariant::fromValue(ScalarSensorData{-12.5F, 250, at(0x0102030405060708)});
    const auto position = QVariant::fromValue(GeoCoordinates{-89.123456789012, 179.98765432101});
    const auto vector = QVariant::fromValue(Value3d{1e-9, -2.5, 3e9});
    for (const char *signal :
         {"altitude(ScalarSensorData)", "altitudeAMSL(ScalarSensorData)", "rtkAltitude(ScalarSensorData)",
          "rawAltimeterValue(ScalarSensorData)", "altimeterValue(ScalarSensorData)",
          "filteredAltimeterValue(ScalarSensorData)", "obstacleDistance(ScalarSensorData)"})
        row(signal, reading);
    for (const char *signal :
         {"roll(float)", "pitch(float)", "yaw(float)", "hdop(float)", "syncTimeMs(float)",
          "terrainFollowingSpeed(float)", "terrainFollowingAltitude(float)"})
        row(signal, QVariant::fromValue(-1.1F));
    for (const char *signal : {"isRtkPositionInfoGood(bool)", "timeIsSet(bool)", "daqEnabled(bool)",
                               "takeOff(bool)", "isTerrainFollowingModeEnabled(bool)"})
        row(signal, true);
    row("gpsCoordinate(GeoCoordinates)", position);
    row("rtkCoordinate(GeoCoordinates)", position);
    row("velocity(double)", -0.1);
    row("nsv(quint16)", QVariant::fromValue(quint16(65535)));
    row("vehicleLocalPos(Value3d)", vector);
    row("vehicleLocalVel(Value3d)", vector);
    row("missionStatus(MissionStatus)", QVariant::fromValue(MissionStatus{3, 70000}));
    row("algorithmStatus(AlgorithmStatus)", QVariant::fromValue(AlgorithmStatus{200, 7}));
    row("gprConnected(PayloadConnectedData)", QVariant::fromValue(PayloadConnectedData{9, true}));
    row("freeSpaceMB(quint64)", QVariant::fromValue(quint64(0xFFFFFFFFFFFFFFFF)));
    row("currentWaypointIndex(quint32)", 0xFFFFFFFFU);
    row("autopilotStatus(quint8)", QVariant::fromValue(quint8(255)));
    row("traceQuality(quint8)", QVariant::fromValue(quint8(128)));
    row("textToGround(TextToGround)",
        QVariant::fromValue(TextToGround{QString::fromUtf8("Höhe"), TextToGround::Error}));
    row("vehicleGpsPosition(Navigate::VehicleGpsPosition)",
        QVariant::fromValue(Navigate::VehicleGpsPosition{1e12, -1.5, 2.5, -400}));
    row("vehicleLocalPosition(Navigate::VehicleLocalPosition)",
        QVariant::fromValue(Navigate::VehicleLocalPosition{1e12, 1, 2, 3, 4, 5, 6, 7, 8}));
    row("vehicleStatus(Navigate::VehicleStatus)",
        QVariant::fromValue(Navigate::VehicleStatus{-1, true, false, true, true}));
}

namespace {

template <typename Record, typename... Fields>
bool sameFields(const QVariant &a, const QVariant &b, Fields Record::*...fields)
{
    const auto x = a.value<Record>();
    const auto y = b.value<Record>();
    return ((x.*fields == y.*fields) && ...);
}

/// The same value, field by field: a copy of the record must not lose any. What is compared as bytes has no
/// padding.
bool sameValue(const QVariant &a, const QVariant &b)
{
    if (a.userType() != b.userType())
        return false;
    if (a.userType() == qMetaTypeId<TextToGround>()) {
        const auto x = a.value<TextToGround>();
        const auto y = b.value<TextToGround>();
        return x.text == y.text && x.type == y.type;
    }
    if (a.userType() == qMetaTypeId<ScalarSensorData>())
        return a.value<ScalarSensorData>() == b.value<ScalarSensorData>();
    if (a.userType() == qMetaTypeId<MissionStatus>())
        return sameFields(a, b, &MissionStatus::state, &MissionStatus::waypoint);
    if (a.userType() == qMetaTypeId<Navigate::VehicleLocalPosition>()) {
        using Record = Navigate::VehicleLocalPosition;
        return sameFields(a, b, &Record::timestamp, &Record::x, &Record::y, &Record::z, &Record::vx,
                          &Record::vy, &Record::vz, &Record::extra1, &Record::extra2);
    }
    if (a.userType() == qMetaTypeId<Navigate::VehicleStatus>()) {
        using Record = Navigate::VehicleStatus;
        return sameFields(a, b, &Record::timestamp, &Record::armed, &Record::guided, &Record::active,
                          &Record::originSet);
    }
    if (a.userType() < QMetaType::User)
        return a == b;
    return std::memcmp(a.constData(), b.constData(), size_t(QMetaType::sizeOf(a.userType()))) == 0;
}

bool invoke(App *app, const QByteArray &signal, const QVariant &value)
{
    const QByteArray name = signal.left(signal.indexOf('('));
    const QByteArray type = signal.mid(name.size() + 1, signal.size() - name.size() - 2);
    return QMetaObject::invokeMethod(app, name.constData(), Qt::AutoConnection,
                                     QGenericArgument(type.constData(), value.constData()));
}

} // namespace

void TestTelemetryData::signal_invokedByName_reachesAnotherThreadIntact_data()
{
    addSignals();
}

void TestTelemetryData::signal_invokedByName_reachesAnotherThreadIntact()
{
    QFETCH(QVariant, value);
    const LogCapture log;
    ApplicationFixture<> f;
    QThread thread;
    Receiver receiver;
    receiver.moveToThread(&thread);
    receiver.connectTo(&f.app, QTest::currentDataTag());
    thread.start();

    const bool invoked = invoke(&f.app, QTest::currentDataTag(), value);
    QMetaObject::invokeMethod(
        &receiver, [] {}, Qt::BlockingQueuedConnection); // what was posted before has run
    thread.quit();
    thread.wait();
    QVERIFY(invoked);
    QCOMPARE(receiver.count, 1);
    QCOMPARE(receiver.thread, &thread);
    QVERIFY2(sameValue(receiver.last, value), receiver.last.typeName());
}

void TestTelemetryData::signal_invokedFromAnotherThread_isEmittedOnTheMainThread_data()
{
    addSignals();
}

void TestTelemetryData::signal_invokedFromAnotherThread_isEmittedOnTheMainThread()
{
    QFETCH(QVariant, value);
    const QByteArray signal = QTest::currentDataTag();
    const LogCapture log;
    ApplicationFixture<> f;
    Receiver receiver;
    receiver.connectTo(&f.app, signal);

    bool invoked = false;
    const std::unique_ptr<QThread> thread(QThread::create([&] { invoked = invoke(&f.app, signal, value); }));
    thread->start();
    thread->wait();
    QVERIFY(invoked);
    QCOMPARE(receiver.count, 0);
    QCoreApplication::sendPostedEvents();
    QCOMPARE(receiver.count, 1);
    QCOMPARE(receiver.thread, QThread::currentThread());
    QVERIFY2(sameValue(receiver.last, value), receiver.last.typeName());
}

APPLESS_TEST_MAIN(TestTelemetryData)
#include "tst_telemetrydata.moc"
