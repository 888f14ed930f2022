// SPDX-License-Identifier: MIT
#include "host/screen.h"

#include <QtTest>

#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

/// A terminal whose far end we hold.
class Terminal
{
public:
    Terminal(int rows, int columns)
        : farEnd(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC))
    {
        ::grantpt(farEnd);
        ::unlockpt(farEnd);
        fd = ::open(::ptsname(farEnd), O_RDWR | O_NOCTTY | O_CLOEXEC);
        resize(rows, columns);
    }
    ~Terminal()
    {
        ::close(fd);
        ::close(farEnd);
    }
    Terminal(const Terminal &) = delete;
    Terminal &operator=(const Terminal &) = delete;

    void resize(int rows, int columns) const
    {
        const winsize size = {static_cast<unsigned short>(rows), static_cast<unsigned short>(columns), 0, 0};
        ::ioctl(fd, TIOCSWINSZ, &size);
    }

    /// What has been written since the last call, up to and including the end.
    QByteArray readTo(const QByteArray &end) const
    {
        QByteArray bytes;
        pollfd waiting = {farEnd, POLLIN, 0};
        while (!bytes.endsWith(end) && ::poll(&waiting, 1, 5000) > 0) {
            char buffer[4096];
            const ssize_t count = ::read(farEnd, buffer, sizeof buffer);
            if (count <= 0)
                break;
            bytes.append(buffer, static_cast<int>(count));
        }
        return bytes;
    }

    int farEnd;
    int fd = -1;
};

constexpr int TableRows = 4;

} // namespace

class TestScreen : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void fits_data();
    void fits();
    void fits_noTerminal_isFalse();
    void construction_splitsTheTerminal();
    void scrolledLine_appearsAboveTheLastRow();
    void scrolledText_losesItsControlCharacters();
    void table_isDrawnInPlace();
    void prompt_standsInTheLastRow();
    void smallerTerminal_isSplitAnewAndKeepsTheLines();
    void destruction_givesTheWholeTerminalBack();
};

void TestScreen::fits_data()
{
    QTest::addColumn<int>("rows");
    QTest::addColumn<int>("columns");
    QTest::addColumn<bool>("enough");
    QTest::newRow("usual") << 24 << 80 << true;
    QTest::newRow("just enough") << TableRows + 4 << 40 << true;
    QTest::newRow("too low") << TableRows + 3 << 80 << false;
    QTest::newRow("too narrow") << 24 << 39 << false;
    QTest::newRow("size unknown") << 0 << 0 << false;
}

void TestScreen::fits()
{
    QFETCH(int, rows);
    QFETCH(int, columns);
    const Terminal terminal(rows, columns);
    QTEST(Screen::fits(terminal.fd, TableRows), "enough");
}

void TestScreen::fits_noTerminal_isFalse()
{
    int ends[2];
    QCOMPARE(::pipe(ends), 0);
    QVERIFY(!Screen::fits(ends[1], TableRows));
    ::close(ends[0]);
    ::close(ends[1]);
}

void TestScreen::construction_splitsTheTerminal()
{
    const Terminal terminal(24, 80);
    const Screen screen(terminal.fd, TableRows);
    const QByteArray split = "\033[5;23r\033[24;1H";
    QVERIFY(terminal.readTo(split).endsWith(split));
    QCOMPARE(screen.columns(), 80);
}

void TestScreen::scrolledLine_appearsAboveTheLastRow()
{
    const Terminal terminal(24, 80);
    Screen screen(terminal.fd, TableRows);
    terminal.readTo("r\033[24;1H");
    screen.scroll("one\ntwo");
    QCOMPARE(terminal.readTo("\0338"), QByteArray("\0337\033[23;1H\r\r\none\r\r\ntwo\0338"));
}

void TestScreen::scrolledText_losesItsControlCharacters()
{
    const Terminal terminal(24, 80);
    Screen screen(terminal.fd, TableRows);
    terminal.readTo("r\033[24;1H");
    screen.scroll("a\033[2Jb\tc\x7f\u00b0");
    QCOMPARE(terminal.readTo("\0338"), QByteArray("\0337\033[23;1H\r\r\na [2Jb c \u00b0\0338"));
}

void TestScreen::table_isDrawnInPlace()
{
    const Terminal terminal(24, 80);
    Screen screen(terminal.fd, TableRows);
    terminal.readTo("r\033[24;1H");
    screen.drawTable({"first", "second"});
    QCOMPARE(terminal.readTo("\033[?25h"),
             QByteArray("\033[?25l\0337\033[1;1H\033[2Kfirst\033[2;1H\033[2Ksecond\0338\033[?25h"));
}

void TestScreen::prompt_standsInTheLastRow()
{
    const Terminal terminal(24, 80);
    Screen screen(terminal.fd, TableRows);
    terminal.readTo("r\033[24;1H");
    screen.prompt();
    QCOMPARE(terminal.readTo("\033[2K"), QByteArray("\033[24;1H\033[2K"));
}

void TestScreen::smallerTerminal_isSplitAnewAndKeepsTheLines()
{
    const Terminal terminal(24, 80);
    Screen screen(terminal.fd, TableRows);
    screen.scroll("kept");
    terminal.readTo("kept\0338");
    terminal.resize(6, 60);
    screen.drawTable({"first", "second", "third"});
    const QByteArray drawn = terminal.readTo("\033[?25h");
    QVERIFY(drawn.contains("\033[3;5r"));
    QVERIFY(drawn.contains("kept"));
    QVERIFY(drawn.contains("second"));
    QVERIFY(!drawn.contains("third"));
    QCOMPARE(screen.columns(), 60);
}

void TestScreen::destruction_givesTheWholeTerminalBack()
{
    const Terminal terminal(24, 80);
    {
        const Screen screen(terminal.fd, TableRows);
        terminal.readTo("r\033[24;1H");
    }
    QCOMPARE(terminal.readTo("\033[2K"), QByteArray("\033[r\033[0m\033[24;1H\033[2K"));
}

QTEST_GUILESS_MAIN(TestScreen)
#include "tst_screen.moc"
