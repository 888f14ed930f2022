// SPDX-License-Identifier: MIT
#pragma once

#include "ground/groundcommand.h"

#include <QElapsedTimer>
#include <QTimer>

/// Reports the vehicle's payloads, until so many have come or so much time has passed, if either is given. Of
/// both, only the number is success.
class WatchCommand : public GroundCommand
{
    Q_OBJECT

public:
    explicit WatchCommand(const Tools &tools);

    void begin() override;
    void reportEnd() override;

private:
    void onPayload(const CompletePayload &payload);
    void onGivenUp(const OpenPayloads::Part &part);
    void onTimeOver();

    GroundReport::Watched watched;
    QElapsedTimer elapsed;
    QTimer duration;
};
