// SPDX-License-Identifier: MIT
#include "support/logcapture.h"
#include "support/vtable.h"

#include "navigation/ivirtualstick.h"

#include <QThread>
#include <QtTest>

#include <cmath>
#include <type_traits>

namespace {

static_assert(std::is_abstract_v<IVirtualStick> && std::is_base_of_v<IBase, IVirtualStick>);
static_assert(std::is_enum_v<ControlMode>);

/// Overrides what must be overridden and nothing else.
class BareStick : public IVirtualStick
{
public:
    using IVirtualStick::IVirtualStick;
    void trackControl(ControlMode, Utils::Vector2d, float, float) override {}
    void yawControl(Utils::Vector2d, float) override {}
    void altitudeControl(Utils::Vector2d, float) override {}
    void keepPosition(float) override {}
    void obtainControl() override {}
    bool forceObtainControl() override { return true; }
    void releaseControl() override {}
    void stopAutoMission() override {}
    void setVelocity(const Utils::Vector3d &, float) override {}
    bool subscribeToTelemetry() override { return true; }
    void returnToHome() override {}
};

} // namespace

/// Takes the records, and counts what came on which thread.
class StickReceiver : public QObject
{
    Q_OBJECT

public:
    Navigate::VehicleLocalPosition localPosition;
    Navigate::VehicleGpsPosition gpsPosition;
    Navigate::VehicleStatus status;
    Navigate::Attitude attitude;
    QList<double> origin;
    QSet<QThread *> threads;
    int count = 0;

public Q_SLOTS:
    void takeOrigin(double lat, double lon, double altitude) { note(origin = {lat, lon, altitude}); }
    void takeLocalPosition(const Navigate::VehicleLocalPosition &record) { note(localPosition = record); }
    void takeGpsPosition(const Navigate::VehicleGpsPosition &record) { note(gpsPosition = record); }
    void takeStatus(const Navigate::VehicleStatus &record) { note(status = record); }
    void takeAttitude(const Navigate::Attitude &record) { note(attitude = record); }

private:
    template <class Record>
    void note(const Record &)
    {
        threads.insert(QThread::currentThread());
        ++count;
    }
};

class TestIVirtualStick : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void metaObject_hasTheSignalsInOrder();
    void virtualOperations_followThoseOfQObjectInOrder();
    void armAndTakeOff_byDefault_areRefused();
    void interface_hasNoTagOfItsOwn();
    void signals_reachAnotherThreadIntact();
    void stick_diesWithItsParent();
};

void TestIVirtualStick::metaObject_hasTheSignalsInOrder()
{
    const QMetaObject &meta = IVirtualStick::staticMetaObject;
    QCOMPARE(QByteArray(meta.className()), QByteArray("IVirtualStick"));
    QCOMPARE(meta.superClass(), &IBase::staticMetaObject);
    QList<QByteArray> signatures;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        QCOMPARE(meta.method(i).methodType(), QMetaMethod::Signal);
        signatures.append(meta.method(i).methodSignature());
    }
    const QList<QByteArray> expected{"controlObtained()",
                                     "controlReleased()",
                                     "controlFailed()",
                                     "autoLanding()",
                                     "goHome()",
                                     "resetReturnToHome()",
                                     "originChanged(double,double,double)",
                                     "localPositionChanged(Navigate::VehicleLocalPosition)",
                                     "gpsPositionChanged(Navigate::VehicleGpsPosition)",
                                     "statusChanged(Navigate::VehicleStatus)",
                                     "attitudeChanged(Navigate::Attitude)"};
    QCOMPARE(signatures, expected);
    QCOMPARE(meta.method(meta.methodOffset() + 6).parameterNames(),
             (QList<QByteArray>{"lat", "lon", "altAmsl"}));
}

