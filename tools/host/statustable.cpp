// SPDX-License-Identifier: MIT
#include "host/statustable.h"

#include "host/flightmode.h"
#include "host/latestvalues.h"
#include "host/linkreport.h"
#include "host/satellitecount.h"
#include "host/valuewords.h"

#include <QCborMap>

QVector<StatusTable::Row> StatusTable::rows() const
{
    return {autopilot(),
            row("Vehicle", FlightMode::Name, ValueWords::flightMode),
            attitude(),
            row("Position", "gpsCoordinate", ValueWords::position),
            row("Local position", "vehicleLocalPos", ValueWords::localPosition),
            fromOrigin(),
            row("Velocity", "velocity", ValueWords::speed),
            altitude(),
            altimeter(),
            row("Satellites", SatelliteCount::Name,
                [](const QCborValue &count) { return QString::number(count.toInteger()); }),
            row("Logging", "daqEnabled", ValueWords::onOff),
            clock()};
}

QString StatusTable::line() const
{
    QStringList parts;
    const QVector<Row> all = rows();
    for (const Row &each : all)
        if (each.known)
            parts.append(each.label.toLower() + QLatin1Char(' ') + each.text);
    const QString trouble = linkTrouble();
    if (!trouble.isEmpty())
        parts.append(QLatin1String("link ") + trouble);
    return parts.join(QLatin1String(" | "));
}

QString StatusTable::linkTrouble() const
{
    return ValueWords::linkTrouble(values.value(QLatin1String(LinkReport::Name)));
}

StatusTable::Row StatusTable::row(const char *label, const char *signal,
                                  QString (*words)(const QCborValue &)) const
{
    const QString name = QLatin1String(signal);
    const bool known = values.contains(name);
    return {QLatin1String(label), known ? words(values.value(name)) : QStringLiteral("-"), name, Tone::Plain,
            known};
}

StatusTable::Row StatusTable::autopilot() const
{
    Row result = row("Autopilot", "autopilotStatus", ValueWords::autopilotStatus);
    if (result.known)
        result.tone = values.value(result.signal).toInteger() == 2 ? Tone::Good : Tone::Bad;
    return result;
}

StatusTable::Row StatusTable::attitude() const
{
    Row result = row("Attitude", "roll", ValueWords::angle);
    if (result.known)
        result.text = QStringLiteral("roll %1, pitch %2, yaw %3")
                          .arg(result.text, ValueWords::angle(values.value(QStringLiteral("pitch"))),
                               ValueWords::angle(values.value(QStringLiteral("yaw"))));
    return result;
}

// The stick takes the first position that it hears for its origin, and an ArduPilot sends zeros until it has
// a fix: distances from there mean nothing.
bool StatusTable::hasOrigin() const
{
    const QCborMap origin = values.value(QStringLiteral("virtualStick.originChanged")).toMap();
    return origin.value(QLatin1String("lat")).toDouble() != 0 ||
           origin.value(QLatin1String("lon")).toDouble() != 0;
}

StatusTable::Row StatusTable::fromOrigin() const
{
    Row result = row("From origin", "virtualStick.localPositionChanged", ValueWords::distanceAndHeight);
    if (!hasOrigin() && result.known)
        result.text = QStringLiteral("no fix yet");
    return result;
}

StatusTable::Row StatusTable::altitude() const
{
    Row result = row("Altitude", "altitude", ValueWords::altitude);
    if (result.known && values.value(result.signal).toMap().value(QLatin1String("status")).toInteger() != 0)
        result.tone = Tone::Bad;
    return result;
}

StatusTable::Row StatusTable::altimeter() const
{
    return row("Altimeter", "rawAltimeterValue", [](const QCborValue &reading) {
        return ValueWords::metres(reading.toMap().value(QLatin1String("value")));
    });
}

StatusTable::Row StatusTable::clock() const
{
    return row("Clock", "timeIsSet", [](const QCborValue &set) {
        return set.toBool() ? QStringLiteral("set from the autopilot") : QStringLiteral("not set");
    });
}
