// SPDX-License-Identifier: MIT
#include "host/valuewords.h"

#include <QCborMap>

#include <cmath>

namespace {

constexpr double DegreesPerRadian = 57.29577951308232;

bool isNumber(const QCborValue &value)
{
    return value.isInteger() || value.isDouble();
}

QString fixed(const QCborValue &value, int decimals, const QString &unit)
{
    if (!isNumber(value))
        return QStringLiteral("-");
    const QString text = QString::number(value.toDouble(), 'f', decimals);
    return text + unit;
}

QString hemisphere(const QCborValue &degrees, QChar positive, QChar negative)
{
    if (!isNumber(degrees))
        return QStringLiteral("-");
    const double value = degrees.toDouble();
    return QStringLiteral("%1\u00b0 %2")
        .arg(std::fabs(value), 0, 'f', 7)
        .arg(value < 0 ? negative : positive);
}

} // namespace

QString ValueWords::autopilotStatus(const QCborValue &status)
{
    if (!isNumber(status))
        return QStringLiteral("-");
    switch (status.toInteger()) {
    case 0:
        return QStringLiteral("no link");
    case 1:
        return QStringLiteral("link open, no autopilot heard");
    case 2:
        return QStringLiteral("heard");
    default:
        return QStringLiteral("status %1").arg(status.toInteger());
    }
}

QString ValueWords::angle(const QCborValue &radians)
{
    return fixed(isNumber(radians) ? QCborValue(radians.toDouble() * DegreesPerRadian) : radians, 1,
                 QStringLiteral("\u00b0"));
}

QString ValueWords::metres(const QCborValue &value)
{
    return fixed(value, 2, QStringLiteral(" m"));
}

QString ValueWords::speed(const QCborValue &metresPerSecond)
{
    return fixed(metresPerSecond, 2, QStringLiteral(" m/s"));
}

QString ValueWords::position(const QCborValue &coordinates)
{
    const QCborMap object = coordinates.toMap();
    return QStringLiteral("%1, %2").arg(
        hemisphere(object.value(QLatin1String("latitude")), QLatin1Char('N'), QLatin1Char('S')),
        hemisphere(object.value(QLatin1String("longitude")), QLatin1Char('E'), QLatin1Char('W')));
}

QString ValueWords::localPosition(const QCborValue &northEastDown)
{
    const QCborMap object = northEastDown.toMap();
    return QStringLiteral("%1 north, %2 east, %3 down")
        .arg(metres(object.value(QLatin1String("x"))), metres(object.value(QLatin1String("y"))),
             metres(object.value(QLatin1String("z"))));
}

QString ValueWords::altitude(const QCborValue &reading)
{
    const QCborMap object = reading.toMap();
    return QStringLiteral("%1, %2").arg(metres(object.value(QLatin1String("value"))),
                                        rangeStatus(object.value(QLatin1String("status")).toInteger()));
}

QString ValueWords::rangeStatus(qint64 status)
{
    switch (status) {
    case 0:
        return QStringLiteral("in range");
    case 1:
        return QStringLiteral("above the maximum");
    case 2:
        return QStringLiteral("below the minimum");
    case 4:
        return QStringLiteral("no reading yet");
    default:
        return QStringLiteral("status %1").arg(status);
    }
}

QString ValueWords::onOff(const QCborValue &value)
{
    if (!value.isBool())
        return QStringLiteral("-");
    return value.toBool() ? QStringLiteral("on") : QStringLiteral("off");
}

QString ValueWords::age(qint64 ms)
{
    if (ms < 0)
        return QString();
    if (ms < 10000)
        return QStringLiteral("%1 s").arg(static_cast<double>(ms) / 1000, 0, 'f', 1);
    if (ms < 600000)
        return QStringLiteral("%1 s").arg(ms / 1000);
    return QStringLiteral("%1 min").arg(ms / 60000);
}
