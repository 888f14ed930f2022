// SPDX-License-Identifier: MIT
#pragma once

#include "host/linkcounters.h"

#include <QCborMap>
#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

class IAutopilotPlugin;
class LatestValues;

/// Counts what the plugin's connection receives and stores the counters once a second: the value "link".
class LinkReport : public QObject
{
    Q_OBJECT

public:
    /// Name of the value in LatestValues.
    static constexpr const char *Name = "link";

    /// Counts nothing if the plugin has no IConnection among its children. @param values outlive this object.
    LinkReport(IAutopilotPlugin *plugin, LatestValues &values, QObject *parent = nullptr);

    /// The form of the report: a record of bytes, frames, bytesPerSecond, framesPerSecond (during the last
    /// whole second), badChecksums, unknownIds, strayBytes, framesOfOthers (senders that are not told apart),
    /// heartbeatAgeS (null: none heard); of the autopilot received, lost, lossPercent, late, duplicates and
    /// restarts; and senders, a list of the same by system and component.
    static QCborMap sample();
    /// From now on counted() comes once in so long a time.
    void startTelling(std::chrono::milliseconds period) { telling.start(period); }
    /// Stores what is counted by now; it is done by itself once a second.
    void update();
    /// Emits counted() out of its turn, if it has turns.
    void tell();

public Q_SLOTS:
    /// To be called whenever the connection was opened, before it delivers anything.
    void onOpened() { counters.beginAnew(); }

Q_SIGNALS:
    void counted(const QCborMap &report);

private:
    void onSecond();
    QCborMap report() const;

    LatestValues &values;
    LinkCounters counters;
    QElapsedTimer clock;
    QElapsedTimer sinceRates;
    QTimer seconds;
    QTimer telling;
    qint64 bytesBefore = 0;
    qint64 framesBefore = 0;
    double bytesPerSecond = 0;
    double framesPerSecond = 0;
};
