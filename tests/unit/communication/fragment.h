// SPDX-License-Identifier: MIT
#pragma once

#include "communication/onboardmessagedispatcher.h"

/// A fragment of payload `id` for the reassembly, of kind 1/4 if nothing else is said.
inline PayloadMessage fragmentOf(int id, int total, int offset, const QByteArray &data, int messageId = 1,
                                 int payloadId = 4)
{
    return {{static_cast<quint16>(total), static_cast<quint16>(id), static_cast<quint16>(offset),
             MessageId(messageId), PayloadId(payloadId)},
            data};
}
