// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>

/// The frames of the recorded flight, sorted by what the driver does with them. Each array holds whole frames
/// back to back, as they would come off the wire.
struct RecordedFrames
{
    QByteArray
        handled; ///< Messages that become telemetry: 2, 24, 30, 33, 132 and the autopilot's heartbeats.
    QByteArray ignored; ///< All others.
    int handledCount = 0;
    int ignoredCount = 0;
};

/// Reads the recording once; ends the program with a message if it cannot.
const RecordedFrames &recordedFrames();
