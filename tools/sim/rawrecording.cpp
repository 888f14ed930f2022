// SPDX-License-Identifier: MIT
#include "sim/rawrecording.h"

#include "mavlink/mavlink.h"

#include <algorithm>

namespace {

const int longestFrame = MAVLINK_MAX_PACKET_LEN;

// Whether a frame with a good checksum starts here. A parser is given each start anew, since what looks like
// a start among stray bytes would otherwise swallow the frame behind it.
bool frameStartsAt(const char *bytes, int size)
{
    mavlink::mavlink_message_t buffer = {};
    mavlink::mavlink_status_t state = {};
    mavlink::mavlink_message_t message = {};
    mavlink::mavlink_status_t status = {};
    for (int i = 0; i < std::min(size, longestFrame); ++i) {
        const auto byte = static_cast<uint8_t>(bytes[i]);
        const int result = mavlink::mavlink_frame_char_buffer(&buffer, &state, byte, &message, &status);
        if (result == mavlink::MAVLINK_FRAMING_OK)
            return true;
        if (result != mavlink::MAVLINK_FRAMING_INCOMPLETE ||
            state.parse_state == mavlink::MAVLINK_PARSE_STATE_IDLE)
            return false;
    }
    return false;
}

bool isMagic(char byte)
{
    return byte == static_cast<char>(0xFE) || byte == static_cast<char>(0xFD);
}

bool frameStartsIn(const QByteArray &bytes)
{
    for (int i = 0; i < bytes.size(); ++i) {
        if (isMagic(bytes[i]) && frameStartsAt(bytes.constData() + i, bytes.size() - i))
            return true;
    }
    return false;
}

} // namespace

RawRecording::RawRecording(const QString &path, qint32 bitsPerSecond)
    : Recording(path)
    , baud(bitsPerSecond)
    , pieceSize(std::clamp(bitsPerSecond / 1000, 1, 65536))
{}

Recording::Piece RawRecording::piece(qint64 index) const
{
    const qint64 offset = index * pieceSize;
    const qint64 end = std::min(offset + pieceSize, fileSize);
    const qint64 bitMicroseconds = 10'000'000;
    const std::chrono::microseconds due(end / baud * bitMicroseconds + end % baud * bitMicroseconds / baud);
    return {offset, static_cast<int>(end - offset), due};
}

bool RawRecording::load(QString *error)
{
    fileSize = file.size();
    if (holdsFrame())
        return true;
    *error = QStringLiteral("no MAVLink recording: not one frame with a good checksum");
    return false;
}

bool RawRecording::holdsFrame()
{
    const qint64 blockSize = 65536;
    QByteArray window;
    while (!file.atEnd()) {
        // A frame may reach from one block into the next.
        window = window.right(longestFrame - 1) + file.read(blockSize);
        if (frameStartsIn(window))
            return true;
    }
    return false;
}
