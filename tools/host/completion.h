// SPDX-License-Identifier: MIT
#pragma once

#include <QStringList>

/// What a word at the prompt can become.
class Completion
{
public:
    /// @param signalNames what wait-for can wait for.
    explicit Completion(QStringList signalNames);

    /// The words that can stand at the end of this line in place of its last one, which may be empty.
    QStringList candidates(const QString &line) const;

private:
    QStringList words(const QStringList &before) const;

    QStringList signalNames;
    QStringList settings; // "GROUP NAME"
};
