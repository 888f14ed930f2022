// SPDX-License-Identifier: MIT
#include "link/tcpserverlink.h"

#include <QSignalSpy>
#include <QTcpSocket>
#include <QtTest>

#include <memory>

namespace {

const int patienceMs = 60'000;

LinkAddress loopback(quint16 port = 0)
{
    return {LinkAddress::Kind::Tcp, QStringLiteral("127.0.0.1"), port, {}, 0};
}

quint16 portOf(const Link &link)
{
    return link.address().section(QLatin1Char(':'), -1).toUShort();
}

} // namespace

class TestTcpServerLink : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void address_namesThePortThatWasPicked();
    void open_ofAPortInUse_fails();
    void localhost_isReachedOverIpv4();
    void write_reachesEveryClient();
    void write_withoutAClient_isLost();
    void queuedBytes_isThatOfTheSlowestClient_andGoesWithIt();
    void writeTo_reachesThatClientOnly();
    void queuedBytesOf_isThatOfTheClient();
    void input_isHandedOnWithTheClientThatSentIt();
    void finish_withoutAClient_isFinished();
    void finish_closesOnceEverythingIsTaken();
    void finish_withInputUnread_losesNothing();
    void finish_takesNoMoreClients();

private:
    std::unique_ptr<QTcpSocket> join();

    std::unique_ptr<TcpServerLink> link;
};

void TestTcpServerLink::init()
{
    link = std::make_unique<TcpServerLink>(loopback());
    QString error;
    QVERIFY2(link->open(&error), qPrintable(error));
}

std::unique_ptr<QTcpSocket> TestTcpServerLink::join()
{
    QSignalSpy joined(link.get(), &Link::clientJoined);
    auto client = std::make_unique<QTcpSocket>();
    client->connectToHost(QStringLiteral("127.0.0.1"), portOf(*link));
    return joined.wait(patienceMs) ? std::move(client) : nullptr;
}

void TestTcpServerLink::address_namesThePortThatWasPicked()
{
    QVERIFY(portOf(*link) > 0);
    QCOMPARE(link->address(), QStringLiteral("tcp:127.0.0.1:%1").arg(portOf(*link)));
}

void TestTcpServerLink::open_ofAPortInUse_fails()
{
    TcpServerLink other(loopback(portOf(*link)));
    QString error;
    QVERIFY(!other.open(&error));
    QVERIFY(!error.isEmpty());
}

void TestTcpServerLink::localhost_isReachedOverIpv4()
{
    TcpServerLink local({LinkAddress::Kind::Tcp, QStringLiteral("localhost"), 0, {}, 0});
    QString error;
    QVERIFY2(local.open(&error), qPrintable(error));
    QSignalSpy joined(&local, &Link::clientJoined);
    QTcpSocket client;
    client.connectToHost(QStringLiteral("127.0.0.1"), portOf(local));
    QVERIFY(joined.wait(patienceMs));
}

void TestTcpServerLink::write_reachesEveryClient()
{
    const auto first = join();
    const auto second = join();
    QVERIFY(first && second);
    link->write("abc");
    QTRY_COMPARE_WITH_TIMEOUT(first->bytesAvailable(), 3, patienceMs);
    QTRY_COMPARE_WITH_TIMEOUT(second->bytesAvailable(), 3, patienceMs);
    QCOMPARE(first->readAll(), QByteArray("abc"));
    QCOMPARE(second->readAll(), QByteArray("abc"));
}

void TestTcpServerLink::write_withoutAClient_isLost()
{
    link->write("nobody");
    QCOMPARE(link->queuedBytes(), qint64(0));
    const auto client = join();
    QVERIFY(client);
    link->write("somebody");
    QTRY_COMPARE_WITH_TIMEOUT(client->bytesAvailable(), 8, patienceMs);
    QCOMPARE(client->readAll(), QByteArray("somebody"));
}

void TestTcpServerLink::queuedBytes_isThatOfTheSlowestClient_andGoesWithIt()
{
    const auto fast = join();
    auto slow = join();
    QVERIFY(fast && slow);
    slow->setReadBufferSize(1);
    QByteArray got;
    connect(fast.get(), &QTcpSocket::readyRead, fast.get(), [&] { got += fast->readAll(); });
    const QByteArray bytes(30'000'000, 'x');
    link->write(bytes);
    QTRY_COMPARE_WITH_TIMEOUT(got.size(), bytes.size(), patienceMs);
    QVERIFY(link->queuedBytes() > 0);
    QSignalSpy left(link.get(), &Link::clientLeft);
    QSignalSpy drained(link.get(), &Link::drained);
    slow.reset();
    QVERIFY(left.wait(patienceMs));
    QCOMPARE(link->queuedBytes(), qint64(0));
    QVERIFY(drained.count() > 0);
}

