// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

#include <chrono>
#include <optional>

/// A duration in seconds as people type it ("2", "0.5"), from 0 to a million; nothing if it is not one.
std::optional<std::chrono::milliseconds> parseSeconds(const QString &text);
