// SPDX-License-Identifier: MIT
#pragma once

#include <QPair>
#include <QString>

#include <optional>

/// Numbers as users write them after an option.
namespace OptionValues {

/// A number from 0 to the limit; nothing for another text.
std::optional<double> amount(const QString &text, double limit);
/// Two such numbers with an @ between.
std::optional<QPair<double, double>> pair(const QString &text, double firstLimit, double secondLimit);

} // namespace OptionValues
