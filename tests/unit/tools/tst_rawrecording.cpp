// SPDX-License-Identifier: MIT
#include "sim/rawrecording.h"

#include "simfixture.h"

#include <QTemporaryDir>
#include <QtTest>

#include <limits>

class TestRawRecording : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void pieces_togetherAreTheFile_data();
    void pieces_togetherAreTheFile();
    void frame_isFoundAnywhere_data();
    void frame_isFoundAnywhere();

private:
    std::unique_ptr<Recording> open(const QByteArray &content, qint32 baud);

    QTemporaryDir dir;
};

std::unique_ptr<Recording> TestRawRecording::open(const QByteArray &content, qint32 baud)
{
    QString error;
    auto recording =
        Recording::open(writeFile(dir.filePath(QStringLiteral("boot.raw")), content), baud, &error);
    if (!recording)
        qWarning("%s", qPrintable(error));
    return recording;
}

void TestRawRecording::pieces_togetherAreTheFile_data()
{
    QTest::addColumn<int>("baud");
    for (const int baud : {1, 300, 57600, 921600, std::numeric_limits<int>::max()})
        QTest::newRow(qPrintable(QString::number(baud))) << baud;
}

void TestRawRecording::pieces_togetherAreTheFile()
{
    QFETCH(int, baud);
    const QByteArray content = QByteArrayLiteral("0 0 0 ") + Frames::version2() + QByteArray(5000, '\xFD');
    const auto recording = open(content, baud);
    QVERIFY(recording);
    QByteArray bytes;
    for (qint64 i = 0; i < recording->pieceCount(); ++i) {
        const Recording::Piece piece = recording->piece(i);
        QVERIFY(piece.size > 0);
        bytes += recording->read(piece);
        QCOMPARE(piece.due.count(), qint64(bytes.size()) * 10'000'000 / baud);
    }
    QCOMPARE(bytes, content);
}

void TestRawRecording::frame_isFoundAnywhere_data()
{
    QTest::addColumn<QByteArray>("content");
    const int blockSize = 65536;
    const QByteArray frame = Frames::version2();
    QTest::newRow("alone") << frame;
    QTest::newRow("version 1") << Frames::version1();
    QTest::newRow("signed") << Frames::signedVersion2();
    QTest::newRow("behind a false start") << QByteArray::fromHex("FDFF") + frame;
    QTest::newRow("behind false starts of both versions") << QByteArray::fromHex("FEFDFEFD") + frame;
    QTest::newRow("from one block into the next") << QByteArray(blockSize - 5, ' ') + frame;
    QTest::newRow("at the very end") << QByteArray(3 * blockSize, ' ') + frame;
}

void TestRawRecording::frame_isFoundAnywhere()
{
    QFETCH(QByteArray, content);
    QVERIFY(open(content, 57600));
}

QTEST_GUILESS_MAIN(TestRawRecording)
#include "tst_rawrecording.moc"
