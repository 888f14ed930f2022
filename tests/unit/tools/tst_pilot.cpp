// SPDX-License-Identifier: MIT
#include "host/pilot.h"

#include "host/autopilottexts.h"
#include "host/flightmode.h"
#include "host/latestvalues.h"
#include "navigation/ivirtualstick.h"

#include <QCborMap>
#include <QtTest>

using Kind = ScriptCommand::Kind;

namespace {

/// Writes down what it is told.
class FakeStick : public IVirtualStick
{
public:
    void trackControl(ControlMode /*mode*/, Utils::Vector2d, float, float) override {}
    void yawControl(Utils::Vector2d, float) override {}
    void altitudeControl(Utils::Vector2d, float) override {}
    void keepPosition(float) override {}
    void obtainControl() override { calls.append(QStringLiteral("control")); }
    bool forceObtainControl() override { return true; }
    void releaseControl() override {}
    void stopAutoMission() override {}
    void setVelocity(const Utils::Vector3d &v, float yawRate) override
    {
        calls.append(QStringLiteral("velocity %1 %2 %3 %4").arg(v.x).arg(v.y).arg(v.z).arg(double(yawRate)));
    }
    bool subscribeToTelemetry() override
    {
        calls.append(QStringLiteral("subscribe"));
        return true;
    }
    bool arm() override
    {
        calls.append(QStringLiteral("arm"));
        return true;
    }
    bool takeOff() override
    {
        calls.append(QStringLiteral("takeoff"));
        return true;
    }
    void returnToHome() override {}

    QStringList calls;
};

ScriptCommand commandOf(Kind kind, int timeMs = 0)
{
    ScriptCommand command;
    command.kind = kind;
    command.time = std::chrono::milliseconds(timeMs);
    return command;
}

ScriptCommand velocity(int timeMs)
{
    ScriptCommand command = commandOf(Kind::Velocity, timeMs);
    command.velocity = {1.5, -2, 0.25};
    command.yawRate = 10;
    return command;
}

const QString Velocity = QStringLiteral("velocity 1.5 -2 0.25 10");
const QString Zero = QStringLiteral("velocity 0 0 0 0");

} // namespace

class TestPilot : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void singleCommands_areCarriedOutAndDone_data();
    void singleCommands_areCarriedOutAndDone();
    void outcome_neverComesFromInsideRun();
    void withoutAStick_everyCommandFails();
    void armedVehicle_isNotAskedAgain();
    void arm_endsWhenTheStatusSaysSo();
    void arm_isRepeatedUntilTheTimeOut();
    void velocity_isKeptUpTenTimesASecond();
    void cancel_endsWithoutAnOutcome();
    void hover_stopsAnArmedVehicleThatWasCommanded_data();
    void hover_stopsAnArmedVehicleThatWasCommanded();
    void stickThatGoesAway_failsTheCommand();
    void closedLink_failsTheCommand();
    void linkLostOnTheWay_failsTheCommand();
    void refusalToArm_isNamed_data();
    void refusalToArm_isNamed();
    void refusalBefore_isNotNamed();
    void leavingOurMode_failsTheVelocity();
    void leavingOurMode_isToldOnce();
    void leavingOurMode_withoutOurFlying_isNothing();
    void vehicleNeverInOurMode_isFlownAllTheSame();
    void disarmedVehicle_failsTheTakeOff();
    void vehicleThatSaysLateThatItIsArmed_takesOff();
    void disarmedVehicle_getsVelocitiesAndTheUserAWord();
    void vehicleOfWhichNothingIsKnown_isFlownWithoutAWord();
    void leavingOurMode_toTakeOff_isNothing();
    void vehicleTakenOver_isLeftAlone_data();
    void vehicleTakenOver_isLeftAlone();
    void vehicleTakenOver_isFlownAgain_data();
    void vehicleTakenOver_isFlownAgain();

private:
    void setArmed(bool armed);
    void setOurMode(bool ours) { values->store(QLatin1String(FlightMode::InGuided), ours); }
    void say(const char *text, int severity);
    void flyAndBeTakenOver();

    bool linkOpen = true;
    std::unique_ptr<LatestValues> values;
    std::unique_ptr<FakeStick> stick;
    std::unique_ptr<Pilot> pilot;
    std::unique_ptr<QSignalSpy> done;
    std::unique_ptr<QSignalSpy> failed;
    std::unique_ptr<QSignalSpy> hints;
};

