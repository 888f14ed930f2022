// SPDX-License-Identifier: MIT
#include "host/valuewords.h"

#include <QCborMap>
#include <QtTest>

namespace {

QCborMap kind(int id, int messageId, int payloadId)
{
    return {{QStringLiteral("id"), id},
            {QStringLiteral("messageId"), messageId},
            {QStringLiteral("payloadId"), payloadId}};
}

} // namespace

class TestValueWords : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void payload_data();
    void payload();
    void payload_withoutItsBytes_tellsItsSize();
    void linkTrouble_data();
    void linkTrouble();
};

void TestValueWords::payload_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QString>("shown");
    QTest::newRow("text") << QByteArray("hello") << "\"hello\"";
    QTest::newRow("bytes") << QByteArray::fromHex("00ff") << "00ff";
    QTest::newRow("text with a line end") << QByteArray("a\n") << "610a";
    QTest::newRow("broken UTF-8") << QByteArray("\xc3") << "c3";
    const QString longest(32, QLatin1Char('x'));
    QTest::newRow("longest whole") << longest.toLatin1() << QStringLiteral("\"%1\"").arg(longest);
    QTest::newRow("long text") << QByteArray(33, 'x') << QStringLiteral("\"%1\"...").arg(longest);
    QTest::newRow("long bytes") << QByteArray(33, '\0')
                                << QStringLiteral("%1...").arg(0, 64, 10, QLatin1Char('0'));
}

void TestValueWords::payload()
{
    QFETCH(QByteArray, data);
    QFETCH(QString, shown);
    QCborMap record = kind(7, 1, 4);
    record.insert(QStringLiteral("data"), QString::fromLatin1(data.toHex()));
    QCOMPARE(ValueWords::payload(record),
             QStringLiteral("message 1, payload 4, id 7, %1 bytes: %2").arg(data.size()).arg(shown));
}

void TestValueWords::payload_withoutItsBytes_tellsItsSize()
{
    QCborMap record = kind(65535, 255, 0);
    record.insert(QStringLiteral("size"), 65535);
    QCOMPARE(ValueWords::payload(record), QStringLiteral("message 255, payload 0, id 65535, 65535 bytes"));
}

void TestValueWords::linkTrouble_data()
{
    QTest::addColumn<int>("lost");
    QTest::addColumn<double>("percent");
    QTest::addColumn<int>("badChecksums");
    QTest::addColumn<int>("strayBytes");
    QTest::addColumn<QString>("words");
    const auto row = [](int lost, double percent, int badChecksums, int strayBytes, const char *words) {
        QTest::newRow(words) << lost << percent << badChecksums << strayBytes << QString::fromUtf8(words);
    };
    row(0, 0, 0, 0, "");
    row(4, 0.4, 3, 0, "loss 0.4 % \u00b7 3 bad checksums");
    row(1, 0.05, 0, 0, "loss 0.1 %");
    row(3, 0.049, 0, 0, "3 lost frames");
    row(1, 0.001, 1, 1, "1 lost frame \u00b7 1 bad checksum \u00b7 1 stray byte");
    row(100000, 99.96, 0, 6, "loss 100.0 % \u00b7 6 stray bytes");
}

void TestValueWords::linkTrouble()
{
    QFETCH(int, lost);
    QFETCH(double, percent);
    QFETCH(int, badChecksums);
    QFETCH(int, strayBytes);
    const QCborMap report{{QStringLiteral("lost"), lost},
                          {QStringLiteral("lossPercent"), percent},
                          {QStringLiteral("badChecksums"), badChecksums},
                          {QStringLiteral("strayBytes"), strayBytes},
                          {QStringLiteral("unknownIds"), 7}};
    QTEST(ValueWords::linkTrouble(report), "words");
    QCOMPARE(ValueWords::linkTrouble(QCborValue()), QString());
}

QTEST_GUILESS_MAIN(TestValueWords)
#include "tst_valuewords.moc"
