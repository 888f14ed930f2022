// SPDX-License-Identifier: MIT
#pragma once

#include "host/knownsignals.h"

#include <QStringList>

/// What a word at the prompt can become.
class Completion
{
public:
    /// @param knownSignals what wait-for can wait for.
    explicit Completion(KnownSignals knownSignals);

    /// The words that can stand at the end of this line in place of its last one, which may be empty.
    QStringList candidates(const QString &line) const;

private:
    QStringList words(const QStringList &before, const QString &begun) const;
    QStringList signalsAndFields(const QString &begun) const;

    KnownSignals knownSignals;
    QStringList settings; // "GROUP NAME"
};
