// SPDX-License-Identifier: MIT
#include "common/payloadargument.h"

#include <QTemporaryDir>
#include <QtTest>

#include <sys/stat.h>

class TestPayloadArgument : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void parse_data();
    void parse();
    void parse_ofAMistake_says_data();
    void parse_ofAMistake_says();
    void file_isTakenAsItIs();
    void file_ofTheLargestSize_isTaken();
    void file_thatIsTooLong_isRefused();
    void file_thatIsEmpty_isRefused();
    void file_thatCannotBeOpened_isToldApart();
    void file_thatFailsToRead_isToldApart();
    void file_thatIsNotRegular_isNotOpened();
    void parseId_data();
    void parseId();

private:
    QString write(int size, char byte);

    QTemporaryDir scratch;
};

void TestPayloadArgument::parse_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("hex") << "hex:00ffA5" << QByteArray::fromHex("00ffa5");
    QTest::newRow("text") << "text:hex:00" << QByteArray("hex:00");
    QTest::newRow("blanks") << "text: a  b " << QByteArray(" a  b ");
    QTest::newRow("UTF-8") << QStringLiteral("text:\u00e9") << QByteArray("\xc3\xa9");
}

void TestPayloadArgument::parse()
{
    QFETCH(QString, text);
    PayloadArgument::Error error;
    const auto bytes = PayloadArgument::parse(text, &error);
    QVERIFY2(bytes, qPrintable(error.text));
    QTEST(*bytes, "bytes");
}

void TestPayloadArgument::parse_ofAMistake_says_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("error");
    QTest::newRow("odd") << "hex:abc"
                         << "expected pairs of hexadecimal digits, not abc";
    QTest::newRow("no digit") << "hex:0g"
                              << "expected pairs of hexadecimal digits, not 0g";
    QTest::newRow("blank") << "hex:00 1"
                           << "expected pairs of hexadecimal digits, not 00 1";
    QTest::newRow("no bytes") << "hex:"
                              << "an empty payload cannot be sent";
    QTest::newRow("no text") << "text:"
                             << "an empty payload cannot be sent";
    QTest::newRow("no form") << "hello"
                             << "expected hex:DIGITS, text:WORDS or @FILE, not hello";
    QTest::newRow("nothing") << ""
                             << "expected hex:DIGITS, text:WORDS or @FILE, not ";
    QTest::newRow("too much text") << QLatin1String("text:") + QString(65536, QLatin1Char('x'))
                                   << "a payload has at most 65535 bytes";
}

void TestPayloadArgument::parse_ofAMistake_says()
{
    QFETCH(QString, text);
    PayloadArgument::Error error;
    QVERIFY(!PayloadArgument::parse(text, &error));
    QTEST(error.text, "error");
    QVERIFY(!error.isFile);
}

QString TestPayloadArgument::write(int size, char byte)
{
    QFile file(scratch.filePath(QStringLiteral("payload")));
    const bool written =
        file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(QByteArray(size, byte)) == size;
    return written ? QLatin1Char('@') + file.fileName() : QString();
}

void TestPayloadArgument::file_isTakenAsItIs()
{
    PayloadArgument::Error error;
    const auto bytes = PayloadArgument::parse(write(3, '\n'), &error);
    QVERIFY2(bytes, qPrintable(error.text));
    QCOMPARE(*bytes, QByteArray("\n\n\n"));
}

void TestPayloadArgument::file_ofTheLargestSize_isTaken()
{
    PayloadArgument::Error error;
    const auto bytes = PayloadArgument::parse(write(65535, 'x'), &error);
    QVERIFY2(bytes, qPrintable(error.text));
    QCOMPARE(bytes->size(), 65535);
}

void TestPayloadArgument::file_thatIsTooLong_isRefused()
{
    PayloadArgument::Error error;
    QVERIFY(!PayloadArgument::parse(write(65536, 'x'), &error));
    QCOMPARE(error.text, QStringLiteral("file %1: a payload has at most 65535 bytes")
                             .arg(scratch.filePath(QStringLiteral("payload"))));
    QVERIFY(error.isFile);
}

void TestPayloadArgument::file_thatIsEmpty_isRefused()
{
    PayloadArgument::Error error;
    QVERIFY(!PayloadArgument::parse(write(0, 'x'), &error));
    QCOMPARE(error.text, QStringLiteral("file %1: an empty payload cannot be sent")
                             .arg(scratch.filePath(QStringLiteral("payload"))));
    QVERIFY(error.isFile);
}

void TestPayloadArgument::file_thatFailsToRead_isToldApart()
{
    PayloadArgument::Error error;
    QVERIFY(!PayloadArgument::parse(QStringLiteral("@/proc/self/mem"), &error));
    QCOMPARE(error.text, QStringLiteral("cannot read file /proc/self/mem"));
    QVERIFY(error.isFile);
}

void TestPayloadArgument::file_thatIsNotRegular_isNotOpened()
{
    const QString fifo = scratch.filePath(QStringLiteral("fifo"));
    QCOMPARE(::mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
    PayloadArgument::Error error;
    for (const QString &path : {fifo, scratch.path()}) {
        QVERIFY(!PayloadArgument::parse(QLatin1Char('@') + path, &error));
        QCOMPARE(error.text, QStringLiteral("cannot read file %1: it is not a regular file").arg(path));
        QVERIFY(error.isFile);
    }
}

void TestPayloadArgument::file_thatCannotBeOpened_isToldApart()
{
    PayloadArgument::Error error;
    for (const QString &path : {scratch.filePath(QStringLiteral("missing")), QString()}) {
        QVERIFY(!PayloadArgument::parse(QLatin1Char('@') + path, &error));
        QCOMPARE(error.text, QStringLiteral("cannot read file ") + path);
        QVERIFY(error.isFile);
    }
}

void TestPayloadArgument::parseId_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("id"); // -1: none
    QTest::newRow("least") << "0" << 0;
    QTest::newRow("most") << "255" << 255;
    QTest::newRow("too high") << "256" << -1;
    QTest::newRow("far too high") << "65536" << -1;
    QTest::newRow("negative") << "-1" << -1;
    QTest::newRow("hexadecimal") << "0x10" << -1;
    QTest::newRow("empty") << "" << -1;
}

void TestPayloadArgument::parseId()
{
    QFETCH(QString, text);
    const auto id = PayloadArgument::parseId(text);
    QTEST(id ? int(*id) : -1, "id");
}

QTEST_GUILESS_MAIN(TestPayloadArgument)
#include "tst_payloadargument.moc"
