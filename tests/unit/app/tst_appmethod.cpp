// SPDX-License-Identifier: MIT
#include "appfixture.h"
#include "support/logcapture.h"

#include "app/appmethod.h"

#include <QSignalSpy>
#include <QThread>

#include <memory>

/// Redeclares a telemetry signal as a slot of its own.
class RollKeeper : public App
{
    Q_OBJECT

public:
    using App::App;
    float kept = 0;

public Q_SLOTS:
    void roll(float value) { kept = value; }
};

/// An application that is no App but has the method.
class OtherApplication : public QCoreApplication
{
    Q_OBJECT

public:
    using QCoreApplication::QCoreApplication;
    float kept = 0;

public Q_SLOTS:
    void roll(float value) { kept = value; }
};

class TestAppMethod : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void invoke_emitsTheSignalOfTheApp();
    void invoke_withAnotherNameOfTheType_findsTheMethod();
    void invoke_withARecord_carriesIt();
    void invoke_onASubclassThatRedeclaresTheName_callsTheSubclass();
    void invoke_onAnyApplicationWithTheMethod_callsIt();
    void invoke_withoutAnApplication_isSilent();
    void invoke_onAnApplicationWithoutTheMethod_warnsOnce();
    void invoke_withAWrongType_warnsOnce();
    void invoke_fromAnotherThread_isQueued();
    void invoke_afterTheAppWasMadeAnew_reachesTheNewOne();
    void invoke_afterAnotherKindOfApplication_reachesTheNewOne();
};

void TestAppMethod::invoke_emitsTheSignalOfTheApp()
{
    const LogCapture log;
    ApplicationFixture<> f;
    const QSignalSpy emitted(&f.app, &App::roll);
    AppMethod method("roll(float)");
    QVERIFY(method.invoke(Q_ARG(float, 0.5F)));
    QVERIFY(method.invoke(Q_ARG(float, 1.5F)));
    QCOMPARE(emissions(emitted), QList<QVariantList>({{0.5F}, {1.5F}}));
}

void TestAppMethod::invoke_withAnotherNameOfTheType_findsTheMethod()
{
    const LogCapture log;
    ApplicationFixture<> f;
    const QSignalSpy emitted(&f.app, &App::velocity);
    AppMethod method("velocity(qreal)");
    QVERIFY(method.invoke(Q_ARG(qreal, 2.5)));
    QCOMPARE(emissions(emitted), QList<QVariantList>{{2.5}});
}

void TestAppMethod::invoke_withARecord_carriesIt()
{
    const LogCapture log;
    ApplicationFixture<> f;
    const QSignalSpy emitted(&f.app, &App::vehicleLocalPos);
    AppMethod method("vehicleLocalPos(Value3d)");
    const Value3d position{1, 2, 3};
    QVERIFY(method.invoke(Q_ARG(Value3d, position)));
    QCOMPARE(emitted.count(), 1);
    const auto [x, y, z] = emitted.first().first().value<Value3d>();
    QCOMPARE(x, 1.0);
    QCOMPARE(y, 2.0);
    QCOMPARE(z, 3.0);
}

void TestAppMethod::invoke_onASubclassThatRedeclaresTheName_callsTheSubclass()
{
    const LogCapture log;
    ApplicationFixture<RollKeeper> f;
    const QSignalSpy emitted(&f.app, &App::roll);
    AppMethod method("roll(float)");
    QVERIFY(method.invoke(Q_ARG(float, 0.5F)));
    QCOMPARE(f.app.kept, 0.5F);
    QCOMPARE(emitted.count(), 0);
}

void TestAppMethod::invoke_onAnyApplicationWithTheMethod_callsIt()
{
    const LogCapture log;
    ApplicationFixture<OtherApplication> f;
    AppMethod method("roll(float)");
    QVERIFY(method.invoke(Q_ARG(float, 0.5F)));
    QCOMPARE(f.app.kept, 0.5F);
}

