// SPDX-License-Identifier: MIT
#include "sim/operatorprompt.h"

#include <QHash>
#include <QStringList>

OperatorPrompt::OperatorPrompt(SimulatedAutopilot *what, const Report &to)
    : autopilot(what)
    , report(to)
{}

QString OperatorPrompt::obey(const QString &line)
{
    const QStringList words = line.simplified().split(QLatin1Char(' '), Qt::SkipEmptyParts);
    if (words.isEmpty())
        return {};
    if (words[0] == QLatin1String("mode"))
        return words.size() == 2 ? obeyMode(words[1]) : QStringLiteral("mode wants one name or number");
    if (words[0] == QLatin1String("fault"))
        return obeyFault(words.mid(1));
    return words.size() == 1 ? obeyWord(words[0]) : QStringLiteral("%1 takes no argument").arg(words[0]);
}

QString OperatorPrompt::obeyMode(const QString &name)
{
    AutopilotManner &manner = autopilot->manner();
    const std::optional<quint32> mode = manner.modes().find(name);
    if (!mode)
        return QStringLiteral("no mode \"%1\"; there are %2").arg(name, manner.modes().names());
    const QString refusal = manner.setMode(*mode);
    return refusal.isEmpty() ? QString() : QStringLiteral("mode %1 refused: %2").arg(name, refusal);
}

QString OperatorPrompt::obeyFault(const QStringList &words)
{
    const QString kind = words.value(0);
    const QHash<QString, double> most{{QStringLiteral("loss"), 1},
                                      {QStringLiteral("corrupt"), 1},
                                      {QStringLiteral("latency"), 60000},
                                      {QStringLiteral("stall"), 3600}};
    bool isNumber = kind == QLatin1String("none") && words.size() == 1;
    const double amount = isNumber ? 0 : words.value(1).toDouble(&isNumber);
    const bool inRange = amount >= 0 && amount <= most.value(kind, 0);
    if (!isNumber || !inRange || words.size() > 2 || !(most.contains(kind) || kind == QLatin1String("none")))
        return QStringLiteral("fault wants loss P, corrupt P, latency MS, stall SECONDS or none");
    Q_EMIT faultAsked(kind, amount);
    return {};
}

QString OperatorPrompt::obeyWord(const QString &word)
{
    QString refusal;
    if (word == QLatin1String("arm"))
        refusal = autopilot->manner().setArmed(true);
    else if (word == QLatin1String("disarm"))
        refusal = autopilot->manner().setArmed(false);
    else if (word == QLatin1String("land"))
        refusal = autopilot->manner().setMode(autopilot->manner().landMode());
    else if (word == QLatin1String("reboot"))
        autopilot->reboot();
    else if (word == QLatin1String("status"))
        tellStatus();
    else if (word == QLatin1String("quit"))
        Q_EMIT quit();
    else
        return QStringLiteral(
                   "no command \"%1\"; there are mode, arm, disarm, land, reboot, fault, status, quit")
            .arg(word);
    return refusal.isEmpty() ? QString() : QStringLiteral("%1 refused: %2").arg(word, refusal);
}

void OperatorPrompt::tellStatus() const
{
    const Aircraft &aircraft = autopilot->state();
    const Vehicle::State &vehicle = aircraft.vehicle.state();
    VehicleStatus status;
    status.mode = autopilot->manner().modes().nameOf(autopilot->manner().mode());
    status.ready = aircraft.isReady();
    status.armed = aircraft.armed;
    status.landed = vehicle.landed;
    status.northM = vehicle.position.x;
    status.eastM = vehicle.position.y;
    status.heightM = aircraft.guidance.heightAboveHomeM(vehicle);
    status.batteryPercent = aircraft.battery.remaining();
    report.status(status);
}
