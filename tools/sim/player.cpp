// SPDX-License-Identifier: MIT
#include "sim/player.h"

#include "link/link.h"

#include <algorithm>

Player::Player(const Setup &setup)
    : recording(setup.recording)
    , clock(setup.clock)
    , loop(setup.loop)
{
    timer.setSingleShot(true);
    timer.setTimerType(Qt::PreciseTimer);
    connect(&timer, &QTimer::timeout, this, &Player::step);
}

void Player::addLink(Link *link)
{
    links.append(link);
    connect(link, &Link::drained, this, &Player::onDrained);
}

void Player::start()
{
    if (state != State::Waiting)
        return;
    state = State::Playing;
    clock.restart();
    timer.start(0);
}

void Player::step()
{
    // Few enough that the event loop gets to the links between two steps.
    const qint64 bytesPerStep = 64LL * 1024;
    const qint64 stepEnd = playedBytes + bytesPerStep;
    while (state == State::Playing && playedBytes < stepEnd) {
        if (queuesFull()) {
            pause();
            return;
        }
        const Recording::Piece piece = recording->piece(nextPiece);
        if (!clock.hasReached(piece.due)) {
            timer.start(clock.timeUntil(piece.due));
            return;
        }
        if (!playPiece(piece))
            return;
    }
    if (state == State::Playing)
        timer.start(0);
}

bool Player::queuesFull() const
{
    return std::any_of(links.begin(), links.end(),
                       [](const Link *link) { return link->queuedBytes() > queueLimit; });
}

void Player::pause()
{
    clock.pause();
    ++pauses;
}

void Player::onDrained()
{
    if (state != State::Playing || !clock.isPaused() || queuesFull())
        return;
    clock.resume();
    timer.start(0);
}

bool Player::playPiece(const Recording::Piece &piece)
{
    const QByteArray bytes = recording->read(piece);
    if (bytes.size() != piece.size) {
        state = State::Over;
        Q_EMIT failed(QStringLiteral("cannot be read at byte %1").arg(piece.offset));
        return false;
    }
    for (Link *link : qAsConst(links))
        link->write(bytes);
    playedBytes += piece.size;
    if (++nextPiece == recording->pieceCount())
        endPass();
    return true;
}

void Player::endPass()
{
    if (loop) {
        nextPiece = 0;
        clock.restart();
        return;
    }
    state = State::Over;
    Q_EMIT over();
}
