// SPDX-License-Identifier: MIT
#pragma once

#include <QCborValue>
#include <QMap>
#include <QString>

/// What a wait-for can wait for: names, each with a value such as it will have, which tells its fields.
/// Undefined: nothing is known of the value.
using KnownSignals = QMap<QString, QCborValue>;

/// The signals of the application, the plugin, its communicator and its stick, and what the host itself takes
/// from the autopilot's messages and counts on the link.
KnownSignals allKnownSignals();
