// SPDX-License-Identifier: MIT
#include "sim/faultylink.h"

#include <QMap>
#include <QSignalSpy>
#include <QtTest>

using namespace std::chrono_literals;

namespace {

const QByteArray frame(40, 'x');

/// Keeps what each client gets.
class FakeLink : public Link
{
public:
    bool open(QString *) override { return true; }
    QString address() const override { return QStringLiteral("fake"); }
    void write(const QByteArray &) override {}
    void writeTo(int client, const QByteArray &bytes) override { written[client].append(bytes); }
    qint64 queuedBytes() const override { return queued; }
    void finish() override { isFinishing = true; }

    void join(int client) { Q_EMIT clientJoined(client); }
    void leave(int client) { Q_EMIT clientLeft(client); }

    QMap<int, QVector<QByteArray>> written;
    qint64 queued = 0;
    bool isFinishing = false;
};

} // namespace

class TestFaultyLink : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void loss_isEachClientsOwn();
    void sameSeed_losesTheSame();
    void latency_bringsItLate();
    void clientThatJoins_getsWhatComesThen();
    void clientThatLeft_isForgotten();
    void finish_waitsForWhatIsOnTheWay();
    void fullLine_isToldAsQueuedBytes();
    void signals_comeThrough();

private:
    std::unique_ptr<FaultyLink> makeLink(const LinkFaults::Settings &settings);

    std::unique_ptr<FakeLink> good;
    SimTime now{0};
};

void TestFaultyLink::init()
{
    good = std::make_unique<FakeLink>();
    now = 0s;
}

std::unique_ptr<FaultyLink> TestFaultyLink::makeLink(const LinkFaults::Settings &settings)
{
    return std::make_unique<FaultyLink>(good.get(), settings, 0, [this] { return now; });
}

void TestFaultyLink::loss_isEachClientsOwn()
{
    LinkFaults::Settings settings;
    settings.loss = 0.2;
    const auto link = makeLink(settings);
    good->join(4);
    good->join(7);
    for (int i = 0; i < 1000; ++i)
        link->write(QByteArray::number(i));
    QVERIFY(qAbs(good->written[4].size() - 800) < 60);
    QVERIFY(qAbs(good->written[7].size() - 800) < 60);
    QVERIFY(good->written[4] != good->written[7]);
}

void TestFaultyLink::sameSeed_losesTheSame()
{
    LinkFaults::Settings settings;
    settings.loss = 0.5;
    QVector<QVector<QByteArray>> runs;
    for (const quint32 seed : {1U, 1U, 90U}) {
        init();
        settings.seed = seed;
        const auto link = makeLink(settings);
        good->join(0);
        for (int i = 0; i < 100; ++i)
            link->write(QByteArray::number(i));
        runs.append(good->written[0]);
    }
    QVERIFY(runs[0] == runs[1]);
    QVERIFY(runs[0] != runs[2]);
}

void TestFaultyLink::latency_bringsItLate()
{
    LinkFaults::Settings settings;
    settings.latency = 100ms;
    const auto link = makeLink(settings);
    good->join(0);
    link->write(frame);
    now = 99ms;
    link->deliver();
    QVERIFY(good->written.isEmpty());
    now = 100ms;
    QTRY_COMPARE(good->written[0], QVector<QByteArray>{frame});
}

void TestFaultyLink::clientThatJoins_getsWhatComesThen()
{
    LinkFaults::Settings settings;
    settings.latency = 1ms;
    const auto link = makeLink(settings);
    link->write("before");
    good->join(0);
    link->write("after");
    now = 1ms;
    link->deliver();
    QCOMPARE(good->written[0], QVector<QByteArray>{"after"});
}

void TestFaultyLink::clientThatLeft_isForgotten()
{
    LinkFaults::Settings settings;
    settings.latency = 1ms;
    const auto link = makeLink(settings);
    good->join(0);
    link->write(frame);
    good->leave(0);
    now = 1ms;
    link->deliver();
    QVERIFY(good->written.isEmpty());
}

void TestFaultyLink::finish_waitsForWhatIsOnTheWay()
{
    LinkFaults::Settings settings;
    settings.stallLength = 5s;
    const auto link = makeLink(settings);
    good->join(0);
    link->write(frame);
    link->finish();
    QVERIFY(!good->isFinishing);
    now = 5s;
    link->deliver();
    QCOMPARE(good->written[0].size(), 1);
    QVERIFY(good->isFinishing);
}

void TestFaultyLink::fullLine_isToldAsQueuedBytes()
{
    LinkFaults::Settings settings;
    settings.latency = 1s;
    const auto link = makeLink(settings);
    QSignalSpy drained(link.get(), &Link::drained);
    good->join(0);
    good->queued = 77;
    for (int i = 0; i < LinkFaults::queueLimit - 1; ++i)
        link->write("a");
    QCOMPARE(link->queuedBytes(), qint64(77));
    link->write("a");
    QCOMPARE(link->queuedBytes(), std::numeric_limits<qint64>::max());
    QCOMPARE(drained.count(), 0);
    now = 1s;
    link->deliver();
    QCOMPARE(link->queuedBytes(), qint64(77));
    QCOMPARE(drained.count(), 1);
}

void TestFaultyLink::signals_comeThrough()
{
    LinkFaults::Settings settings;
    settings.loss = 1;
    const auto link = makeLink(settings);
    QSignalSpy joined(link.get(), &Link::clientJoined);
    QSignalSpy left(link.get(), &Link::clientLeft);
    QSignalSpy received(link.get(), &Link::received);
    QSignalSpy finished(link.get(), &Link::finished);
    good->join(3);
    Q_EMIT good->received("hello", 3);
    good->leave(3);
    Q_EMIT good->finished();
    QCOMPARE(joined.count(), 1);
    QCOMPARE(received.value(0).value(0).toByteArray(), QByteArray("hello"));
    QCOMPARE(left.count(), 1);
    QCOMPARE(finished.count(), 1);
}

QTEST_GUILESS_MAIN(TestFaultyLink)
#include "tst_faultylink.moc"
