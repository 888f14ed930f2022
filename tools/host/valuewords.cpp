// SPDX-License-Identifier: MIT
#include "host/valuewords.h"

#include "common/payloadwords.h"

#include <QCborMap>
#include <QStringList>

#include <cmath>

namespace {

constexpr double LeastLossPercent = 0.05; // less is told in frames
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

/// At most so many bytes as fit a line.
QString bytes(const QByteArray &data)
{
    constexpr int Shown = 32;
    const auto text = PayloadWords::text(data);
    const int size = text ? text->size() : data.size();
    const QString shown = text ? QLatin1Char('"') + text->left(Shown) + QLatin1Char('"')
                               : QString::fromLatin1(data.left(Shown).toHex());
    return size > Shown ? shown + QLatin1String("...") : shown;
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

QString ValueWords::flightMode(const QCborValue &record)
{
    const QCborMap object = record.toMap();
    const bool armed = object.value(QLatin1String("armed")).toBool();
    return QStringLiteral("%1, %2").arg(armed ? QStringLiteral("armed") : QStringLiteral("disarmed"),
                                        object.value(QLatin1String("mode")).toString());
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

QString ValueWords::distanceAndHeight(const QCborValue &northEastDown)
{
    const QCborMap object = northEastDown.toMap();
    const auto number = [&object](const char *name) { return object.value(QLatin1String(name)).toDouble(); };
    return QStringLiteral("%1 away, %2 above it")
        .arg(metres(std::hypot(number("x"), number("y"))), metres(-number("z")));
}

QString ValueWords::altitude(const QCborValue &reading)
{
    const QCborMap object = reading.toMap();
    return QStringLiteral("%1, %2").arg(
        metres(object.value(QLatin1String("value"))),
        PayloadWords::rangeStatus(object.value(QLatin1String("status")).toInteger()));
}

QString ValueWords::onOff(const QCborValue &value)
{
    if (!value.isBool())
        return QStringLiteral("-");
    return value.toBool() ? QStringLiteral("on") : QStringLiteral("off");
}

QString ValueWords::payload(const QCborValue &record)
{
    const QCborMap object = record.toMap();
    const auto number = [&object](const char *name) { return object.value(QLatin1String(name)).toInteger(); };
    const QCborValue hex = object.value(QLatin1String("data"));
    const QByteArray data = QByteArray::fromHex(hex.toString().toLatin1());
    const qint64 size = hex.isString() ? data.size() : number("size");
    QString text = QStringLiteral("message %1, payload %2, id %3, %4 bytes")
                       .arg(number("messageId"))
                       .arg(number("payloadId"))
                       .arg(number("id"))
                       .arg(size);
    if (hex.isString())
        text += QLatin1String(": ") + bytes(data);
    return text;
}

QString ValueWords::linkTrouble(const QCborValue &report)
{
    const QCborMap counters = report.toMap();
    const auto count = [&counters](const char *name) {
        return counters.value(QLatin1String(name)).toInteger();
    };
    const auto counted = [](qint64 number, const char *thing) {
        return QStringLiteral("%1 %2%3").arg(QString::number(number), QLatin1String(thing),
                                             QLatin1String(number == 1 ? "" : "s"));
    };
    const double percent = counters.value(QLatin1String("lossPercent")).toDouble();
    QStringList parts;
    if (percent >= LeastLossPercent)
        parts.append(QStringLiteral("loss %1 %").arg(percent, 0, 'f', 1));
    else if (count("lost") > 0)
        parts.append(counted(count("lost"), "lost frame"));
    if (count("badChecksums") > 0)
        parts.append(counted(count("badChecksums"), "bad checksum"));
    if (count("strayBytes") > 0)
        parts.append(counted(count("strayBytes"), "stray byte"));
    return parts.join(QStringLiteral(" \u00b7 "));
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
