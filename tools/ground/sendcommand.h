// SPDX-License-Identifier: MIT
#pragma once

#include "ground/fragmentsender.h"
#include "ground/groundcommand.h"

#include <QTimer>

/// Sends one payload to the host, with a payload id picked at random. Unless told otherwise it first pings
/// once a second, until the host answers; without an answer nothing is sent.
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
    void onNoAnswer();
    void send();
    void onSent();

    const CompletePayload payload;
    PingTracker pings;
    FragmentSender fragments;
    QTimer pinging;
    QTimer timeout;
    bool sending = false;
};
