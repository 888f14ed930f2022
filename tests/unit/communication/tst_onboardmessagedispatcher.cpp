// SPDX-License-Identifier: MIT
#include "communication/onboardmessagedispatcher.h"

#include "communication/fragment.h"
#include "communication/recordingcarrier.h"
#include "support/logcapture.h"

#include <QtTest>

#include <algorithm>

namespace {

QVector<PayloadMessage> fragmentsOf(const CompletePayload &payload)
{
    return PayloadMessage::splitDataBlock(payload, 96);
}

} // namespace

class TestOnboardMessageDispatcher : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void identity_isDispatcher();
    void metaObject_hasNoMethodsOfItsOwn();
    void fragments_inAnyOrder_completeWithTheLast();
    void payload_carriesIdsOfTheGroup();
    void largestPayload_backwards_completes();
    void fragments_ofInterleavedPayloads_completeEach();
    void completedId_isFreeAgain();
    void repeatedFragment_discardsThePayload();
    void repeatedFragment_withOtherData_discardsThePayload();
    void contradiction_discardsThePayload_data();
    void contradiction_discardsThePayload();
    void rejectedFragment_opensNothing();
    void tooMuchData_discardsThePayload();
    void dataToTheLastByte_isAccepted();
    void overlap_neverCompletes();
    void gapAtTheStart_neverCompletes();
    void unfinishableGroup_isDiscardedByMoreData();
    void emptyChunk_atTheEnd_changesNothing();
    void emptyChunk_inside_preventsCompletion();
    void emptyChunk_whereDataIsDue_makesTheDataARepeat();
    void emptyPayload_completesAtOnce();
    void emptyPayload_atAnOffset_waitsForEver();
    void firstFragmentWithTooMuchData_opensThePayloadEmpty();
    void dataOfAnEmptyPayload_completesItEmpty();
    void twentyGroups_areKept();
    void twentyFirstGroup_pushesOutTheSmallestId_data();
    void twentyFirstGroup_pushesOutTheSmallestId();
    void knownPayload_pushesNothingOut();
    void payloadInOneFragment_pushesOutAllTheSame();
    void lowIdsAfterAWrap_pushEachOtherOut();
    void dataOfThePayload_isItsOwn();
    void createCompletePayload_countsAndWraps();

private:
    QSharedPointer<CompletePayload> put(const PayloadMessage &fragment);
    bool isOpen(int id);
    void openGroups(int firstId, int count);

    std::unique_ptr<LogCapture> log; // nothing here logs
    std::unique_ptr<OnboardMessageDispatcher> dispatcher;
};

void TestOnboardMessageDispatcher::init()
{
    log = std::make_unique<LogCapture>();
    dispatcher = std::make_unique<OnboardMessageDispatcher>();
}

void TestOnboardMessageDispatcher::cleanup()
{
    dispatcher.reset();
    log.reset();
}

QSharedPointer<CompletePayload> TestOnboardMessageDispatcher::put(const PayloadMessage &fragment)
{
    return dispatcher->putMessage(fragment);
}

// Groups of 10 bytes with the first 4, as openGroups() makes them: the rest completes those that are open,
// and is rest of nothing for the others.
bool TestOnboardMessageDispatcher::isOpen(int id)
{
    return !put(fragmentOf(id, 10, 4, "456789")).isNull();
}

void TestOnboardMessageDispatcher::openGroups(int firstId, int count)
{
    for (int id = firstId; id < firstId + count; ++id)
        QVERIFY(!put(fragmentOf(id, 10, 0, "0123")));
}

void TestOnboardMessageDispatcher::identity_isDispatcher()
{
    QCOMPARE(dispatcher->id(), QStringLiteral("DISPATCHER"));
    QCOMPARE(dispatcher->prefix(), QString());
}

void TestOnboardMessageDispatcher::metaObject_hasNoMethodsOfItsOwn()
{
    const QMetaObject &meta = OnboardMessageDispatcher::staticMetaObject;
    QCOMPARE(meta.superClass(), &QObject::staticMetaObject);
    QCOMPARE(meta.methodCount(), meta.methodOffset());
}

void TestOnboardMessageDispatcher::fragments_inAnyOrder_completeWithTheLast()
{
    const CompletePayload payload = payloadOf(4, 300, 7);
    const QVector<PayloadMessage> fragments = fragmentsOf(payload);
    QVector<int> order{0, 1, 2, 3};
    do {
        for (int i = 0; i < 3; ++i)
            QVERIFY(!put(fragments[order[i]]));
        const auto complete = put(fragments[order[3]]);
        QVERIFY(complete);
        QCOMPARE(complete->data, payload.data);
    } while (std::next_permutation(order.begin(), order.end()));
}

