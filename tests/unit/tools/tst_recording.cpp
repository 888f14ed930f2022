// SPDX-License-Identifier: MIT
#include "sim/recording.h"

#include "simfixture.h"

#include <QTemporaryDir>
#include <QtTest>

class TestRecording : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void unusableFile_isRefused_data();
    void unusableFile_isRefused();
    void missingFile_isRefusedByName();
    void folder_isRefused();
    void tlogSuffix_inAnyCase_meansTimes();
    void read_inAnyOrder_isTheBytesOfThePiece();
    void read_afterTheFileShrank_isShort();

private:
    QTemporaryDir dir;
};

void TestRecording::unusableFile_isRefused_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("reason");

    const QByteArray frame = Frames::version2();
    QByteArray damaged = frame;
    damaged[12] = char(damaged[12] ^ 1);
    QTest::newRow("empty tlog") << "a.tlog" << QByteArray() << "the recording is empty";
    QTest::newRow("empty raw") << "a.raw" << QByteArray() << "the recording is empty";
    QTest::newRow("tlog of text") << "a.tlog" << QByteArray("twelve bytes") << "no frame at byte 8";
    QTest::newRow("tlog of half a frame") << "a.tlog" << tlogRecord(0, frame.left(9)) << "cut at byte 17";
    QTest::newRow("tlog of a time") << "a.tlog" << tlogRecord(0, {}) << "cut at byte 8";
    QTest::newRow("raw text") << "a.raw" << QByteArray("just text") << "not one frame with a good checksum";
    QTest::newRow("raw, cut") << "a.raw" << frame.left(frame.size() - 1)
                              << "not one frame with a good checksum";
    QTest::newRow("raw, damaged") << "a.raw" << damaged << "not one frame with a good checksum";
}

void TestRecording::unusableFile_isRefused()
{
    QFETCH(QString, name);
    QFETCH(QByteArray, content);
    QFETCH(QString, reason);
    const QString path = writeFile(dir.filePath(name), content);
    QString error;
    QVERIFY(!Recording::open(path, 57600, &error));
    QVERIFY2(error.startsWith(path + QStringLiteral(": ")) && error.contains(reason), qPrintable(error));
}

void TestRecording::missingFile_isRefusedByName()
{
    QString error;
    const QString path = dir.filePath(QStringLiteral("missing.tlog"));
    QVERIFY(!Recording::open(path, 57600, &error));
    QVERIFY2(error.startsWith(path + QStringLiteral(": ")), qPrintable(error));
}

void TestRecording::folder_isRefused()
{
    QString error;
    QVERIFY(!Recording::open(dir.path(), 57600, &error));
    QCOMPARE(error, dir.path() + QStringLiteral(": not a regular file"));
}

void TestRecording::tlogSuffix_inAnyCase_meansTimes()
{
    QString error;
    const QByteArray frame = Frames::version2();
    const QString path = writeFile(dir.filePath(QStringLiteral("A.TLOG")), tlogRecord(0, frame));
    const auto recording = Recording::open(path, 57600, &error);
    QVERIFY2(recording, qPrintable(error));
    QCOMPARE(recording->read(recording->piece(0)), frame);
}

void TestRecording::read_inAnyOrder_isTheBytesOfThePiece()
{
    QString error;
    const QByteArray first = Frames::version1();
    const QByteArray second = Frames::version2();
    const QString path =
        writeFile(dir.filePath(QStringLiteral("two.tlog")), tlogRecord(0, first) + tlogRecord(0, second));
    const auto recording = Recording::open(path, 57600, &error);
    QVERIFY2(recording, qPrintable(error));
    QCOMPARE(recording->read(recording->piece(1)), second);
    QCOMPARE(recording->read(recording->piece(0)), first);
    QCOMPARE(recording->read(recording->piece(1)), second);
}

void TestRecording::read_afterTheFileShrank_isShort()
{
    QString error;
    QByteArray content;
    for (int i = 0; i < 2000; ++i)
        content += tlogRecord(0, Frames::version2());
    const QString path = writeFile(dir.filePath(QStringLiteral("shrinks.tlog")), content);
    const auto recording = Recording::open(path, 57600, &error);
    QVERIFY2(recording, qPrintable(error));
    QVERIFY(!recording->read(recording->piece(0)).isEmpty());
    QVERIFY(QFile::resize(path, content.size() - 5));
    const Recording::Piece last = recording->piece(recording->pieceCount() - 1);
    QCOMPARE(recording->read(last).size(), last.size - 5);
}

QTEST_GUILESS_MAIN(TestRecording)
#include "tst_recording.moc"
