// SPDX-License-Identifier: MIT
#include "host/pilot.h"

#include "host/autopilottexts.h"
#include "host/flightmode.h"
#include "host/latestvalues.h"
#include "navigation/ivirtualstick.h"

#include <QCborMap>

#include <utility>

using Kind = ScriptCommand::Kind;

namespace {

constexpr std::chrono::milliseconds ArmPeriod{2000};
constexpr std::chrono::milliseconds VelocityPeriod{100}; // an autopilot holds a velocity for a while only
constexpr std::chrono::milliseconds NewsOfArming{2500};  // heartbeats come once a second
constexpr qint64 LeastSevere = 4;                        // a warning
const QLatin1String Status("virtualStick.statusChanged");

} // namespace

Pilot::Pilot(const LatestValues *seen, QObject *parent)
    : QObject(parent)
    , values(seen)
{
    repetition.setTimerType(Qt::PreciseTimer);
    deadline.setTimerType(Qt::PreciseTimer);
    deadline.setSingleShot(true);
    connect(&repetition, &QTimer::timeout, this, &Pilot::repeat);
    connect(&deadline, &QTimer::timeout, this, &Pilot::onDeadline);
    connect(values, &LatestValues::stored, this, &Pilot::onStored);
}

void Pilot::setStick(IVirtualStick *virtualStick, std::function<bool()> linkOpen)
{
    stick = virtualStick;
    isLinkOpen = std::move(linkOpen);
}

QString Pilot::obstacle() const
{
    if (!stick)
        return QStringLiteral("the plugin has no virtual stick");
    return isLinkOpen() ? QString() : QStringLiteral("the link is not open");
}

// What the autopilot would not follow anyway is not sent to a vehicle that somebody else flies.
QString Pilot::obstacleToFlying() const
{
    return takenOver ? QStringLiteral("an operator or a failsafe has taken the vehicle over") : obstacle();
}

bool Pilot::flies(Kind kind)
{
    return kind == Kind::Control || kind == Kind::Arm || kind == Kind::TakeOff || kind == Kind::Velocity ||
           kind == Kind::Subscribe;
}

void Pilot::run(const ScriptCommand &wanted)
{
    current = wanted;
    ending = false;
    const bool moves = current.kind == Kind::TakeOff || current.kind == Kind::Velocity;
    const QString complaint = moves ? obstacleToFlying() : obstacle();
    if (complaint.isEmpty())
        command();
    else
        finishSoon(complaint);
}

void Pilot::command()
{
    switch (current.kind) {
    case Kind::Arm:
        arm();
        return;
    case Kind::Velocity:
        keepUpVelocity();
        return;
    case Kind::Control:
        controlAsked = true;
        takenOver = false;
        stick->obtainControl();
        break;
    case Kind::TakeOff:
        inOurMode = false; // a PX4 takes off in a mode of its own
        commanded = stick->takeOff();
        if (isKnownAsDisarmed()) { // refused, but for a vehicle that has armed since it last said so
            deadline.start(NewsOfArming);
            return;
        }
        break;
    default:
        stick->subscribeToTelemetry();
        break;
    }
    finishSoon();
}

void Pilot::arm()
{
    if (isArmed()) {
        finishSoon();
        return;
    }
    refusal.clear();
    deadline.start(current.time);
    repetition.start(ArmPeriod);
    repeat();
}

// Not refused: a PX4 wants velocities before it goes off-board.
void Pilot::tellWhatKeepsItFromFlying()
{
    if (std::exchange(unheededTold, true))
        return;
    if (isKnownAsDisarmed())
        Q_EMIT hint(QStringLiteral("the vehicle is not armed: it does not follow velocities yet"));
    else if (values->value(QLatin1String(FlightMode::InGuided)).isFalse())
        Q_EMIT hint(QStringLiteral("the vehicle is not in the mode in which it follows velocities yet"));
    else
        unheededTold = false;
}

void Pilot::keepUpVelocity()
{
    commanded = true;
    tellWhatKeepsItFromFlying();
    repeat();
    if (ending)
        return;
    if (current.time.count() == 0) {
        finishSoon();
        return;
    }
    deadline.start(current.time);
    repetition.start(VelocityPeriod);
}

void Pilot::repeat()
{
    const QString complaint = obstacle();
    if (!complaint.isEmpty())
        finishSoon(complaint);
    else if (current.kind == Kind::Arm)
        stick->arm();
    else
        stick->setVelocity(current.velocity, current.yawRate);
}

void Pilot::onStored(const QString &name)
{
    if (name == Status && waitsForArming() && isArmed())
        finishSoon();
    else if (name == QLatin1String(FlightMode::InGuided))
        onMode(values->value(name).toBool());
    else if (name == QLatin1String(AutopilotTexts::Name) && isRunning(Kind::Arm))
        onText();
}

void Pilot::onMode(bool isOurs)
{
    const bool wasOurs = std::exchange(inOurMode, isOurs);
    if (isOurs)
        takenOver = false;
    if (isOurs || !wasOurs || !(commanded || controlAsked))
        return;
    takenOver = true;
    Q_EMIT hint(QStringLiteral("the vehicle has left the mode in which it follows us: an operator or a "
                               "failsafe has taken it over; control asks for it again"));
    if (isRunning(Kind::Velocity))
        finishSoon(obstacleToFlying());
}

void Pilot::onText()
{
    const QCborMap said = values->value(QLatin1String(AutopilotTexts::Name)).toMap();
    if (said.value(QLatin1String("severity")).toInteger() <= LeastSevere)
        refusal = said.value(QLatin1String("text")).toString();
}

bool Pilot::waitsForArming() const
{
    return !ending && deadline.isActive() && (current.kind == Kind::Arm || current.kind == Kind::TakeOff);
}

bool Pilot::isRunning(Kind kind) const
{
    return !ending && current.kind == kind && repetition.isActive();
}

void Pilot::onDeadline()
{
    repetition.stop();
    if (!ending && current.kind == Kind::Arm)
        failure = refusal.isEmpty() ? QStringLiteral("the vehicle did not arm")
                                    : QStringLiteral("the vehicle did not arm; it says: %1").arg(refusal);
    else if (!ending && current.kind == Kind::TakeOff)
        failure = QStringLiteral("the vehicle is not armed");
    ending = false;
    const QString why = failure;
    failure.clear();
    if (why.isEmpty())
        Q_EMIT done();
    else
        Q_EMIT failed(why);
}

void Pilot::finishSoon(const QString &complaint)
{
    repetition.stop();
    ending = true;
    failure = complaint;
    deadline.start(0);
}

void Pilot::cancel()
{
    repetition.stop();
    deadline.stop();
}

bool Pilot::hover()
{
    if (!obstacleToFlying().isEmpty() || !commanded || !isArmed())
        return false;
    for (int i = 0; i < 3; ++i) // nothing acknowledges it
        stick->setVelocity({}, 0);
    return true;
}

bool Pilot::isArmed() const
{
    return values->value(Status).toMap().value(QLatin1String("armed")).toBool();
}

bool Pilot::isKnownAsDisarmed() const
{
    return values->value(Status).toMap().value(QLatin1String("armed")).isFalse();
}
