// SPDX-License-Identifier: MIT
#include "ground/openpayloads.h"

#include <QtTest>

using namespace std::chrono_literals;

namespace {

const int patienceMs = 60'000;

PayloadMessage fragment(quint16 id, const QByteArray &data)
{
    return {{100, id, 0, MessageId{1}, PayloadId{4}}, data};
}

} // namespace

class TestOpenPayloads : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void silentPayload_isGivenUpOnce();
    void completePayload_isNotGivenUp();
    void payloadThatStillGrows_isNotGivenUp();
    void oneTooMany_givesUpTheOldest();

private:
    QVector<OpenPayloads::Part> given;

    void listenTo(OpenPayloads &open)
    {
        given.clear();
        connect(&open, &OpenPayloads::givenUp, this,
                [this](const OpenPayloads::Part &part) { given.append(part); });
    }
};

void TestOpenPayloads::silentPayload_isGivenUpOnce()
{
    OpenPayloads open(40ms);
    listenTo(open);
    open.onFragment(fragment(7, "abc"));
    open.onFragment(fragment(7, "de"));
    QTRY_COMPARE_WITH_TIMEOUT(given.size(), 1, patienceMs);
    QCOMPARE(given[0].header.id, quint16(7));
    QCOMPARE(given[0].header.total, quint16(100));
    QCOMPARE(given[0].received, qint64(5));
    open.giveUpAll();
    QCOMPARE(given.size(), 1);
}

void TestOpenPayloads::completePayload_isNotGivenUp()
{
    OpenPayloads open(1h);
    listenTo(open);
    open.onFragment(fragment(7, "abc"));
    open.onComplete(7);
    open.giveUpAll();
    QVERIFY(given.isEmpty());
}

void TestOpenPayloads::payloadThatStillGrows_isNotGivenUp()
{
    OpenPayloads open(40ms);
    listenTo(open);
    open.onFragment(fragment(8, "abc"));
    open.onFragment(fragment(7, "abc"));
    while (given.isEmpty()) {
        open.onFragment(fragment(7, "abc"));
        QCoreApplication::processEvents();
    }
    QCOMPARE(given.size(), 1);
    QCOMPARE(given[0].header.id, quint16(8));
}

void TestOpenPayloads::oneTooMany_givesUpTheOldest()
{
    OpenPayloads open(1h);
    listenTo(open);
    for (int id = OpenPayloads::limit; id > 0; --id)
        open.onFragment(fragment(static_cast<quint16>(id), "abc"));
    QVERIFY(given.isEmpty());
    open.onFragment(fragment(1000, "abc"));
    QCOMPARE(given.size(), 1);
    QCOMPARE(given[0].header.id, quint16(OpenPayloads::limit));
}

QTEST_GUILESS_MAIN(TestOpenPayloads)
#include "tst_openpayloads.moc"
