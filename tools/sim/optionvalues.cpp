// SPDX-License-Identifier: MIT
#include "sim/optionvalues.h"

#include <QStringList>

std::optional<double> OptionValues::amount(const QString &text, double limit)
{
    bool isNumber = false;
    const double value = text.toDouble(&isNumber);
    return isNumber && value >= 0 && value <= limit ? std::optional<double>(value) : std::nullopt;
}

std::optional<QPair<double, double>> OptionValues::pair(const QString &text, double firstLimit,
                                                        double secondLimit)
{
    const QStringList parts = text.split(QLatin1Char('@'));
    const std::optional<double> first = amount(parts[0], firstLimit);
    const std::optional<double> second = amount(parts.value(1), secondLimit);
    if (parts.size() != 2 || !first || !second)
        return std::nullopt;
    return qMakePair(*first, *second);
}
