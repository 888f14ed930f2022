// SPDX-License-Identifier: MIT
#pragma once

#include "sim/recording.h"
#include "sim/replayclock.h"

#include <QObject>
#include <QTimer>
#include <QVector>

class Link;

/// Writes the pieces of a recording to its links when they are due.
///
/// Overflow rule: while any link has more than queueLimit bytes queued the replay, and its clock, stands
/// still: it waits for the slowest reader, without a time limit, and then goes on at its speed. No byte is
/// dropped.
class Player : public QObject
{
    Q_OBJECT

public:
    static constexpr qint64 queueLimit = 256LL * 1024;

    struct Setup
    {
        Recording *recording = nullptr; ///< Not owned; outlives the player.
        ReplayClock clock;
        bool loop = false; ///< Begins again at the end, instead of ending.
    };

    explicit Player(const Setup &setup);

    /// The link is not owned and outlives the player.
    void addLink(Link *link);

    /// Starts the replay from the event loop; calling it again changes nothing.
    void start();
    /// Writes what is due now, or a part of it, and sees to it that it is called again.
    void step();

    qint64 bytesPlayed() const { return playedBytes; }
    /// How often the replay has stood still for a reader.
    qint64 pauseCount() const { return pauses; }

Q_SIGNALS:
    /// Once: the last piece is written.
    void over();
    /// Once, instead of over(): the recording could not be read on. The replay has stopped.
    void failed(const QString &reason);

private:
    enum class State { Waiting, Playing, Over };

    bool queuesFull() const;
    void pause();
    void onDrained();
    bool playPiece(const Recording::Piece &piece);
    void endPass();

    Recording *const recording;
    ReplayClock clock;
    const bool loop;
    QVector<Link *> links;
    QTimer timer;
    State state = State::Waiting;
    qint64 nextPiece = 0;
    qint64 playedBytes = 0;
    qint64 pauses = 0;
};
