// SPDX-License-Identifier: MIT
#include "sim/operatorlines.h"

#include <QSignalSpy>
#include <QtTest>

#include <unistd.h>

class TestOperatorLines : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void lines_comeOneByOne();
    void lineInParts_isOne();
    void overlongLine_isCut();
    void end_isQuiet();

private:
    void write(const QByteArray &bytes) const
    {
        QCOMPARE(::write(ends[1], bytes.constData(), size_t(bytes.size())), ssize_t(bytes.size()));
    }

    int ends[2] = {-1, -1};
};

void TestOperatorLines::init()
{
    QCOMPARE(::pipe(ends), 0);
}

void TestOperatorLines::cleanup()
{
    for (const int end : ends)
        ::close(end);
}

void TestOperatorLines::lines_comeOneByOne()
{
    OperatorLines lines(ends[0]);
    QSignalSpy read(&lines, &OperatorLines::lineRead);
    write("arm\n\nland\n");
    QTRY_COMPARE(read.size(), 3);
    QCOMPARE(read[0][0].toString(), QStringLiteral("arm"));
    QCOMPARE(read[1][0].toString(), QString());
    QCOMPARE(read[2][0].toString(), QStringLiteral("land"));
}

void TestOperatorLines::lineInParts_isOne()
{
    OperatorLines lines(ends[0]);
    QSignalSpy read(&lines, &OperatorLines::lineRead);
    write("mode ");
    QCoreApplication::processEvents();
    write("land\n");
    QTRY_COMPARE(read.size(), 1);
    QCOMPARE(read[0][0].toString(), QStringLiteral("mode land"));
}

void TestOperatorLines::overlongLine_isCut()
{
    OperatorLines lines(ends[0]);
    QSignalSpy read(&lines, &OperatorLines::lineRead);
    write(QByteArray(OperatorLines::longestLine + 10, 'x') + '\n');
    QTRY_COMPARE(read.size(), 2);
    QCOMPARE(read[0][0].toString().size(), int(OperatorLines::longestLine));
    QCOMPARE(read[1][0].toString().size(), 10);
}

void TestOperatorLines::end_isQuiet()
{
    OperatorLines lines(ends[0]);
    QSignalSpy read(&lines, &OperatorLines::lineRead);
    write("arm\nhalf");
    ::close(ends[1]);
    ends[1] = -1;
    QTRY_COMPARE(read.size(), 1);
    QCoreApplication::processEvents();
    QCOMPARE(read.size(), 1);
}

QTEST_GUILESS_MAIN(TestOperatorLines)
#include "tst_operatorlines.moc"
