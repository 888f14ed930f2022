// SPDX-License-Identifier: MIT
#include "ground/fragmentsender.h"
#include "groundfixture.h"

#include <QSignalSpy>
#include <QtTest>

using namespace std::chrono_literals;

namespace {

const int patienceMs = 60'000;

CompletePayload payloadOf(int size)
{
    return {0x1234, MessageId{5}, PayloadId{6}, QByteArray(size, 'x')};
}

} // namespace

class TestFragmentSender : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void framesOf_areThoseOfTheProtocol();
    void framesOf_areAsManyAsItTakes_data();
    void framesOf_areAsManyAsItTakes();
    void start_sendsTheLargestPayload_andTellsWhenItHasLeft();
    void start_onAFullQueue_fails();
};

void TestFragmentSender::framesOf_areThoseOfTheProtocol()
{
    const auto frames = FragmentSender::framesOf({0x1234, MessageId{5}, PayloadId{6}, "hello"});
    QCOMPARE(frames.size(), 1);
    QCOMPARE(frames[0].toHex(), QByteArray("fc0d050034120000050668656c6c6f7fd4"));
}

void TestFragmentSender::framesOf_areAsManyAsItTakes_data()
{
    QTest::addColumn<int>("size");
    QTest::addColumn<int>("count");
    QTest::addColumn<int>("lastSize");
    QTest::newRow("1") << 1 << 1 << 13;
    QTest::newRow("88") << 88 << 1 << 100;
    QTest::newRow("89") << 89 << 2 << 13;
    QTest::newRow("65535") << 65535 << 745 << 12 + 65535 - 744 * 88;
}

void TestFragmentSender::framesOf_areAsManyAsItTakes()
{
    QFETCH(int, size);
    const auto frames = FragmentSender::framesOf(payloadOf(size));
    QTEST(frames.size(), "count");
    QTEST(frames.last().size(), "lastSize");
}

void TestFragmentSender::start_sendsTheLargestPayload_andTellsWhenItHasLeft()
{
    FakeLink link;
    FrameCarrier ground(&link, 255);
    PacedSender sender(&ground, 0ms);
    FragmentSender fragments(&sender, payloadOf(65535));
    QSignalSpy done(&fragments, &FragmentSender::done);
    QVERIFY(fragments.start());
    QCOMPARE(done.count(), 0);
    sender.start();
    QTRY_COMPARE_WITH_TIMEOUT(done.count(), 1, patienceMs);
    QCOMPARE(fragments.leftCount(), 745);
    QCOMPARE(fragments.fragmentCount(), 745);
    QCOMPARE(link.messageIds().count(v2ExtensionId), 745);
    QVERIFY(fragments.duration().count() > 0);
}

void TestFragmentSender::start_onAFullQueue_fails()
{
    FakeLink link;
    FrameCarrier ground(&link, 255);
    PacedSender sender(&ground, 0ms);
    while (sender.send("filler")) {
    }
    FragmentSender fragments(&sender, payloadOf(1));
    QVERIFY(!fragments.start());
}

QTEST_GUILESS_MAIN(TestFragmentSender)
#include "tst_fragmentsender.moc"
