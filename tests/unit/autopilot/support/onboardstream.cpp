// SPDX-License-Identifier: MIT
#include "autopilot/support/onboardstream.h"

#include <algorithm>

namespace {

constexpr int HeaderSize = 10;
constexpr int ChecksumSize = 2;
constexpr int LongestPayload = 255;

quint32 idOf(const QByteArray &frame)
{
    return static_cast<quint8>(frame[7]) | static_cast<quint8>(frame[8]) << 8U |
           static_cast<quint8>(frame[9]) << 16U;
}

} // namespace

mavlink::common::msg::V2_EXTENSION v2ExtensionOf(const QByteArray &onboardFrame)
{
    mavlink::common::msg::V2_EXTENSION message{};
    message.payload[0] = static_cast<quint8>(onboardFrame.size());
    std::copy(onboardFrame.begin(), onboardFrame.end(), message.payload.begin() + 1);
    return message;
}

QList<QByteArray> onboardFramesIn(const QList<QByteArray> &frames)
{
    QList<QByteArray> found;
    for (const QByteArray &frame : frames) {
        const quint32 id = idOf(frame);
        const bool isData = id >= 169 && id <= 172;
        if (id != 248 && !isData)
            continue;
        QByteArray payload = frame.mid(HeaderSize, frame.size() - HeaderSize - ChecksumSize);
        payload.append(QByteArray(LongestPayload - payload.size(), '\0')); // trimmed by the sender
        const int lengthAt = isData ? 1 : 5;
        found.append(payload.mid(lengthAt + 1, static_cast<quint8>(payload[lengthAt])));
    }
    return found;
}
