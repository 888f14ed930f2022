// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QObject>

class QSocketNotifier;

/// Hands on the lines that come on a file descriptor, as long as any come. It cannot be read, or has ended:
/// then nothing comes, and nobody is told.
///
/// A line longer than longestLine is cut there, and its rest is a line of its own.
class OperatorLines : public QObject
{
    Q_OBJECT

public:
    static constexpr int longestLine = 1024;

    /// The descriptor stays the caller's.
    explicit OperatorLines(int descriptor);

Q_SIGNALS:
    /// Without its end. From the event loop.
    void lineRead(const QString &line);

private:
    void onReadable();

    int fd;
    QSocketNotifier *notifier;
    QByteArray begun;
};
