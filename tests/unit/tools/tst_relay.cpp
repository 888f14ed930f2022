// SPDX-License-Identifier: MIT
#include "sim/relay.h"

#include "relayfixture.h"

#include <QSignalSpy>
#include <QtTest>

#include <memory>

using namespace std::chrono_literals;

namespace {

const Frames::Source host = {2, 5};
const Frames::Source ground = {255, 190};

int systemOf(const QByteArray &frame)
{
    return static_cast<quint8>(frame[5]);
}

} // namespace

/// Two links with a client each, the host's and the ground's, whose heartbeats were heard, and a third link.
class TestRelay : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void clients_areTold_withTheirLinks();
    void messages_goToOneOrToAll_withASequencePerClient();
    void messageToAClientThatLeft_goesNowhere();
    void bytes_goOutAsTheyAre();
    void framesThatCome_areToldWithTheirClient();
    void arduPilot_handsBroadcastsToEveryOtherLinkHeard();
    void arduPilot_handsAddressedFramesToTheLinkOfTheSystem();
    void arduPilot_handsDataMessagesOn();
    void linkNeverHeard_getsNothing();
    void clientThatCameBack_hasToBeHeardAgain();
    void badFrame_goesNowhere_andIsCounted();
    void clientsOfOneLink_areLinksOfTheirOwn();
    void framesOfTwoClients_neverMix();
    void clientThatDoesNotRead_losesFrames_othersDoNot();
    void px4_handsOnBetweenForwardingLinksOnly();
    void px4_sendsWithTheNextRound();
    void px4_losesWhatFindsItsBufferFull();
    void px4_roundsComeByThemselves();
    void px4_swapsSequenceNumbersNowAndThen();
    void lineWithLatency_bringsFramesLate();

private:
    void start(AutopilotKind kind);

    FakeLink hostLink;
    FakeLink groundLink;
    FakeLink thirdLink;
    std::unique_ptr<Relay> relay;
};

void TestRelay::init()
{
    hostLink.queued.clear();
    groundLink.queued.clear();
    start(AutopilotKind::ArduPilot);
}

void TestRelay::start(AutopilotKind kind)
{
    relay = std::make_unique<Relay>(kind, LinkFaults::Settings(), [] { return ForwardingBuffer::Time(0); });
    relay->addLink(&hostLink, true);
    relay->addLink(&groundLink, true);
    relay->addLink(&thirdLink, false);
    for (FakeLink *link : {&hostLink, &groundLink, &thirdLink})
        link->join();
    hostLink.receive(Frames::heartbeat(host));
    groundLink.receive(Frames::heartbeat(ground));
    relay->runRound();
    for (FakeLink *link : {&hostLink, &groundLink, &thirdLink})
        link->take();
}

void TestRelay::clients_areTold_withTheirLinks()
{
    QSignalSpy joined(relay.get(), &Relay::clientJoined);
    QSignalSpy left(relay.get(), &Relay::clientLeft);
    groundLink.join(1);
    hostLink.leave();
    QCOMPARE(joined.takeFirst(), (QVariantList{3, 1}));
    QCOMPARE(left.takeFirst(), QVariantList{0});
}

void TestRelay::messages_goToOneOrToAll_withASequencePerClient()
{
    const OutgoingMessage message = OutgoingMessage::from(mavlink::minimal::msg::HEARTBEAT{});
    relay->send(message, 0);
    relay->sendToAll(message);
    QList<int> sequence;
    const QList<QByteArray> sent = hostLink.take();
    for (const QByteArray &frame : sent) {
        QCOMPARE(systemOf(frame), 1);
        sequence.append(frame[4]);
    }
    QCOMPARE(sequence, (QList<int>{0, 1}));
    const QList<QByteArray> third = thirdLink.take();
    QCOMPARE(third.size(), 1);
    QCOMPARE(int(third[0][4]), 0);
}

void TestRelay::messageToAClientThatLeft_goesNowhere()
{
    hostLink.leave();
    relay->send(OutgoingMessage::from(mavlink::minimal::msg::HEARTBEAT{}), 0);
    relay->sendBytes("0 ", 0);
    QVERIFY(hostLink.take().isEmpty());
}

