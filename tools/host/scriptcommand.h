// SPDX-License-Identifier: MIT
#pragma once

#include "communication/payloadmessage.h"
#include "host/condition.h"
#include "navigation/positions.h"

#include <QByteArray>

#include <chrono>

/// One command of a script or of the prompt.
struct ScriptCommand
{
    enum class Kind {
        Control,
        Arm,
        TakeOff,
        Velocity,
        Subscribe,
        Send,
        Text,
        Set,
        Wait,
        WaitFor,
        Status,
        Quit
    };

    Kind kind = Kind::Status;
    int line = 0;          ///< Where it stands in its script, from 1.
    QString source;        ///< As it was written.
    QString text;          ///< Of text: the words; of set: the value; of wait-for: the condition as written.
    MessageId messageId{}; ///< Of send, as are the next two.
    PayloadId payloadId{};
    QByteArray data;
    QByteArray group;                  ///< Of set.
    QByteArray name;                   ///< Of set.
    Utils::Vector3d velocity;          ///< Of velocity: metres per second north, east and down.
    float yawRate = 0;                 ///< Of velocity: degrees per second, clockwise positive.
    std::chrono::milliseconds time{0}; ///< Of wait; of wait-for and arm: the time-out; of velocity: how long.
    Condition condition;               ///< Of wait-for.
};
