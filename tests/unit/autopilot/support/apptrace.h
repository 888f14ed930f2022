// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>

/// Writes what is published on the application object into the log, as "name value". With LogCapture the test
/// sees log lines, telemetry and texts to the ground in one order.
class AppTrace : public QObject
{
    Q_OBJECT

public:
    AppTrace();
};
