// SPDX-License-Identifier: MIT
#include "common/payloadwords.h"

#include <algorithm>

std::optional<QString> PayloadWords::text(const QByteArray &bytes)
{
    const QString decoded = QString::fromUtf8(bytes.constData(), bytes.size()); // past a NUL too
    const auto isPlain = [](QChar c) {
        return (c.isPrint() || c.isSurrogate()) && c != QChar::ReplacementCharacter;
    };
    if (decoded.isEmpty() || !std::all_of(decoded.begin(), decoded.end(), isPlain))
        return std::nullopt;
    return decoded;
}

QString PayloadWords::rangeStatus(qint64 status)
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
