// SPDX-License-Identifier: MIT
#pragma once

#include <QCborMap>
#include <QObject>
#include <QPointer>
#include <QTimer>
#include <QVector>

#include <chrono>

/// Counts now and then what must not grow over days: the objects below some roots, and the timers that are
/// registered for them; those of Qt's own that belong to the event loop (a single shot) are among them. And
/// the memory in use, in KiB: unlike the resident memory, it does not tell of what the allocator keeps for
/// later.
class ResourceReport : public QObject
{
    Q_OBJECT

public:
    /// A root may go away. Roots below one another are counted once.
    explicit ResourceReport(const QVector<QObject *> &roots);

    void start(std::chrono::milliseconds period);

Q_SIGNALS:
    /// {"timers": 3, "objects": 25, "heap_kb": 420}
    void counted(const QCborMap &resources);

private:
    void count();

    QVector<QPointer<QObject>> roots;
    QTimer due;
};
