// SPDX-License-Identifier: MIT
#include "sim/tlogrecording.h"

#include <QtEndian>

#include <limits>

namespace {

const int timeSize = 8;
const int shortestHeader = 3; // magic, length, and for version 2 the flags that tell of a signature
const quint64 linkNumberMask = 3;

// Size of a whole frame by its first bytes; 0 when it is none.
int frameSize(const uchar *header)
{
    const int payload = header[1];
    if (header[0] == 0xFE)
        return 8 + payload;
    if (header[0] == 0xFD)
        return 12 + payload + ((header[2] & 1) ? 13 : 0);
    return 0;
}

} // namespace

bool TlogRecording::load(QString *error)
{
    qint64 start = 0;
    while (const std::optional<Piece> record = readRecord(start)) {
        if (pieces.size() == std::numeric_limits<int>::max()) {
            *error = QStringLiteral("more frames than can be replayed");
            return false;
        }
        pieces.append(*record);
        start = record->offset + record->size;
    }
    if (!pieces.isEmpty())
        return true;
    *error = QStringLiteral("no MAVLink recording: ") + damageText;
    return false;
}

std::optional<Recording::Piece> TlogRecording::readRecord(qint64 start)
{
    uchar header[timeSize + shortestHeader] = {};
    if (!file.seek(start))
        return std::nullopt;
    const qint64 got = file.read(reinterpret_cast<char *>(header), sizeof header);
    if (got == 0)
        return std::nullopt;
    const int size = frameSize(header + timeSize);
    if (got > timeSize && size == 0) {
        damageText = QStringLiteral("no frame at byte %1").arg(start + timeSize);
        return std::nullopt;
    }
    const qint64 frame = start + timeSize;
    if (got < qint64(sizeof header) || frame + size > file.size()) {
        damageText = QStringLiteral("cut at byte %1, in the middle of the record that starts at byte %2")
                         .arg(file.size())
                         .arg(start);
        return std::nullopt;
    }
    return Piece{frame, size, nextDue(qFromBigEndian<quint64>(header) & ~linkNumberMask)};
}

std::chrono::microseconds TlogRecording::nextDue(quint64 timeUs)
{
    const quint64 longestGapUs = 24ULL * 3600 * 1000 * 1000;
    const quint64 gapUs = timeUs - lastTimeUs; // a step back is a very large gap
    lastTimeUs = timeUs;
    if (pieces.isEmpty())
        return std::chrono::microseconds(0);
    const std::chrono::microseconds due = pieces.last().due;
    return gapUs <= longestGapUs ? due + std::chrono::microseconds(gapUs) : due;
}
