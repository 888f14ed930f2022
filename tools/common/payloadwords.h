// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

/// What people read of payloads and readings, alike in all programs.
namespace PayloadWords {

/// The bytes as a text, if they are one: UTF-8 without control characters; nothing otherwise.
[[nodiscard]] std::optional<QString> text(const QByteArray &bytes);

/// The status of a range reading: 0 in range, 1 above, 2 below, 4 before the first reading.
[[nodiscard]] QString rangeStatus(qint64 status);

} // namespace PayloadWords