void TestRelay::bytes_goOutAsTheyAre()
{
    relay->sendBytes("0 0 0 ", 2);
    QCOMPARE(thirdLink.take(), QList<QByteArray>{"0 0 0 "});
}

void TestRelay::framesThatCome_areToldWithTheirClient()
{
    QList<QPair<int, int>> received;
    connect(relay.get(), &Relay::received, this, [&](const mavlink::mavlink_message_t &message, int client) {
        received.append({message.sysid, client});
    });
    hostLink.receive(Frames::extension(host, 1));
    groundLink.receive(Frames::heartbeat(ground));
    QCOMPARE(received, (QList<QPair<int, int>>{{2, 0}, {255, 1}}));
}

void TestRelay::arduPilot_handsBroadcastsToEveryOtherLinkHeard()
{
    thirdLink.receive(Frames::heartbeat({3, 1}));
    hostLink.take();
    groundLink.take();
    hostLink.receive(Frames::extension(host, 0));
    QCOMPARE(groundLink.take(), QList<QByteArray>{Frames::extension(host, 0)});
    QCOMPARE(thirdLink.take(), QList<QByteArray>{Frames::extension(host, 0)});
    QVERIFY(hostLink.take().isEmpty());
}

void TestRelay::arduPilot_handsAddressedFramesToTheLinkOfTheSystem()
{
    thirdLink.receive(Frames::heartbeat({3, 1}));
    groundLink.take();
    for (const int target : {255, 1, 77})
        hostLink.receive(Frames::extension(host, quint8(target)));
    QCOMPARE(groundLink.take(), QList<QByteArray>{Frames::extension(host, 255)});
    QVERIFY(thirdLink.take().isEmpty());
}

void TestRelay::arduPilot_handsDataMessagesOn()
{
    groundLink.receive(Frames::data96(ground));
    QCOMPARE(hostLink.take(), QList<QByteArray>{Frames::data96(ground)});
    QCOMPARE(relay->counters().relayed, qint64(2)); // the first was the ground's heartbeat
}

void TestRelay::linkNeverHeard_getsNothing()
{
    hostLink.receive(Frames::extension(host, 0) + Frames::data96(host) + Frames::heartbeat(host));
    QVERIFY(thirdLink.take().isEmpty());
    QCOMPARE(groundLink.take().size(), 3);
}

void TestRelay::clientThatCameBack_hasToBeHeardAgain()
{
    groundLink.leave();
    groundLink.join();
    groundLink.take();
    hostLink.receive(Frames::extension(host, 0));
    QVERIFY(groundLink.take().isEmpty());
    groundLink.receive(Frames::heartbeat(ground));
    hostLink.receive(Frames::extension(host, 0));
    QCOMPARE(groundLink.take().size(), 1);
}

void TestRelay::badFrame_goesNowhere_andIsCounted()
{
    QByteArray bad = Frames::extension(host, 0);
    bad.data()[20] ^= 1;
    hostLink.receive(bad + QByteArray::fromHex("fd030000090101fafaf9010203abcd"));
    QVERIFY(groundLink.take().isEmpty());
    QCOMPARE(relay->counters().bad, qint64(2));
}

void TestRelay::clientsOfOneLink_areLinksOfTheirOwn()
{
    hostLink.join(1);
    hostLink.take(1);
    hostLink.receive(Frames::heartbeat({3, 1}), 1);
    hostLink.receive(Frames::extension(host, 3));
    QCOMPARE(hostLink.take(1), QList<QByteArray>{Frames::extension(host, 3)});
    QVERIFY(!hostLink.take().contains(Frames::extension(host, 3)));
}

void TestRelay::framesOfTwoClients_neverMix()
{
    hostLink.join(1);
    const QByteArray one = Frames::extension(host, 0);
    const QByteArray other = Frames::data96({3, 1});
    hostLink.receive(one.left(30));
    hostLink.receive(other.left(40), 1);
    hostLink.receive(one.mid(30));
    hostLink.receive(other.mid(40), 1);
    QCOMPARE(groundLink.take(), (QList<QByteArray>{one, other}));
}