void TestTcpServerLink::writeTo_reachesThatClientOnly()
{
    QSignalSpy joined(link.get(), &Link::clientJoined);
    const auto first = join();
    const auto second = join();
    QVERIFY(first && second);
    link->writeTo(joined[1][0].toInt(), "only");
    link->writeTo(1000, "nobody");
    link->write("all");
    QTRY_COMPARE_WITH_TIMEOUT(first->bytesAvailable(), 3, patienceMs);
    QTRY_COMPARE_WITH_TIMEOUT(second->bytesAvailable(), 7, patienceMs);
    QCOMPARE(first->readAll(), QByteArray("all"));
    QCOMPARE(second->readAll(), QByteArray("onlyall"));
}

void TestTcpServerLink::queuedBytesOf_isThatOfTheClient()
{
    QSignalSpy joined(link.get(), &Link::clientJoined);
    const auto slow = join();
    const auto other = join();
    QVERIFY(slow && other);
    slow->setReadBufferSize(1);
    link->writeTo(joined[0][0].toInt(), QByteArray(30'000'000, 'x'));
    QVERIFY(link->queuedBytesOf(joined[0][0].toInt()) > 0);
    QCOMPARE(link->queuedBytesOf(joined[1][0].toInt()), qint64(0));
    QCOMPARE(link->queuedBytesOf(1000), qint64(0));
}

void TestTcpServerLink::input_isHandedOnWithTheClientThatSentIt()
{
    QSignalSpy joined(link.get(), &Link::clientJoined);
    const auto first = join();
    const auto second = join();
    QVERIFY(first && second);
    QMap<int, QByteArray> got;
    connect(link.get(), &Link::received, link.get(),
            [&](const QByteArray &bytes, int client) { got[client] += bytes; });
    second->write("two");
    first->write("one");
    QTRY_COMPARE_WITH_TIMEOUT(got.size(), 2, patienceMs);
    QTRY_COMPARE_WITH_TIMEOUT(got[joined[0][0].toInt()], QByteArray("one"), patienceMs);
    QTRY_COMPARE_WITH_TIMEOUT(got[joined[1][0].toInt()], QByteArray("two"), patienceMs);
}

void TestTcpServerLink::finish_withoutAClient_isFinished()
{
    QSignalSpy finished(link.get(), &Link::finished);
    link->finish();
    QVERIFY(finished.wait(patienceMs));
}

void TestTcpServerLink::finish_closesOnceEverythingIsTaken()
{
    const auto client = join();
    QVERIFY(client);
    client->setReadBufferSize(1);
    QSignalSpy finished(link.get(), &Link::finished);
    const QByteArray bytes(30'000'000, 'x');
    link->write(bytes);
    link->finish();
    QVERIFY(!finished.wait(200));
    client->setReadBufferSize(0);
    QByteArray got;
    QTRY_COMPARE_WITH_TIMEOUT((got += client->readAll()).size(), bytes.size(), patienceMs);
    QTRY_COMPARE_WITH_TIMEOUT(finished.count(), 1, patienceMs);
    QTRY_COMPARE_WITH_TIMEOUT(client->state(), QAbstractSocket::UnconnectedState, patienceMs);
}

void TestTcpServerLink::finish_withInputUnread_losesNothing()
{
    const auto client = join();
    QVERIFY(client);
    QSignalSpy finished(link.get(), &Link::finished);
    const QByteArray bytes(1'000'000, 'x');
    link->write(bytes);
    link->finish();
    QByteArray got;
    connect(client.get(), &QTcpSocket::readyRead, client.get(), [&] {
        got += client->readAll();
        client->write("chatter");
    });
    QTRY_COMPARE_WITH_TIMEOUT(got.size(), bytes.size(), patienceMs);
    QTRY_COMPARE_WITH_TIMEOUT(finished.count(), 1, patienceMs);
}

void TestTcpServerLink::finish_takesNoMoreClients()
{
    link->finish();
    QTcpSocket late;
    QSignalSpy failed(&late, &QAbstractSocket::errorOccurred);
    late.connectToHost(QStringLiteral("127.0.0.1"), portOf(*link));
    QVERIFY(failed.wait(patienceMs));
    QCOMPARE(late.error(), QAbstractSocket::ConnectionRefusedError);
}

QTEST_GUILESS_MAIN(TestTcpServerLink)
#include "tst_tcpserverlink.moc"