void TestPilot::init()
{
    values = std::make_unique<LatestValues>();
    stick = std::make_unique<FakeStick>();
    pilot = std::make_unique<Pilot>(values.get());
    pilot->setStick(stick.get(), [this] { return linkOpen; });
    linkOpen = true;
    done = std::make_unique<QSignalSpy>(pilot.get(), &Pilot::done);
    failed = std::make_unique<QSignalSpy>(pilot.get(), &Pilot::failed);
    hints = std::make_unique<QSignalSpy>(pilot.get(), &Pilot::hint);
}

void TestPilot::cleanup()
{
    done.reset();
    failed.reset();
    hints.reset();
    pilot.reset();
    stick.reset();
    values.reset();
}

void TestPilot::setArmed(bool armed)
{
    values->store(QStringLiteral("virtualStick.statusChanged"), QCborMap{{QStringLiteral("armed"), armed}});
}

void TestPilot::singleCommands_areCarriedOutAndDone_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<QString>("call");
    QTest::newRow("control") << int(Kind::Control) << "control";
    QTest::newRow("takeoff") << int(Kind::TakeOff) << "takeoff";
    QTest::newRow("subscribe") << int(Kind::Subscribe) << "subscribe";
    QTest::newRow("velocity") << int(Kind::Velocity) << Velocity;
}

void TestPilot::singleCommands_areCarriedOutAndDone()
{
    QFETCH(int, kind);
    QFETCH(QString, call);
    ScriptCommand command = velocity(0);
    command.kind = static_cast<Kind>(kind);
    QVERIFY(Pilot::flies(command.kind));
    pilot->run(command);
    QVERIFY(done->wait());
    QCOMPARE(stick->calls, QStringList{call});
    QCOMPARE(failed->count(), 0);
}

void TestPilot::outcome_neverComesFromInsideRun()
{
    pilot->run(commandOf(Kind::Control));
    QCOMPARE(done->count(), 0);
    QVERIFY(done->wait());
}

void TestPilot::withoutAStick_everyCommandFails()
{
    pilot->setStick(nullptr, [] { return true; });
    pilot->run(commandOf(Kind::Control));
    QVERIFY(failed->wait());
    QCOMPARE(failed->takeFirst().first().toString(), QStringLiteral("the plugin has no virtual stick"));
    QCOMPARE(done->count(), 0);
}

void TestPilot::armedVehicle_isNotAskedAgain()
{
    setArmed(true);
    pilot->run(commandOf(Kind::Arm, 60000));
    QVERIFY(done->wait());
    QVERIFY(stick->calls.isEmpty());
}

void TestPilot::arm_endsWhenTheStatusSaysSo()
{
    pilot->run(commandOf(Kind::Arm, 60000));
    QCOMPARE(stick->calls, QStringList{QStringLiteral("arm")});
    setArmed(false);
    QCOMPARE(done->count(), 0);
    setArmed(true);
    QVERIFY(done->wait());
    QCOMPARE(failed->count(), 0);
}

void TestPilot::arm_isRepeatedUntilTheTimeOut()
{
    pilot->run(commandOf(Kind::Arm, 2500));
    QVERIFY(failed->wait());
    QCOMPARE(failed->takeFirst().first().toString(), QStringLiteral("the vehicle did not arm"));
    QCOMPARE(stick->calls, (QStringList{QStringLiteral("arm"), QStringLiteral("arm")}));
    QCOMPARE(done->count(), 0);
}

void TestPilot::velocity_isKeptUpTenTimesASecond()
{
    pilot->run(velocity(450));
    QVERIFY(done->wait());
    QVERIFY2(stick->calls.size() >= 3 && stick->calls.size() <= 5,
             qPrintable(stick->calls.join(QLatin1Char(','))));
    QCOMPARE(stick->calls.count(Velocity), stick->calls.size());
}