void TestOnboardMessageDispatcher::payload_carriesIdsOfTheGroup()
{
    QVERIFY(!put(fragmentOf(65535, 3, 1, "bc", 255, 128)));
    const auto complete = put(fragmentOf(65535, 3, 0, "a", 255, 128));
    QVERIFY(complete);
    QCOMPARE(complete->id, quint16(65535));
    QCOMPARE(complete->messageId, MessageId(255));
    QCOMPARE(complete->payloadId, PayloadId(128));
    QCOMPARE(complete->data, QByteArray("abc"));
}

void TestOnboardMessageDispatcher::largestPayload_backwards_completes()
{
    const CompletePayload payload = payloadOf(4, 65535, 3);
    const QVector<PayloadMessage> fragments = fragmentsOf(payload);
    QCOMPARE(fragments.size(), 745);
    for (int i = fragments.size() - 1; i > 0; --i)
        QVERIFY(!put(fragments[i]));
    const auto complete = put(fragments[0]);
    QVERIFY(complete);
    QCOMPARE(complete->data, payload.data);
}

void TestOnboardMessageDispatcher::fragments_ofInterleavedPayloads_completeEach()
{
    for (int part = 0; part < 2; ++part)
        for (int id = 0; id < 20; ++id) {
            const CompletePayload payload = payloadOf(4, 150, static_cast<quint16>(id * 3000));
            const auto complete = put(fragmentsOf(payload)[part]);
            QCOMPARE(!complete.isNull(), part == 1);
            if (complete)
                QCOMPARE(complete->data, payload.data);
        }
}

void TestOnboardMessageDispatcher::completedId_isFreeAgain()
{
    for (int round = 0; round < 3; ++round) {
        QVERIFY(!put(fragmentOf(7, 2 + round, 0, "a", round)));
        QVERIFY(put(fragmentOf(7, 2 + round, 1, QByteArray(1 + round, 'b'), round)));
    }
}

void TestOnboardMessageDispatcher::repeatedFragment_discardsThePayload()
{
    const QVector<PayloadMessage> fragments = fragmentsOf(payloadOf(4, 200, 7));
    QVERIFY(!put(fragments[0]));
    QVERIFY(!put(fragments[0]));
    QVERIFY(!put(fragments[1])); // opens a new group
    QVERIFY(!put(fragments[2]));
    QVERIFY(put(fragments[0])); // which the first fragment completes
}

void TestOnboardMessageDispatcher::repeatedFragment_withOtherData_discardsThePayload()
{
    QVERIFY(!put(fragmentOf(7, 10, 0, "0123")));
    QVERIFY(!put(fragmentOf(7, 10, 0, "xyz")));
    QVERIFY(!isOpen(7));
    QVERIFY(put(fragmentOf(7, 10, 0, "0123"))); // the rest is from isOpen()
}

void TestOnboardMessageDispatcher::contradiction_discardsThePayload_data()
{
    QTest::addColumn<int>("total");
    QTest::addColumn<int>("messageId");
    QTest::addColumn<int>("payloadId");
    QTest::newRow("larger total") << 11 << 1 << 4;
    QTest::newRow("smaller total") << 9 << 1 << 4;
    QTest::newRow("total 0") << 0 << 1 << 4;
    QTest::newRow("total 256 more") << 266 << 1 << 4;
    QTest::newRow("message id") << 10 << 2 << 4;
    QTest::newRow("payload id") << 10 << 1 << 5;
    QTest::newRow("ids swapped") << 10 << 4 << 1;
}

void TestOnboardMessageDispatcher::contradiction_discardsThePayload()
{
    QFETCH(int, total);
    QFETCH(int, messageId);
    QFETCH(int, payloadId);
    QVERIFY(!put(fragmentOf(7, 10, 0, "0123")));
    QVERIFY(!put(fragmentOf(7, total, 4, "456", messageId, payloadId)));
    QVERIFY(!put(fragmentOf(7, 10, 4, "456"))); // opens a new group
    QVERIFY(!put(fragmentOf(7, 10, 7, "789")));
    const auto complete = put(fragmentOf(7, 10, 0, "0123"));
    QVERIFY(complete);
    QCOMPARE(complete->data, QByteArray("0123456789"));
}

