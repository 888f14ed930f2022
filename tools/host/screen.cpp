// SPDX-License-Identifier: MIT
#include "host/screen.h"

#include <QList>
#include <QMutexLocker>

#include <cerrno>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

constexpr int LeastLines = 3;  // scrolling lines that are worth a table
constexpr int KeptLines = 100; // shown again when the size changes
constexpr const char *Prompt = "> ";

// What terminals understand since the VT100.
constexpr const char *SaveCursor = "\0337";
constexpr const char *RestoreCursor = "\0338";
constexpr const char *HideCursor = "\033[?25l";
constexpr const char *ShowCursor = "\033[?25h";
constexpr const char *ClearLine = "\033[2K";
constexpr const char *ClearScreen = "\033[2J";
constexpr const char *WholeRegion = "\033[r";
constexpr const char *PlainText = "\033[0m";

bool terminalSize(int fd, int &width, int &height)
{
    winsize size = {};
    if (::isatty(fd) == 0 || ::ioctl(fd, TIOCGWINSZ, &size) != 0)
        return false;
    width = size.ws_col;
    height = size.ws_row;
    return true;
}

QByteArray row(int number)
{
    return "\x1b[" + QByteArray::number(number) + ";1H";
}

QByteArray withoutControls(QByteArray line)
{
    for (char &c : line)
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f)
            c = ' ';
    return line;
}

} // namespace

Screen::Screen(int terminal, int rows)
    : fd(terminal)
    , tableRows(rows)
{
    readSize();
    // What stood on the terminal goes up into its history instead of being written over.
    put(row(height) + QByteArray(height, '\n'));
    split();
}

Screen::~Screen()
{
    put(QByteArray(WholeRegion) + PlainText + row(height) + ClearLine);
}

bool Screen::fits(int fd, int tableRows)
{
    int width = 0;
    int height = 0;
    return terminalSize(fd, width, height) && height >= tableRows + LeastLines + 1 && width >= 40;
}

void Screen::drawTable(const QVector<QByteArray> &rows)
{
    const QMutexLocker lock(&mutex);
    if (readSize())
        redraw();
    QByteArray bytes = QByteArray(HideCursor) + SaveCursor;
    for (int i = 0; i < rows.size() && i < shownRows(); ++i)
        bytes += row(i + 1) + ClearLine + rows.at(i);
    put(bytes + RestoreCursor + ShowCursor);
}

void Screen::scroll(const QByteArray &text)
{
    const QMutexLocker lock(&mutex);
    QByteArray bytes = SaveCursor + row(height - 1);
    const QList<QByteArray> lines = text.split('\n');
    for (const QByteArray &line : lines) {
        recent.append(withoutControls(line));
        bytes += "\r\n" + recent.last();
    }
    while (recent.size() > KeptLines)
        recent.removeFirst();
    put(bytes + RestoreCursor);
}

void Screen::prompt()
{
    const QMutexLocker lock(&mutex);
    prompted = true;
    put(row(height) + ClearLine);
}

/// @return whether the size has changed.
bool Screen::readSize()
{
    const int oldWidth = width;
    const int oldHeight = height;
    terminalSize(fd, width, height);
    return width != oldWidth || height != oldHeight;
}

/// A terminal that has become too small shows less of the table.
int Screen::shownRows() const
{
    return qMax(0, qMin(tableRows, height - LeastLines - 1));
}

void Screen::split()
{
    put("\x1b[" + QByteArray::number(shownRows() + 1) + ";" + QByteArray::number(height - 1) + "r" +
        row(height));
}

void Screen::redraw()
{
    put(QByteArray(WholeRegion) + ClearScreen);
    split();
    put(row(height - 1) + "\r\n" + recent.join("\r\n") + row(height) + (prompted ? Prompt : ""));
}

void Screen::put(const QByteArray &bytes)
{
    qint64 written = 0;
    while (written < bytes.size()) {
        const ssize_t count =
            ::write(fd, bytes.constData() + written, static_cast<size_t>(bytes.size() - written));
        if (count < 0 && errno != EINTR)
            return;
        if (count > 0)
            written += count;
    }
}
