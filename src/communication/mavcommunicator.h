// SPDX-License-Identifier: MIT
#pragma once

#include "communication/fragmentedcommunicator.h"
#include "mavlink/mavlink.h"

#include <atomic>

/// The ground link inside MAVLink: the flight controller relays our messages to the ground station and the
/// ground station's to us.
///
/// Frames go out in V2_EXTENSION, or in the smallest of DATA16, DATA32, DATA64 and DATA96 that holds them,
/// as MAV/V2_EXTENSION says; it may change at any time and counts from the next frame on. A DATA message
/// carries 96 bytes at most, while a full fragment makes a frame of 100: in that mode payloads of more than
/// 84 bytes do not arrive whole. That is so by design; larger frames are dropped silently.
///
/// Frames come in by V2_EXTENSION alone, from any system; the last one that sent one is whom we answer.
///
/// Owned by the driver. Threads as in FragmentedCommunicator.
class NOFLAILSTEN_EXPORT MavCommunicator : public FragmentedCommunicator
{
    Q_OBJECT

public:
    explicit MavCommunicator(int sendingPeriodMs, QObject *parent = nullptr);
    ~MavCommunicator() override;

    using FragmentedCommunicator::sendFragment;
    /// @param frame at most 248 bytes in V2_EXTENSION, 96 in DATA mode; a longer one is dropped.
    void sendFragment(QByteArray frame) override;

    QString id() const override;
    QString prefix() const override;

Q_SIGNALS:
    /// A message for the flight controller, emitted on the thread that sends. Across threads it travels as a
    /// mavlink::MessageCopy.
    void sendMavlinkMessage(const mavlink::Message &message);

public Q_SLOTS:
    /// Takes every message from the flight controller.
    void onMessageReceived(const mavlink::mavlink_message_t &message);

private:
    void sendInV2Extension(const QByteArray &frame);
    void sendInData(const QByteArray &frame);

    // Read on the threads that send, written on the main thread.
    std::atomic_bool useV2Extension{false};
    std::atomic<quint8> groundSystemId{0}; // 0, all systems, until somebody is heard
};
