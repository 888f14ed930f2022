// SPDX-License-Identifier: MIT
#pragma once

#include "mavlink/mavlink.h"

#include <QByteArray>
#include <QList>

/// A V2_EXTENSION with that frame of the on-board protocol, as the ground sends it.
mavlink::common::msg::V2_EXTENSION v2ExtensionOf(const QByteArray &onboardFrame);

/// The frames of the on-board protocol in V2_EXTENSION and DATA messages, out of MAVLink 2 frames as they
/// come off the wire; other messages are left out.
QList<QByteArray> onboardFramesIn(const QList<QByteArray> &frames);
