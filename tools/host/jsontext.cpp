// SPDX-License-Identifier: MIT
#include "host/jsontext.h"

#include "common/jsonline.h"

#include <QCborMap>
#include <QLocale>

#include <cmath>

namespace {

QByteArray numberText(double value)
{
    if (!std::isfinite(value))
        return QByteArrayLiteral("null");
    const QByteArray text = QByteArray::number(std::fabs(value), 'g', QLocale::FloatingPointShortest);
    return std::signbit(value) ? '-' + text : text;
}

QByteArray mapText(const QCborMap &map)
{
    QByteArray text = "{";
    for (auto it = map.constBegin(); it != map.constEnd(); ++it) {
        if (text.size() > 1)
            text += ',';
        text += toJsonText(it.key()) + ':' + toJsonText(it.value());
    }
    return text + '}';
}

} // namespace

QByteArray toJsonText(const QCborValue &value)
{
    if (value.isDouble())
        return numberText(value.toDouble());
    if (value.isMap())
        return mapText(value.toMap());
    return toJsonText(value.toJsonValue());
}
