// SPDX-License-Identifier: MIT
#pragma once

#include "sim/recording.h"

#include <QVector>

#include <optional>

/// A .tlog file: per MAVLink frame 8 bytes big-endian microseconds, then the frame. One piece is one frame;
/// the times do not belong to the bytes replayed.
///
/// The two lowest bits of a time may be a link number and are not looked at. A time that steps back, or
/// forward by more than a day, is a change of the recorder's clock: the frame is due together with the one
/// before it, and the times go on from there.
class TlogRecording : public Recording
{
public:
    explicit TlogRecording(const QString &path)
        : Recording(path)
    {}

    qint64 pieceCount() const override { return pieces.size(); }
    Piece piece(qint64 index) const override { return pieces.at(static_cast<int>(index)); }
    QString damage() const override { return damageText; }

protected:
    bool load(QString *error) override;

private:
    /// The record at this byte of the file; nothing at the end, or at a record that is none (then damageText
    /// says so).
    std::optional<Piece> readRecord(qint64 start);
    std::chrono::microseconds nextDue(quint64 timeUs);

    QVector<Piece> pieces;
    QString damageText;
    quint64 lastTimeUs = 0;
};
