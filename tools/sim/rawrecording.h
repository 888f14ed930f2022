// SPDX-License-Identifier: MIT
#pragma once

#include "sim/recording.h"

/// The bytes of a serial line, stray ones included, replayed at the speed of the line: a byte takes ten bits.
/// A piece is what comes in about 10 ms and is due when its last byte would have come.
class RawRecording : public Recording
{
public:
    RawRecording(const QString &path, qint32 bitsPerSecond);

    qint64 pieceCount() const override { return (fileSize + pieceSize - 1) / pieceSize; }
    Piece piece(qint64 index) const override;

protected:
    /// A file without one frame that has a good checksum is refused.
    bool load(QString *error) override;

private:
    bool holdsFrame();

    const qint32 baud;
    const int pieceSize;
    qint64 fileSize = 0;
};
