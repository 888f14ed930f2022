// SPDX-License-Identifier: MIT
#include "sim/modetable.h"

#include <QStringList>

#include <algorithm>

bool ModeTable::contains(quint32 number) const
{
    return std::any_of(modes.begin(), modes.end(), [=](const Mode &mode) { return mode.number == number; });
}

QString ModeTable::nameOf(quint32 number) const
{
    const auto found =
        std::find_if(modes.begin(), modes.end(), [=](const Mode &mode) { return mode.number == number; });
    return found != modes.end() ? QString(found->name) : QString::number(number);
}

std::optional<quint32> ModeTable::find(const QString &text) const
{
    for (const Mode &mode : modes) {
        if (text.compare(mode.name, Qt::CaseInsensitive) == 0)
            return mode.number;
    }
    bool isNumber = false;
    const quint32 number = text.toUInt(&isNumber);
    return isNumber ? std::optional<quint32>(number) : std::nullopt;
}

QString ModeTable::names() const
{
    QStringList all;
    for (const Mode &mode : modes)
        all.append(mode.name);
    return all.join(QLatin1String(", "));
}
