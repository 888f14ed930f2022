// SPDX-License-Identifier: MIT
#pragma once

#include "host/knownsignals.h"

#include <QCborValue>
#include <QString>
#include <QStringList>

#include <optional>

/// What a wait-for waits for: SIGNAL[.FIELD][(=|<|>)VALUE].
struct Condition
{
    enum class Comparison { Seen, Equal, Less, Greater };

    QString signal;
    QStringList fields; ///< Path into the signal's value, outermost first.
    Comparison comparison = Comparison::Seen;
    QString value;

    /// Whether the signal's value, undefined if it has not been seen, fulfils the condition. Numbers and
    /// booleans are compared as such; values that cannot be compared do not fulfil it.
    bool isMetBy(const QCborValue &signalValue) const;

    /// Reads a condition; of the known names the longest that fits is the signal. What a value of that
    /// signal's form can never fulfil is a mistake.
    /// @return nothing, with one line that says why in `error`, if the text is no condition.
    static std::optional<Condition> parse(const QString &text, const KnownSignals &knownSignals,
                                          QString &error);
};