void TestOnboardMessageDispatcher::rejectedFragment_opensNothing()
{
    QVERIFY(!put(fragmentOf(7, 10, 0, "0123")));
    QVERIFY(!put(fragmentOf(7, 12, 0, "012345"))); // rejected
    QVERIFY(!put(fragmentOf(7, 12, 6, "6789ab"))); // would complete it had the last one opened a group
    QVERIFY(put(fragmentOf(7, 12, 0, "012345")));
}

void TestOnboardMessageDispatcher::tooMuchData_discardsThePayload()
{
    QVERIFY(!put(fragmentOf(7, 10, 0, "0123")));
    QVERIFY(!put(fragmentOf(7, 10, 4, "456789x")));
    QVERIFY(!isOpen(7));
}

void TestOnboardMessageDispatcher::dataToTheLastByte_isAccepted()
{
    QVERIFY(!put(fragmentOf(7, 10, 0, "012345678")));
    QVERIFY(put(fragmentOf(7, 10, 9, "9")));
    QVERIFY(put(fragmentOf(8, 10, 0, "0123456789")));
}

void TestOnboardMessageDispatcher::overlap_neverCompletes()
{
    QVERIFY(!put(fragmentOf(7, 200, 0, QByteArray(100, 'a'))));
    QVERIFY(!put(fragmentOf(7, 200, 50, QByteArray(100, 'b'))));
    // It is still there: an empty chunk is taken and completes nothing, one byte more is too much.
    QVERIFY(!put(fragmentOf(7, 200, 200, "")));
    QVERIFY(!put(fragmentOf(7, 200, 100, "x")));
    // Discarded by that: the two halves make a payload again.
    QVERIFY(!put(fragmentOf(7, 200, 0, QByteArray(100, 'a'))));
    QVERIFY(put(fragmentOf(7, 200, 100, QByteArray(100, 'b'))));
}

void TestOnboardMessageDispatcher::gapAtTheStart_neverCompletes()
{
    QVERIFY(!put(fragmentOf(7, 4, 1, "0123")));
    QVERIFY(!put(fragmentOf(7, 4, 0, "")));
    QVERIFY(!put(fragmentOf(8, 4, 65535, "0123")));
}

void TestOnboardMessageDispatcher::unfinishableGroup_isDiscardedByMoreData()
{
    QVERIFY(!put(fragmentOf(7, 4, 1, "0123")));
    QVERIFY(!put(fragmentOf(7, 4, 0, "0")));
    QVERIFY(put(fragmentOf(7, 4, 0, "0123")));
}

void TestOnboardMessageDispatcher::emptyChunk_atTheEnd_changesNothing()
{
    QVERIFY(!put(fragmentOf(7, 4, 4, "")));
    QVERIFY(put(fragmentOf(7, 4, 0, "0123")));
}

void TestOnboardMessageDispatcher::emptyChunk_inside_preventsCompletion()
{
    for (const int offset : {1, 3, 5, 65535}) {
        QVERIFY(!put(fragmentOf(7 + offset, 4, offset, "")));
        QVERIFY(!put(fragmentOf(7 + offset, 4, 0, "0123")));
    }
}

void TestOnboardMessageDispatcher::emptyChunk_whereDataIsDue_makesTheDataARepeat()
{
    QVERIFY(!put(fragmentOf(7, 4, 2, "")));
    QVERIFY(!put(fragmentOf(7, 4, 2, "23"))); // discards
    QVERIFY(!put(fragmentOf(7, 4, 0, "01"))); // opens a new group
    QVERIFY(put(fragmentOf(7, 4, 2, "23")));
}

void TestOnboardMessageDispatcher::emptyPayload_completesAtOnce()
{
    for (int round = 0; round < 2; ++round) {
        const auto complete = put(fragmentOf(7, 0, 0, "", 3, 252));
        QVERIFY(complete);
        QVERIFY(complete->data.isEmpty());
        QCOMPARE(complete->id, quint16(7));
        QCOMPARE(complete->messageId, MessageId(3));
        QCOMPARE(complete->payloadId, PayloadId(252));
    }
}

void TestOnboardMessageDispatcher::emptyPayload_atAnOffset_waitsForEver()
{
    QVERIFY(!put(fragmentOf(7, 0, 1, "")));
    QVERIFY(!put(fragmentOf(7, 0, 0, ""))); // the chunk at 1 stays in the way
    QVERIFY(!put(fragmentOf(7, 0, 0, ""))); // a repeat: discards
    QVERIFY(put(fragmentOf(7, 0, 0, "")));
}

