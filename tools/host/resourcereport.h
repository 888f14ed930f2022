// SPDX-License-Identifier: MIT
#pragma once

#include <QCborMap>
#include <QObject>
#include <QPointer>
#include <QTimer>
#include <QVector>

#include <chrono>

/// Counts now and then what must not grow over days: the objects below some roots, and the timers that are
/// registered for them. Those of Qt's own that belong to the event loop (a single shot) are among them.
class ResourceReport : public QObject
{
    Q_OBJECT

public:
    /// A root may go away. Roots below one another are counted once.
    explicit ResourceReport(const QVector<QObject *> &roots);

    void start(std::chrono::milliseconds period);

Q_SIGNALS:
    /// {"timers": 3, "objects": 25}
    void counted(const QCborMap &resources);

private:
    void count();

    QVector<QPointer<QObject>> roots;
    QTimer due;
};
