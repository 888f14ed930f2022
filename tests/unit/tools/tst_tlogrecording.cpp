// SPDX-License-Identifier: MIT
#include "sim/tlogrecording.h"

#include "simfixture.h"

#include <QTemporaryDir>
#include <QtTest>

#include <limits>

Q_DECLARE_METATYPE(QVector<quint64>)
Q_DECLARE_METATYPE(QVector<qint64>)

class TestTlogRecording : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void framesOfAllKinds_areOnePieceEach();
    void due_data();
    void due();
    void cut_anywhereInTheLastRecord_leavesTheWholeFramesAndSaysWhere();
    void cut_betweenRecords_isNoDamage();
    void rubbishBehindAFrame_isDamageAtItsByte();

private:
    std::unique_ptr<Recording> open(const QByteArray &content);

    QTemporaryDir dir;
};

std::unique_ptr<Recording> TestTlogRecording::open(const QByteArray &content)
{
    QString error;
    auto recording =
        Recording::open(writeFile(dir.filePath(QStringLiteral("flight.tlog")), content), 57600, &error);
    if (!recording)
        qWarning("%s", qPrintable(error));
    return recording;
}

void TestTlogRecording::framesOfAllKinds_areOnePieceEach()
{
    const QByteArray longest = QByteArray::fromHex("FDFF0100000101FFFFFF") + QByteArray(255 + 2 + 13, '\xFE');
    const QVector<QByteArray> frames{Frames::version1(), Frames::version2(), Frames::signedVersion2(),
                                     longest, Frames::version1()};
    QByteArray content;
    for (const QByteArray &frame : frames)
        content += tlogRecord(1000, frame);
    const auto recording = open(content);
    QVERIFY(recording);
    QCOMPARE(recording->pieceCount(), qint64(frames.size()));
    for (int i = 0; i < frames.size(); ++i)
        QCOMPARE(recording->read(recording->piece(i)), frames[i]);
    QCOMPARE(recording->damage(), QString());
}

void TestTlogRecording::due_data()
{
    QTest::addColumn<QVector<quint64>>("times");
    QTest::addColumn<QVector<qint64>>("dues");

    const quint64 now = 1'795'000'000'000'000;
    const quint64 day = 86'400'000'000;
    QTest::newRow("count from the first")
        << QVector<quint64>{now, now + 400, now + 1000} << QVector<qint64>{0, 400, 1000};
    QTest::newRow("repeat") << QVector<quint64>{now, now, now + 8} << QVector<qint64>{0, 0, 8};
    QTest::newRow("step back a little")
        << QVector<quint64>{now + 400, now, now + 800} << QVector<qint64>{0, 0, 800};
    QTest::newRow("step back to zero") << QVector<quint64>{now, 0, 400} << QVector<qint64>{0, 0, 400};
    QTest::newRow("pause of a day") << QVector<quint64>{now, now + day, now + day + 4}
                                    << QVector<qint64>{0, qint64(day), qint64(day) + 4};
    QTest::newRow("clock set ahead") << QVector<quint64>{4, now, now + 400} << QVector<qint64>{0, 0, 400};
    QTest::newRow("link numbers") << QVector<quint64>{3, 4 + 1, 8 + 2, 8 + 0} << QVector<qint64>{0, 4, 8, 8};
    QTest::newRow("largest") << QVector<quint64>{std::numeric_limits<quint64>::max(), 0}
                             << QVector<qint64>{0, 4};
}

void TestTlogRecording::due()
{
    QFETCH(QVector<quint64>, times);
    QByteArray content;
    for (const quint64 time : qAsConst(times))
        content += tlogRecord(time, Frames::version2());
    const auto recording = open(content);
    QVERIFY(recording);
    QVector<qint64> dues;
    for (qint64 i = 0; i < recording->pieceCount(); ++i)
        dues.append(recording->piece(i).due.count());
    QTEST(dues, "dues");
}

void TestTlogRecording::cut_anywhereInTheLastRecord_leavesTheWholeFramesAndSaysWhere()
{
    const QByteArray first = tlogRecord(0, Frames::version2());
    const QByteArray both = first + tlogRecord(10, Frames::signedVersion2());
    for (int size = first.size() + 1; size < both.size(); ++size) {
        const auto recording = open(both.left(size));
        QVERIFY(recording);
        QCOMPARE(recording->pieceCount(), qint64(1));
        QCOMPARE(recording->damage(),
                 QStringLiteral("cut at byte %1, in the middle of the record that starts at byte %2")
                     .arg(size)
                     .arg(first.size()));
    }
}

void TestTlogRecording::cut_betweenRecords_isNoDamage()
{
    const auto recording = open(tlogRecord(0, Frames::version2()));
    QVERIFY(recording);
    QCOMPARE(recording->damage(), QString());
}

void TestTlogRecording::rubbishBehindAFrame_isDamageAtItsByte()
{
    const QByteArray good = tlogRecord(0, Frames::version2());
    const auto recording = open(good + tlogRecord(0, QByteArrayLiteral("rubbish")));
    QVERIFY(recording);
    QCOMPARE(recording->pieceCount(), qint64(1));
    QCOMPARE(recording->damage(), QStringLiteral("no frame at byte %1").arg(good.size() + 8));
}

QTEST_GUILESS_MAIN(TestTlogRecording)
#include "tst_tlogrecording.moc"