void TestAppMethod::invoke_withoutAnApplication_isSilent()
{
    const LogCapture log;
    AppMethod method("roll(float)");
    QVERIFY(!QCoreApplication::instance());
    QVERIFY(!method.invoke(Q_ARG(float, 0.5F)));
}

void TestAppMethod::invoke_onAnApplicationWithoutTheMethod_warnsOnce()
{
    LogCapture log;
    const ApplicationFixture<QCoreApplication> f;
    AppMethod method("roll(float)");
    QVERIFY(!method.invoke(Q_ARG(float, 0.5F)));
    QVERIFY(!method.invoke(Q_ARG(float, 0.5F)));
    const QStringList lines = log.take();
    QCOMPARE(lines.size(), 1);
    QVERIFY2(lines.first().contains(QStringLiteral("roll(float)")), qPrintable(lines.first()));
    QCOMPARE(log.takenTypes(), QList<QtMsgType>{QtWarningMsg});
}

void TestAppMethod::invoke_withAWrongType_warnsOnce()
{
    LogCapture log;
    ApplicationFixture<> f;
    const QSignalSpy emitted(&f.app, &App::roll);
    AppMethod method("roll(QString)");
    QVERIFY(!method.invoke(Q_ARG(QString, QStringLiteral("1"))));
    QVERIFY(!method.invoke(Q_ARG(QString, QStringLiteral("1"))));
    QCOMPARE(emitted.count(), 0);
    QCOMPARE(log.take().size(), 1);
}

void TestAppMethod::invoke_fromAnotherThread_isQueued()
{
    const LogCapture log;
    ApplicationFixture<> f;
    QThread *emittedOn = nullptr;
    ScalarSensorData emitted;
    connect(&f.app, &App::altitude, this, [&](const ScalarSensorData &value) {
        emitted = value;
        emittedOn = QThread::currentThread();
    });
    bool invoked = false;
    const std::unique_ptr<QThread> thread(QThread::create([&invoked] {
        AppMethod method("altitude(ScalarSensorData)");
        const ScalarSensorData reading{12.5F, 2, {}};
        invoked = method.invoke(Q_ARG(ScalarSensorData, reading));
    }));
    thread->start();
    thread->wait();
    QVERIFY(invoked);
    QVERIFY(!emittedOn);
    QCoreApplication::sendPostedEvents();
    QCOMPARE(emittedOn, QThread::currentThread());
    QCOMPARE(emitted.value, 12.5F);
    QCOMPARE(emitted.status, quint8(2));
}

void TestAppMethod::invoke_afterTheAppWasMadeAnew_reachesTheNewOne()
{
    const LogCapture log;
    AppMethod method("roll(float)");
    for (int life = 0; life < 3; ++life) {
        {
            ApplicationFixture<> f;
            const QSignalSpy emitted(&f.app, &App::roll);
            QVERIFY(method.invoke(Q_ARG(float, 0.5F)));
            QCOMPARE(emitted.count(), 1);
        }
        QVERIFY(!method.invoke(Q_ARG(float, 0.5F)));
    }
}

void TestAppMethod::invoke_afterAnotherKindOfApplication_reachesTheNewOne()
{
    LogCapture log;
    AppMethod method("roll(float)");
    {
        const ApplicationFixture<QCoreApplication> plain;
        QVERIFY(!method.invoke(Q_ARG(float, 0.5F)));
        QCOMPARE(log.take().size(), 1);
    }
    {
        ApplicationFixture<RollKeeper> f;
        QVERIFY(method.invoke(Q_ARG(float, 1.5F)));
        QCOMPARE(f.app.kept, 1.5F);
    }
    ApplicationFixture<> f;
    const QSignalSpy emitted(&f.app, &App::roll);
    QVERIFY(method.invoke(Q_ARG(float, 2.5F)));
    QCOMPARE(emissions(emitted), QList<QVariantList>{{2.5F}});
}

APPLESS_TEST_MAIN(TestAppMethod)
#include "tst_appmethod.moc"
