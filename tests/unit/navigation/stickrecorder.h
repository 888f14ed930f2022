// SPDX-License-Identifier: MIT
#pragma once

#include "autopilot/support/frames.h"
#include "navigation/mavstickadapter.h"
#include "support/logcapture.h"

#include <QByteArrayList>
#include <QObject>

/// A stick on a fresh channel, with all that it emits and logs.
class StickRecorder : public QObject
{
    Q_OBJECT

public:
    StickRecorder();

    /// Hands a message to the stick as a parser would: what the sender trimmed is rubbish.
    void receive(const mavlink::Message &message, Sender sender = {});
    /// The same with the first heartbeat of an autopilot; forgets what comes of it.
    void detect(quint8 autopilot, Sender sender = {});
    /// What came since the last call.
    QByteArrayList takeSent();
    QStringList takeEmitted();

    LogCapture log;
    MavStickAdapter stick;
    QByteArrayList sent;       ///< Messages, in hex, as frames of system 2, component 5, numbered from 0.
    QList<QByteArray> written; ///< Frames of the stick's own framer.
    QStringList emitted;       ///< Names of signals, in order.
    QList<QList<double>> origins;
    QList<Navigate::VehicleLocalPosition> positions;
    QList<Navigate::VehicleStatus> statuses;
    QList<Navigate::Attitude> attitudes;
};

/// Compares the bits, apart from those of one NaN and another.
bool sameBits(float a, float b);

mavlink::common::msg::ATTITUDE attitudeOf(float roll, float pitch = 0, float yaw = 0, quint32 bootMs = 1000);
/// Degrees times 1e7, millimetres.
mavlink::standard::msg::GLOBAL_POSITION_INT positionOf(qint32 lat, qint32 lon, qint32 alt,
                                                       quint32 bootMs = 1000);
