// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

namespace AutopilotIds {

constexpr quint8 system = 1;
constexpr quint8 component = 1;

} // namespace AutopilotIds
