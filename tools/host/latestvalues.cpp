// SPDX-License-Identifier: MIT
#include "host/latestvalues.h"

void LatestValues::store(const QString &name, const QCborValue &value)
{
    Entry &entry = entries[name];
    entry.value = value;
    entry.seen.start();
    Q_EMIT stored(name);
}

QCborValue LatestValues::value(const QString &name) const
{
    const auto found = entries.constFind(name);
    return found == entries.constEnd() ? QCborValue(QCborValue::Undefined) : found->value;
}

qint64 LatestValues::ageMs(const QString &name) const
{
    const auto found = entries.constFind(name);
    return found == entries.constEnd() ? -1 : found->seen.elapsed();
}

QCborMap LatestValues::all() const
{
    QCborMap object;
    for (auto it = entries.constBegin(); it != entries.constEnd(); ++it)
        object.insert(it.key(), it->value);
    return object;
}
