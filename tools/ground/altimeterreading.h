// SPDX-License-Identifier: MIT
#pragma once

#include "communication/monitormessage.h"
#include "communication/payloadmessage.h"

#include <optional>

/// The altimeter status in a payload of the vehicle: message 1, payload 4, a 16-bit integer 7 and then an
/// AltimeterStatus, little-endian, 7 bytes in all. Nothing for any other payload.
[[nodiscard]] std::optional<AltimeterStatus> readAltimeterStatus(const CompletePayload &payload);
