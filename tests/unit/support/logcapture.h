// SPDX-License-Identifier: MIT
#pragma once

#include <QMutex>
#include <QStringList>
#include <QtGlobal>

/// Collects the log lines written while it lives. Lines that the test has not taken when it ends fail the
/// test, so that nothing is logged unnoticed.
///
///     LogCapture log;
///     connection.open(...);
///     QCOMPARE(log.take(), QStringList{"[TCP] CRIT: ..."});
///
/// One at a time; lines may come from any thread.
class LogCapture
{
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture &) = delete;
    LogCapture &operator=(const LogCapture &) = delete;

    /// The lines since the last call, oldest first, and forgets them. Trailing blanks are kept as written.
    QStringList take();
    /// The kinds that go with the lines that take() last returned.
    QList<QtMsgType> takenTypes() const { return lastTypes; }
    /// Takes the lines and keeps those that contain the text.
    QStringList takeMatching(const QString &text);
    /// Debug lines are dropped instead of collected.
    void ignoreDebug() { debugIgnored = true; }

private:
    static void handle(QtMsgType type, const QMessageLogContext &context, const QString &line);

    QMutex mutex; // guards lines and types
    QStringList lines;
    QList<QtMsgType> types;
    QList<QtMsgType> lastTypes;
    bool debugIgnored = false;
    QtMessageHandler previous;
};
