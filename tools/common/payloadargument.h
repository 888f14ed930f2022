// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

/// The bytes of a payload, as a user gives them:
///
///     hex:01ff     pairs of hexadecimal digits
///     text:hello   UTF-8
///     @FILE        the contents of a regular file
///
/// 1 to 65535 bytes: the protocol has no empty payload and no longer one.
namespace PayloadArgument {

struct Error
{
    QString text;        ///< In words fit for the user.
    bool isFile = false; ///< The file cannot be read, or does not make a payload.
};

[[nodiscard]] std::optional<QByteArray> parse(const QString &text, Error *error);

/// An identifier of a message or a payload: 0 to 255.
[[nodiscard]] std::optional<quint8> parseId(const QString &text);

} // namespace PayloadArgument