void TestPilot::cancel_endsWithoutAnOutcome()
{
    pilot->run(velocity(60000));
    pilot->cancel();
    pilot->run(commandOf(Kind::Control)); // its outcome comes after any that was left over
    QVERIFY(done->wait());
    QCOMPARE(done->count(), 1);
    QCOMPARE(stick->calls, (QStringList{Velocity, QStringLiteral("control")}));
}

void TestPilot::hover_stopsAnArmedVehicleThatWasCommanded_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<bool>("armed");
    QTest::addColumn<bool>("stopped");
    QTest::newRow("flying") << int(Kind::Velocity) << true << true;
    QTest::newRow("taking off") << int(Kind::TakeOff) << true << true;
    QTest::newRow("disarmed") << int(Kind::Velocity) << false << false;
    QTest::newRow("only looked at") << int(Kind::Subscribe) << true << false;
}

void TestPilot::hover_stopsAnArmedVehicleThatWasCommanded()
{
    QFETCH(int, kind);
    QFETCH(bool, armed);
    QFETCH(bool, stopped);
    setArmed(armed);
    ScriptCommand command = velocity(0);
    command.kind = static_cast<Kind>(kind);
    pilot->run(command);
    QVERIFY(done->wait());
    stick->calls.clear();
    QCOMPARE(pilot->hover(), stopped);
    QCOMPARE(stick->calls, (stopped ? QStringList{Zero, Zero, Zero} : QStringList()));
}

void TestPilot::stickThatGoesAway_failsTheCommand()
{
    pilot->run(velocity(60000));
    stick.reset();
    QVERIFY(failed->wait());
    QVERIFY(!pilot->hover());
}

void TestPilot::closedLink_failsTheCommand()
{
    linkOpen = false;
    pilot->run(velocity(0));
    QVERIFY(failed->wait());
    QCOMPARE(failed->takeFirst().first().toString(), QStringLiteral("the link is not open"));
    QVERIFY(stick->calls.isEmpty());
}

void TestPilot::linkLostOnTheWay_failsTheCommand()
{
    setArmed(true);
    pilot->run(velocity(60000));
    linkOpen = false;
    QVERIFY(failed->wait());
    QCOMPARE(failed->takeFirst().first().toString(), QStringLiteral("the link is not open"));
    QVERIFY(!pilot->hover());
    QCOMPARE(done->count(), 0);
}

void TestPilot::say(const char *text, int severity)
{
    values->store(QLatin1String(AutopilotTexts::Name),
                  QCborMap{{QStringLiteral("text"), QString::fromLatin1(text)},
                           {QStringLiteral("severity"), severity}});
}

void TestPilot::refusalToArm_isNamed_data()
{
    QTest::addColumn<int>("severity");
    QTest::addColumn<QString>("why");
    QTest::newRow("critical") << 2 << "the vehicle did not arm; it says: PreArm: no fix";
    QTest::newRow("warning") << 4 << "the vehicle did not arm; it says: PreArm: no fix";
    QTest::newRow("notice") << 5 << "the vehicle did not arm";
}

void TestPilot::refusalToArm_isNamed()
{
    QFETCH(int, severity);
    pilot->run(commandOf(Kind::Arm, 100));
    say("PreArm: no fix", severity);
    QVERIFY(failed->wait());
    QTEST(failed->takeFirst().first().toString(), "why");
}

void TestPilot::refusalBefore_isNotNamed()
{
    say("PreArm: no fix", 2);
    pilot->run(commandOf(Kind::Arm, 100));
    QVERIFY(failed->wait());
    QCOMPARE(failed->takeFirst().first().toString(), QStringLiteral("the vehicle did not arm"));
}

void TestPilot::flyAndBeTakenOver()
{
    setArmed(true);
    setOurMode(true);
    pilot->run(velocity(60000));
    setOurMode(false);
    QVERIFY(failed->wait());
    stick->calls.clear();
}

void TestPilot::leavingOurMode_failsTheVelocity()
{
    flyAndBeTakenOver();
    QCOMPARE(failed->takeFirst().first().toString(),
             QStringLiteral("an operator or a failsafe has taken the vehicle over"));
    QCOMPARE(done->count(), 0);
    QCOMPARE(hints->count(), 1);
}

void TestPilot::leavingOurMode_isToldOnce()
{
    flyAndBeTakenOver();
    setOurMode(false);
    setOurMode(false);
    QCOMPARE(hints->count(), 1);
}

