// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QFile>
#include <QString>

#include <chrono>
#include <memory>

/// A recording of what an autopilot sent: a file cut into pieces, each with the time at which it is due.
///
/// The pieces together, in their order, are the bytes to replay. Only the index is kept in memory.
class Recording
{
public:
    struct Piece
    {
        qint64 offset; ///< Of its first byte in the file.
        int size;      ///< Bytes, above 0.
        std::chrono::microseconds
            due; ///< Since the start of the replay. Never less than that of the piece before.
    };

    /// Whether the pieces of such a file are frames.
    static bool hasFrames(const QString &path);

    virtual ~Recording() = default;
    Recording(const Recording &) = delete;
    Recording &operator=(const Recording &) = delete;

    /// Opens and checks a recording: a .tlog by its times, any other file as raw bytes of a serial line with
    /// the given bits a second. Null when the file cannot be read or holds no MAVLink; then error says why.
    [[nodiscard]] static std::unique_ptr<Recording> open(const QString &path, qint32 baud, QString *error);

    /// At least 1.
    virtual qint64 pieceCount() const = 0;
    virtual Piece piece(qint64 index) const = 0;
    /// What is wrong with the part of the file that has no pieces; empty when all of it can be replayed.
    virtual QString damage() const { return {}; }

    /// The bytes of a piece; fewer of them when the file can no longer be read.
    QByteArray read(const Piece &piece);

protected:
    explicit Recording(const QString &path)
        : file(path)
    {}
    /// Reads the file from its start. False when there is nothing to replay in it; then error says why.
    virtual bool load(QString *error) = 0;

    QFile file;

private:
    bool openFile(QString *error);
};
