// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QList>
#include <QMutex>
#include <QVector>

/// A terminal split in three: a table at the top that is drawn in place, lines that scroll below it, and a
/// last row for what is typed. The terminal's own line editing stays on.
///
/// Any thread may call scroll(); the rest is the main thread's. The terminal is put right again on
/// destruction.
class Screen
{
public:
    /// @param fd a terminal @param tableRows rows of the table
    Screen(int fd, int tableRows);
    ~Screen();
    Screen(const Screen &) = delete;
    Screen &operator=(const Screen &) = delete;

    /// Whether the descriptor is a terminal with room for the table and some lines below it.
    static bool fits(int fd, int tableRows);

    int columns() const { return width; }
    /// Draws the table; follows a change of the terminal's size.
    void drawTable(const QVector<QByteArray> &rows);
    /// Adds lines to the scrolling part; control characters are not passed on.
    void scroll(const QByteArray &text);
    /// Clears the last row and leaves the cursor there, for a prompt.
    void prompt();

private:
    bool readSize();
    int shownRows() const;
    void split();
    void redraw();
    void put(const QByteArray &bytes);

    int fd;
    int tableRows;
    QMutex mutex; // guards what follows, and the order of what is written
    int width = 0;
    int height = 0;
    bool prompted = false;
    QList<QByteArray> recent; // lines to show again when the size changes
};