void TestRelay::clientThatDoesNotRead_losesFrames_othersDoNot()
{
    thirdLink.receive(Frames::heartbeat({3, 1}));
    for (FakeLink *link : {&groundLink, &thirdLink})
        link->take();
    const QByteArray frame = Frames::extension(host, 0);
    groundLink.queued[0] = Relay::queueLimit - frame.size() + 1;
    hostLink.receive(frame);
    QVERIFY(groundLink.take().isEmpty());
    QCOMPARE(thirdLink.take().size(), 1);
    QCOMPARE(relay->counters().dropped, qint64(1));
    groundLink.queued[0] = Relay::queueLimit - frame.size();
    hostLink.receive(frame);
    QCOMPARE(groundLink.take().size(), 1);
    QCOMPARE(relay->counters().dropped, qint64(1));
}

void TestRelay::px4_handsOnBetweenForwardingLinksOnly()
{
    start(AutopilotKind::Px4);
    thirdLink.receive(Frames::heartbeat({3, 1}) + Frames::extension({3, 1}, 0));
    hostLink.receive(Frames::extension(host, 0));
    relay->runRound();
    QCOMPARE(groundLink.take(), QList<QByteArray>{Frames::extension(host, 0)});
    QVERIFY(thirdLink.take().isEmpty());
    QVERIFY(hostLink.take().isEmpty());
}

void TestRelay::px4_sendsWithTheNextRound()
{
    start(AutopilotKind::Px4);
    hostLink.receive(Frames::extension(host, 255, 190));
    QVERIFY(groundLink.take().isEmpty());
    relay->runRound();
    QCOMPARE(groundLink.take().size(), 1);
    relay->runRound();
    QVERIFY(groundLink.take().isEmpty());
}

void TestRelay::px4_losesWhatFindsItsBufferFull()
{
    start(AutopilotKind::Px4);
    const qint64 relayedBefore = relay->counters().relayed;
    hostLink.receive(Frames::extension(host, 0).repeated(10));
    relay->runRound();
    QCOMPARE(groundLink.take().size(), 2);
    QCOMPARE(relay->counters().relayed - relayedBefore, qint64(2));
    QCOMPARE(relay->counters().lost, qint64(8));
}

void TestRelay::px4_roundsComeByThemselves()
{
    start(AutopilotKind::Px4);
    hostLink.receive(Frames::extension(host, 0));
    const qint64 relayedBefore = relay->counters().relayed;
    QTRY_COMPARE_WITH_TIMEOUT(relay->counters().relayed, relayedBefore + 1, 60'000);
}

void TestRelay::px4_swapsSequenceNumbersNowAndThen()
{
    start(AutopilotKind::Px4);
    const OutgoingMessage message = OutgoingMessage::from(mavlink::minimal::msg::HEARTBEAT{});
    for (int i = 0; i < Relay::framesPerSwap + 10; ++i)
        relay->send(message, 0);
    const QList<QByteArray> sent = hostLink.take();
    QMap<int, int> steps;
    for (int i = 1; i < sent.size(); ++i)
        ++steps[(quint8(sent[i][4]) - quint8(sent[i - 1][4])) & 0xff];
    QCOMPARE(steps, (QMap<int, int>{{1, int(sent.size()) - 4}, {2, 2}, {255, 1}}));
    QCOMPARE(int(quint8(sent.last()[4])), (sent.size() - 1) & 0xff);
}

void TestRelay::lineWithLatency_bringsFramesLate()
{
    LinkFaults::Settings faults;
    faults.latency = 20ms;
    ForwardingBuffer::Time now{0};
    Relay late(AutopilotKind::ArduPilot, faults, [&now] { return now; });
    FakeLink link;
    late.addLink(&link, true);
    link.join();
    late.sendToAll(OutgoingMessage::from(mavlink::minimal::msg::HEARTBEAT{}));
    now = 19ms;
    late.deliverLate();
    QVERIFY(link.take().isEmpty());
    now = 20ms;
    late.deliverLate();
    QCOMPARE(link.take().size(), 1);
}

QTEST_GUILESS_MAIN(TestRelay)
#include "tst_relay.moc"
