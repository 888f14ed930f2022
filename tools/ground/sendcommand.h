// SPDX-License-Identifier: MIT
#pragma once

#include "ground/fragmentsender.h"
#include "ground/groundcommand.h"

#include <QTimer>

/// Sends one payload to the host, with a payload id picked at random. Unless told otherwise it first pings
/// once a second, until the host answers; without an answer nothing is sent. A link that takes no more
/// fragments is a failure.
class SendCommand : public GroundCommand
{
    Q_OBJECT

public:
    /// @param data 1 to 65535 bytes.
    SendCommand(const Tools &tools, const QByteArray &data);

    void begin() override;
    void reportEnd() override;

private:
    void onAnswered();
    void onTimeout();
    void onFrameLeft();
    void fail(const QString &reason);
    void send();
    void onSent();

    const CompletePayload payload;
    PingTracker pings;
    FragmentSender fragments;
    QTimer pinging;
    QTimer timeout; // for the host's answer, then for the link to take the next fragment
    bool sending = false;
};
