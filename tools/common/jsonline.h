// SPDX-License-Identifier: MIT
#pragma once

#include <QJsonObject>

/// Writes one JSON object as one line to stdout, with the current UTC time as its first member:
///
///     {"time":"2026-01-31T12:00:00.123Z","signal":"roll","value":0.01}
///
/// The line is flushed at once, so that a reader at the other end of a pipe sees it as it happens. Members
/// keep the order in which they are given.
void writeJsonLine(std::initializer_list<QPair<const char *, QJsonValue>> members);

/// One value as compact JSON text. NaN and infinity are null; floating-point numbers read back exactly.
QByteArray toJsonText(const QJsonValue &value);
