// SPDX-License-Identifier: MIT
#include "host/pilot.h"

#include "host/latestvalues.h"
#include "navigation/ivirtualstick.h"

#include <QCborMap>

#include <utility>

using Kind = ScriptCommand::Kind;

namespace {

constexpr std::chrono::milliseconds ArmPeriod{2000};
constexpr std::chrono::milliseconds VelocityPeriod{100}; // an autopilot holds a velocity for a while only
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

bool Pilot::flies(Kind kind)
{
    return kind == Kind::Control || kind == Kind::Arm || kind == Kind::TakeOff || kind == Kind::Velocity ||
           kind == Kind::Subscribe;
}

void Pilot::run(const ScriptCommand &wanted)
{
    current = wanted;
    ending = false;
    const QString complaint = obstacle();
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
        stick->obtainControl();
        break;
    case Kind::TakeOff:
        commanded = stick->takeOff();
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
    deadline.start(current.time);
    repetition.start(ArmPeriod);
    repeat();
}

void Pilot::keepUpVelocity()
{
    commanded = true;
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
    if (!ending && current.kind == Kind::Arm && repetition.isActive() && name == Status && isArmed())
        finishSoon();
}

void Pilot::onDeadline()
{
    repetition.stop();
    if (!ending && current.kind == Kind::Arm)
        failure = QStringLiteral("the vehicle did not arm");
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
    if (!obstacle().isEmpty() || !commanded || !isArmed())
        return false;
    for (int i = 0; i < 3; ++i) // nothing acknowledges it
        stick->setVelocity({}, 0);
    return true;
}

bool Pilot::isArmed() const
{
    return values->value(Status).toMap().value(QLatin1String("armed")).toBool();
}