void TestOnboardMessageDispatcher::firstFragmentWithTooMuchData_opensThePayloadEmpty()
{
    QVERIFY(!put(fragmentOf(7, 4, 0, "01234")));
    QVERIFY(!put(fragmentOf(7, 4, 2, "23")));
    const auto complete = put(fragmentOf(7, 4, 0, "01")); // not a repeat: nothing was kept
    QVERIFY(complete);
    QCOMPARE(complete->data, QByteArray("0123"));

    QVERIFY(!put(fragmentOf(8, 4, 0, "01234", 1, 4)));
    QVERIFY(!put(fragmentOf(8, 4, 0, "0123", 2, 4))); // its kind counts all the same
    QVERIFY(put(fragmentOf(8, 4, 0, "0123", 2, 4)));
}

void TestOnboardMessageDispatcher::dataOfAnEmptyPayload_completesItEmpty()
{
    const auto complete = put(fragmentOf(7, 0, 5, "data"));
    QVERIFY(complete);
    QVERIFY(complete->data.isEmpty());
}

void TestOnboardMessageDispatcher::twentyGroups_areKept()
{
    openGroups(10, 20);
    for (int id = 10; id < 30; ++id)
        QVERIFY(isOpen(id));
}

void TestOnboardMessageDispatcher::twentyFirstGroup_pushesOutTheSmallestId_data()
{
    QTest::addColumn<int>("id");
    QTest::newRow("below all") << 5;
    QTest::newRow("above all") << 65535;
    QTest::newRow("next") << 30;
}

void TestOnboardMessageDispatcher::twentyFirstGroup_pushesOutTheSmallestId()
{
    QFETCH(int, id);
    openGroups(10, 20);
    openGroups(id, 1);
    for (int other = 11; other < 30; ++other)
        QVERIFY(isOpen(other));
    QVERIFY(isOpen(id));
    QVERIFY(!isOpen(10));
}

void TestOnboardMessageDispatcher::knownPayload_pushesNothingOut()
{
    openGroups(10, 20);
    QVERIFY(!put(fragmentOf(15, 10, 4, "4")));
    QVERIFY(!put(fragmentOf(15, 10, 5, "5678")));
    QVERIFY(put(fragmentOf(15, 10, 9, "9")));
    QVERIFY(isOpen(10));
}

void TestOnboardMessageDispatcher::payloadInOneFragment_pushesOutAllTheSame()
{
    openGroups(10, 20);
    QVERIFY(put(fragmentOf(40, 4, 0, "0123")));
    QVERIFY(isOpen(11));
    QVERIFY(!isOpen(10));
}

void TestOnboardMessageDispatcher::lowIdsAfterAWrap_pushEachOtherOut()
{
    openGroups(65516, 20);
    openGroups(0, 1); // pushes out 65516
    openGroups(1, 1); // pushes out 0
    QVERIFY(isOpen(1));
    for (int id = 65517; id < 65536; ++id)
        QVERIFY(isOpen(id));
    QVERIFY(!isOpen(0));
    QVERIFY(!isOpen(65516));
}

void TestOnboardMessageDispatcher::dataOfThePayload_isItsOwn()
{
    QByteArray bytes("0123");
    QVERIFY(!put(fragmentOf(7, 8, 0, bytes)));
    bytes[0] = 'x';
    const auto complete = put(fragmentOf(7, 8, 4, "4567"));
    QVERIFY(complete);
    dispatcher.reset();
    QCOMPARE(complete->data, QByteArray("01234567"));
}

void TestOnboardMessageDispatcher::createCompletePayload_countsAndWraps()
{
    for (int id = 0; id < 65536; ++id) {
        const CompletePayload payload =
            dispatcher->createCompletePayload(MessageId(3), PayloadId(200), "data");
        if (payload.id != id)
            QCOMPARE(int(payload.id), id);
    }
    const CompletePayload payload = dispatcher->createCompletePayload(MessageId(3), PayloadId(200), "data");
    QCOMPARE(payload.id, quint16(0));
    QCOMPARE(payload.messageId, MessageId(3));
    QCOMPARE(payload.payloadId, PayloadId(200));
    QCOMPARE(payload.data, QByteArray("data"));
    OnboardMessageDispatcher other;
    QCOMPARE(other.createCompletePayload(MessageId(0), PayloadId(0), "").id, quint16(0));
    QCOMPARE(dispatcher->createCompletePayload(MessageId(0), PayloadId(0), "").id, quint16(1));
}

QTEST_GUILESS_MAIN(TestOnboardMessageDispatcher)
#include "tst_onboardmessagedispatcher.moc"
