// SPDX-License-Identifier: MIT
#pragma once

#include "host/quietview.h"
#include "host/statustable.h"

#include <QTimer>

/// Lines for a log file: the state at most once a second, if it has changed, and each event and text to the
/// ground.
class PlainView : public QuietView
{
public:
    explicit PlainView(const LatestValues &values);

    void showSignal(const QString &name, const QCborValue &value) override;
    void showEvent(const HostEvent &event) override;

private:
    void printState();

    StatusTable table;
    QTimer timer;
    QString lastState;
};
