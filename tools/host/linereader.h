// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QObject>

class QSocketNotifier;

/// Reads lines from a file descriptor, one for each that is asked for, without blocking the event loop. What
/// has not been asked for stays with the writer, so nothing piles up here.
class LineReader : public QObject
{
    Q_OBJECT

public:
    /// @param fd any readable descriptor; it stays the caller's.
    explicit LineReader(int fd, QObject *parent = nullptr);

    /// Asks for the next line; it comes from the event loop, or ended() does.
    void request();

Q_SIGNALS:
    /// A line without its end. A last line without an end counts as one; an overlong one is cut.
    void lineRead(const QString &line);
    void ended();

private:
    void onReadable();
    void takeLine();

    int fd;
    QSocketNotifier *notifier;
    QByteArray buffer;
    bool atEnd = false;
};
