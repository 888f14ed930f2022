// SPDX-License-Identifier: MIT
#include "sim/linkfaults.h"

#include <QtTest>

using namespace std::chrono_literals;

namespace {

const QByteArray frame(40, 'x');

QVector<QByteArray> passMany(const LinkFaults::Settings &settings, int client = 0)
{
    LinkFaults faults(settings, client);
    for (int i = 0; i < 10000; ++i)
        Q_UNUSED(faults.send(frame, 0s))
    return faults.takeArrived(0s);
}

} // namespace

class TestLinkFaults : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void goodLine_changesNothing();
    void loss_isAsLikelyAsAsked();
    void corruption_turnsOneBitOver();
    void sameSeed_losesTheSame_anotherClientDoesNot();
    void latency_isTheSameForAll();
    void stall_bringsEverythingAtItsEnd();
    void tooManyOnTheWay_areDropped();
};

void TestLinkFaults::goodLine_changesNothing()
{
    QVERIFY(!LinkFaults::Settings().any());
    QCOMPARE(passMany({}), QVector<QByteArray>(10000, frame));
}

void TestLinkFaults::loss_isAsLikelyAsAsked()
{
    LinkFaults::Settings settings;
    settings.loss = 0.2;
    QVERIFY(qAbs(passMany(settings).size() - 8000) < 200);
    settings.loss = 1;
    QVERIFY(passMany(settings).isEmpty());
}

void TestLinkFaults::corruption_turnsOneBitOver()
{
    LinkFaults::Settings settings;
    settings.corruption = 0.1;
    int damaged = 0;
    const QVector<QByteArray> arrived = passMany(settings);
    for (const QByteArray &bytes : arrived) {
        int bits = 0;
        for (int i = 0; i < frame.size(); ++i)
            bits += qPopulationCount(quint8(bytes[i] ^ frame[i]));
        QVERIFY(bits <= 1);
        damaged += bits;
    }
    QCOMPARE(arrived.size(), 10000);
    QVERIFY(qAbs(damaged - 1000) < 150);
}

void TestLinkFaults::sameSeed_losesTheSame_anotherClientDoesNot()
{
    LinkFaults::Settings settings;
    settings.corruption = 0.5;
    QVERIFY(passMany(settings) == passMany(settings));
    QVERIFY(passMany(settings) != passMany(settings, 1));
    LinkFaults::Settings other = settings;
    other.seed = 77;
    QVERIFY(passMany(settings) != passMany(other));
}

void TestLinkFaults::latency_isTheSameForAll()
{
    LinkFaults::Settings settings;
    settings.latency = 100ms;
    LinkFaults faults(settings, 0);
    QVERIFY(faults.send("a", 0ms));
    QVERIFY(faults.send("b", 10ms));
    QVERIFY(faults.takeArrived(99ms).isEmpty());
    QCOMPARE(faults.takeArrived(100ms), QVector<QByteArray>{"a"});
    QCOMPARE(faults.takeArrived(110ms), QVector<QByteArray>{"b"});
}

void TestLinkFaults::stall_bringsEverythingAtItsEnd()
{
    LinkFaults::Settings settings;
    settings.stallBegin = 10s;
    settings.stallLength = 5s;
    LinkFaults faults(settings, 0);
    QVERIFY(faults.send("a", 9999ms));
    QCOMPARE(faults.takeArrived(9999ms).size(), 1);
    QVERIFY(faults.send("b", 10s));
    QVERIFY(faults.send("c", 14s));
    QVERIFY(faults.takeArrived(14999ms).isEmpty());
    QCOMPARE(faults.takeArrived(15s), (QVector<QByteArray>{"b", "c"}));
    QVERIFY(faults.send("d", 16s));
    QCOMPARE(faults.takeArrived(16s).size(), 1);
}

void TestLinkFaults::tooManyOnTheWay_areDropped()
{
    LinkFaults::Settings settings;
    settings.latency = 1s;
    LinkFaults faults(settings, 0);
    for (int i = 0; i < LinkFaults::queueLimit; ++i)
        QVERIFY(faults.send(frame, 0s));
    QVERIFY(!faults.send(frame, 0s));
    QCOMPARE(faults.takeArrived(1s).size(), int(LinkFaults::queueLimit));
}

QTEST_GUILESS_MAIN(TestLinkFaults)
#include "tst_linkfaults.moc"
