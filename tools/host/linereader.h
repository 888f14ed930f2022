// SPDX-License-Identifier: MIT
#pragma once

#include "host/linesource.h"

#include <QByteArray>

class QSocketNotifier;

/// Reads lines from a file descriptor, one for each that is asked for, without blocking the event loop. What
/// has not been asked for stays with the writer, so nothing piles up here.
class LineReader : public LineSource
{
    Q_OBJECT

public:
    /// @param fd any readable descriptor; it stays the caller's.
    explicit LineReader(int fd, QObject *parent = nullptr);

    /// A last line without an end counts as one; an overlong one is cut.
    void request() override;

private:
    void onReadable();
    void takeLine();

    int fd;
    QSocketNotifier *notifier;
    QByteArray buffer;
    bool atEnd = false;
};
