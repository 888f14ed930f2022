// SPDX-License-Identifier: MIT
#pragma once

#include <QCborMap>
#include <QElapsedTimer>
#include <QMap>
#include <QObject>

/// The last value of each signal seen, and how old it is.
class LatestValues : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    void store(const QString &name, const QCborValue &value);
    bool contains(const QString &name) const { return entries.contains(name); }
    /// Undefined if the signal has not been seen.
    QCborValue value(const QString &name) const;
    /// Milliseconds since the last emission; -1 if there was none.
    qint64 ageMs(const QString &name) const;
    /// All values by name.
    QCborMap all() const;

Q_SIGNALS:
    /// From inside store().
    void stored(const QString &name);

private:
    struct Entry
    {
        QCborValue value;
        QElapsedTimer seen;
    };

    QMap<QString, Entry> entries;
};
