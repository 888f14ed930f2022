// SPDX-License-Identifier: MIT
#include "autopilot/telemetrypublisher.h"

#include "support/logcapture.h"
#include "support/testmain.h"

#include <QSemaphore>
#include <QThread>

namespace {

using Clock = std::chrono::steady_clock;

constexpr int PatienceMs = 30000;

// Takes one emission of a signal on a thread of its own.
template <typename Value>
class ElsewhereReceiver
{
public:
    template <typename Signal>
    explicit ElsewhereReceiver(Signal signal)
    {
        receiver.moveToThread(&thread);
        QObject::connect(runningApp(), signal, &receiver, [this](Value arrived) {
            value = arrived;
            onThread = QThread::currentThread() == &thread;
            done.release();
        });
        thread.start();
    }

    ~ElsewhereReceiver()
    {
        thread.quit();
        thread.wait();
    }

    bool wait() { return done.tryAcquire(1, PatienceMs) && onThread; }

    Value value{};

private:
    bool onThread = false;
    QSemaphore done;
    QThread thread;
    QObject receiver;
};

} // namespace

class TestTelemetryPublisher : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyName_isAnAppSignal();
    void onTheMainThread_receiversAreCalledAtOnce();
    void status_reachesAnotherThread();
    void flags_reachAnotherThread();
    void attitude_reachesAnotherThread();
    void position_reachesAnotherThread();
    void readings_reachAnotherThread();
};

void TestTelemetryPublisher::everyName_isAnAppSignal()
{
    LogCapture log;
    TelemetryPublisher publish;
    publish.autopilotStatus(1);
    publish.daqEnabled(true);
    publish.timeIsSet(true);
    publish.attitude(1, 2, 3);
    publish.gpsCoordinate({1, 2});
    publish.velocity(1);
    publish.altitude({});
    publish.vehicleLocalPos({});
    publish.rawAltimeterValue({});
    QCOMPARE(log.take(), QStringList()); // a name that the application does not have is warned about
}

void TestTelemetryPublisher::onTheMainThread_receiversAreCalledAtOnce()
{
    TelemetryPublisher publish;
    QVector<float> angles;
    QObject context;
    connect(runningApp(), &App::roll, &context, [&](float value) { angles.append(value); });
    connect(runningApp(), &App::pitch, &context, [&](float value) { angles.append(value); });
    connect(runningApp(), &App::yaw, &context, [&](float value) { angles.append(value); });
    publish.attitude(0.1F, -0.2F, 3.0F);
    QCOMPARE(angles, (QVector<float>{0.1F, -0.2F, 3.0F}));
}

void TestTelemetryPublisher::status_reachesAnotherThread()
{
    TelemetryPublisher publish;
    ElsewhereReceiver<quint8> status(&App::autopilotStatus);
    publish.autopilotStatus(2);
    QVERIFY(status.wait());
    QCOMPARE(status.value, quint8(2));
}

void TestTelemetryPublisher::flags_reachAnotherThread()
{
    TelemetryPublisher publish;
    ElsewhereReceiver<bool> daq(&App::daqEnabled);
    ElsewhereReceiver<bool> time(&App::timeIsSet);
    publish.daqEnabled(true);
    publish.timeIsSet(true);
    QVERIFY(daq.wait());
    QVERIFY(time.wait());
    QVERIFY(daq.value);
    QVERIFY(time.value);
}

void TestTelemetryPublisher::attitude_reachesAnotherThread()
{
    TelemetryPublisher publish;
    ElsewhereReceiver<float> roll(&App::roll);
    ElsewhereReceiver<float> pitch(&App::pitch);
    ElsewhereReceiver<float> yaw(&App::yaw);
    publish.attitude(0.1F, -0.2F, 3.0F);
    QVERIFY(roll.wait());
    QVERIFY(pitch.wait());
    QVERIFY(yaw.wait());
    QCOMPARE(roll.value, 0.1F);
    QCOMPARE(pitch.value, -0.2F);
    QCOMPARE(yaw.value, 3.0F);
}

void TestTelemetryPublisher::position_reachesAnotherThread()
{
    TelemetryPublisher publish;
    ElsewhereReceiver<GeoCoordinates> coordinate(&App::gpsCoordinate);
    ElsewhereReceiver<double> velocity(&App::velocity);
    ElsewhereReceiver<Value3d> local(&App::vehicleLocalPos);
    publish.gpsCoordinate({56.9496, -24.1052});
    publish.velocity(12.25);
    publish.vehicleLocalPos({1.5, -2.5, 3.5});
    QVERIFY(coordinate.wait());
    QVERIFY(velocity.wait());
    QVERIFY(local.wait());
    QCOMPARE(coordinate.value.latitude, 56.9496);
    QCOMPARE(coordinate.value.longitude, -24.1052);
    QCOMPARE(velocity.value, 12.25);
    QCOMPARE(local.value.x, 1.5);
    QCOMPARE(local.value.y, -2.5);
    QCOMPARE(local.value.z, 3.5);
}

void TestTelemetryPublisher::readings_reachAnotherThread()
{
    TelemetryPublisher publish;
    const auto now = Clock::now();
    ElsewhereReceiver<ScalarSensorData> altitude(&App::altitude);
    ElsewhereReceiver<ScalarSensorData> altimeter(&App::rawAltimeterValue);
    publish.altitude({15.5F, 1, now});
    publish.rawAltimeterValue({12.34F, 4, now + std::chrono::nanoseconds(1)});
    QVERIFY(altitude.wait());
    QVERIFY(altimeter.wait());
    QCOMPARE(altitude.value.value, 15.5F);
    QCOMPARE(altitude.value.status, quint8(1));
    QVERIFY(altitude.value.time == now);
    QCOMPARE(altimeter.value.value, 12.34F);
    QCOMPARE(altimeter.value.status, quint8(4));
    QVERIFY(altimeter.value.time == now + std::chrono::nanoseconds(1));
}

APP_TEST_MAIN(TestTelemetryPublisher)
#include "tst_telemetrypublisher.moc"
