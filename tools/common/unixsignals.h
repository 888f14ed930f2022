// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>

class QSocketNotifier;

/// Turns SIGINT, SIGTERM and SIGHUP (a terminal that is closed) into a Qt signal on the event loop, so that a
/// tool ends cleanly. A second one that finds the event loop held up still ends it at once, with 128 and the
/// signal's number. One per process.
class UnixSignals : public QObject
{
    Q_OBJECT

public:
    explicit UnixSignals(QObject *parent = nullptr);
    ~UnixSignals() override;

Q_SIGNALS:
    void endRequested();

private:
    void onReadable();

    int pipeEnds[2] = {-1, -1};
    QSocketNotifier *notifier = nullptr;
};
