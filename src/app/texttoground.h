// SPDX-License-Identifier: MIT
#pragma once

#include <QFlags>
#include <QMetaType>
#include <QString>

/// A short text for the operator at the ground station, as App::textToGround() carries it.
struct TextToGround
{
    /// Kind of message; the numbers are what the ground end knows.
    enum MessageType { Information = 0, Error = 1 };
    Q_DECLARE_FLAGS(MessageTypes, MessageType)

    QString text;      ///< The message, with the sender's tag in front where it has one.
    MessageTypes type; ///< Information (0) or Error (1).
};

Q_DECLARE_OPERATORS_FOR_FLAGS(TextToGround::MessageTypes)
Q_DECLARE_METATYPE(TextToGround)