void TestPilot::leavingOurMode_withoutOurFlying_isNothing()
{
    setOurMode(true);
    setOurMode(false);
    QCOMPARE(hints->count(), 0);
    pilot->run(velocity(0));
    QVERIFY(done->wait());
}

void TestPilot::vehicleNeverInOurMode_isFlownAllTheSame()
{
    setOurMode(false);
    pilot->run(velocity(150)); // a PX4 is switched to off-board while velocities come
    setOurMode(false);
    QVERIFY(done->wait());
    QCOMPARE(failed->count(), 0);
    QCOMPARE(hints->count(), 1);
    QCOMPARE(hints->first().first().toString(),
             QStringLiteral("the vehicle is not in the mode in which it follows velocities yet"));
}

void TestPilot::disarmedVehicle_failsTheTakeOff()
{
    setArmed(false);
    pilot->run(commandOf(Kind::TakeOff));
    setArmed(false);
    QVERIFY(failed->wait());
    QCOMPARE(failed->first().first().toString(), QStringLiteral("the vehicle is not armed"));
    QCOMPARE(done->count(), 0);
    QVERIFY(!pilot->hover());
}

void TestPilot::vehicleThatSaysLateThatItIsArmed_takesOff()
{
    setArmed(false);
    pilot->run(commandOf(Kind::TakeOff));
    QCOMPARE(stick->calls, QStringList{QStringLiteral("takeoff")});
    setArmed(true);
    QVERIFY(done->wait());
    QCOMPARE(stick->calls.size(), 1);
    QCOMPARE(failed->count(), 0);
}

void TestPilot::disarmedVehicle_getsVelocitiesAndTheUserAWord()
{
    setArmed(false);
    for (int i = 0; i < 2; ++i) {
        pilot->run(velocity(0));
        QVERIFY(done->wait());
    }
    QCOMPARE(stick->calls, (QStringList{Velocity, Velocity}));
    QCOMPARE(hints->count(), 1); // once
    QCOMPARE(hints->first().first().toString(),
             QStringLiteral("the vehicle is not armed: it does not follow velocities yet"));
}

void TestPilot::vehicleOfWhichNothingIsKnown_isFlownWithoutAWord()
{
    pilot->run(velocity(0));
    QVERIFY(done->wait());
    pilot->run(commandOf(Kind::TakeOff));
    QVERIFY(done->wait());
    QCOMPARE(hints->count(), 0);
    QCOMPARE(failed->count(), 0);
}

void TestPilot::leavingOurMode_toTakeOff_isNothing()
{
    setOurMode(true);
    pilot->run(commandOf(Kind::TakeOff));
    setOurMode(false);
    QVERIFY(done->wait());
    QCOMPARE(hints->count(), 0);
}

void TestPilot::vehicleTakenOver_isLeftAlone_data()
{
    QTest::addColumn<int>("kind");
    QTest::newRow("velocity") << int(Kind::Velocity);
    QTest::newRow("takeoff") << int(Kind::TakeOff);
}

void TestPilot::vehicleTakenOver_isLeftAlone()
{
    QFETCH(int, kind);
    flyAndBeTakenOver();
    failed->clear();
    pilot->run(commandOf(static_cast<Kind>(kind)));
    QVERIFY(failed->wait());
    QVERIFY(!pilot->hover());
    QVERIFY(stick->calls.isEmpty());
}

void TestPilot::vehicleTakenOver_isFlownAgain_data()
{
    QTest::addColumn<bool>("asked");
    QTest::newRow("control was asked for") << true;
    QTest::newRow("the operator gave it back") << false;
}

void TestPilot::vehicleTakenOver_isFlownAgain()
{
    QFETCH(bool, asked);
    flyAndBeTakenOver();
    if (asked) {
        pilot->run(commandOf(Kind::Control));
        QVERIFY(done->wait());
        stick->calls.clear();
    } else {
        setOurMode(true);
    }
    pilot->run(velocity(0));
    QVERIFY(done->wait());
    QCOMPARE(stick->calls, QStringList{Velocity});
    QVERIFY(pilot->hover());
}

QTEST_GUILESS_MAIN(TestPilot)
#include "tst_pilot.moc"