void TestIVirtualStick::virtualOperations_followThoseOfQObjectInOrder()
{
    const QList<int> slotsInOrder{virtualSlot(&IVirtualStick::trackControl),
                                  virtualSlot(&IVirtualStick::yawControl),
                                  virtualSlot(&IVirtualStick::altitudeControl),
                                  virtualSlot(&IVirtualStick::keepPosition),
                                  virtualSlot(&IVirtualStick::obtainControl),
                                  virtualSlot(&IVirtualStick::forceObtainControl),
                                  virtualSlot(&IVirtualStick::releaseControl),
                                  virtualSlot(&IVirtualStick::stopAutoMission),
                                  virtualSlot(&IVirtualStick::setVelocity),
                                  virtualSlot(&IVirtualStick::subscribeToTelemetry),
                                  virtualSlot(&IVirtualStick::arm),
                                  virtualSlot(&IVirtualStick::takeOff),
                                  virtualSlot(&IVirtualStick::returnToHome)};
    for (int i = 0; i < slotsInOrder.size(); ++i)
        QCOMPARE(slotsInOrder[i], lastSlotOfQObject() + 1 + i);
}

void TestIVirtualStick::armAndTakeOff_byDefault_areRefused()
{
    const LogCapture log;
    BareStick stick;
    QVERIFY(!stick.arm());
    QVERIFY(!stick.takeOff());
}

void TestIVirtualStick::interface_hasNoTagOfItsOwn()
{
    LogCapture log;
    BareStick stick;
    QCOMPARE(stick.id(), QString());
    stick.info() << "text";
    QCOMPARE(log.take(), QStringList{QStringLiteral("text")});
}

void TestIVirtualStick::signals_reachAnotherThreadIntact()
{
    const LogCapture log;
    BareStick stick;
    StickReceiver to;
    QThread thread;
    to.moveToThread(&thread);
    connect(&stick, &IVirtualStick::originChanged, &to, &StickReceiver::takeOrigin, Qt::QueuedConnection);
    connect(&stick, &IVirtualStick::localPositionChanged, &to, &StickReceiver::takeLocalPosition,
            Qt::QueuedConnection);
    connect(&stick, &IVirtualStick::gpsPositionChanged, &to, &StickReceiver::takeGpsPosition,
            Qt::QueuedConnection);
    connect(&stick, &IVirtualStick::statusChanged, &to, &StickReceiver::takeStatus, Qt::QueuedConnection);
    connect(&stick, &IVirtualStick::attitudeChanged, &to, &StickReceiver::takeAttitude, Qt::QueuedConnection);
    thread.start();

    Q_EMIT stick.originChanged(1.5, 2.5, 3.5);
    Q_EMIT stick.localPositionChanged({1, 2, 3, 4, 5, 6, 7, 8, 9});
    Q_EMIT stick.gpsPositionChanged({1, 2, 3, 4});
    Q_EMIT stick.statusChanged({-1, true, false, true, false});
    Q_EMIT stick.attitudeChanged({1, 2, 3, 4});
    QMetaObject::invokeMethod(
        &to, [] {}, Qt::BlockingQueuedConnection); // what was posted before has run
    thread.quit();
    thread.wait();

    QCOMPARE(to.count, 5);
    QCOMPARE(to.threads, QSet<QThread *>{&thread});
    QCOMPARE(to.origin, (QList<double>{1.5, 2.5, 3.5}));
    QCOMPARE(to.localPosition.vz, 7.0F);
    QCOMPARE(to.localPosition.extra2, 9.0F);
    QCOMPARE(to.gpsPosition.altitude, 4.0);
    QVERIFY(to.status.armed && !to.status.guided && to.status.active && !to.status.originSet);
    QCOMPARE(to.attitude.yaw, 4.0F);
    QVERIFY(std::isnan(to.attitude.extra3));
}

void TestIVirtualStick::stick_diesWithItsParent()
{
    auto *parent = new QObject;
    const QPointer<IVirtualStick> stick = new BareStick(parent);
    delete parent;
    QVERIFY(!stick);
}

QTEST_GUILESS_MAIN(TestIVirtualStick)
#include "tst_ivirtualstick.moc"
