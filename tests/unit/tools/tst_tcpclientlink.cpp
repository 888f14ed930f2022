// SPDX-License-Identifier: MIT
#include "ground/tcpclientlink.h"

#include <QSignalSpy>
#include <QTcpServer>
#include <QtTest>

#include <memory>

namespace {

const int patienceMs = 60'000;

LinkAddress addressOf(const QTcpServer &server, const QString &host)
{
    return {LinkAddress::Kind::Tcp, host, server.serverPort(), {}, 0};
}

} // namespace

class TestTcpClientLink : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void open_joinsTheServer_data();
    void open_joinsTheServer();
    void open_withoutAServer_fails();
    void open_ofAnUnknownHost_fails();
    void bytes_goBothWays();
    void write_beforeTheServerIsReached_isLost();
    void serverThatCloses_isToldOnce();
    void finish_losesNothing_withInputUnread();
    void finish_withoutAServer_isFinished();

private:
    std::unique_ptr<TcpClientLink> join();

    std::unique_ptr<QTcpServer> server;
    QTcpSocket *peer = nullptr; // the server's
};

void TestTcpClientLink::init()
{
    server = std::make_unique<QTcpServer>();
    QVERIFY(server->listen(QHostAddress::LocalHost));
}

std::unique_ptr<TcpClientLink> TestTcpClientLink::join()
{
    auto link = std::make_unique<TcpClientLink>(addressOf(*server, QStringLiteral("127.0.0.1")));
    QSignalSpy joined(link.get(), &Link::clientJoined);
    QSignalSpy accepted(server.get(), &QTcpServer::newConnection);
    QString error;
    if (!link->open(&error) || !joined.wait(patienceMs))
        return nullptr;
    if (accepted.isEmpty() && !accepted.wait(patienceMs))
        return nullptr;
    peer = server->nextPendingConnection();
    return link;
}

void TestTcpClientLink::open_joinsTheServer_data()
{
    QTest::addColumn<QString>("host");
    QTest::newRow("address") << "127.0.0.1";
    QTest::newRow("localhost") << "localhost";
}

void TestTcpClientLink::open_joinsTheServer()
{
    QFETCH(QString, host);
    TcpClientLink link(addressOf(*server, host));
    QSignalSpy joined(&link, &Link::clientJoined);
    QString error;
    QVERIFY(link.open(&error));
    QVERIFY(joined.wait(patienceMs));
    QCOMPARE(joined[0][0].toInt(), 0);
}

void TestTcpClientLink::open_withoutAServer_fails()
{
    TcpClientLink link(addressOf(*server, QStringLiteral("127.0.0.1")));
    server->close();
    QSignalSpy failed(&link, &TcpClientLink::failed);
    QSignalSpy left(&link, &Link::clientLeft);
    QString error;
    QVERIFY(link.open(&error));
    QVERIFY(failed.wait(patienceMs));
    QVERIFY(!failed[0][0].toString().isEmpty());
    QCOMPARE(left.count(), 0);
}

void TestTcpClientLink::open_ofAnUnknownHost_fails()
{
    TcpClientLink link(addressOf(*server, QStringLiteral("no-such-host.invalid")));
    QSignalSpy failed(&link, &TcpClientLink::failed);
    QString error;
    QVERIFY(link.open(&error));
    QVERIFY(failed.wait(patienceMs));
}

void TestTcpClientLink::bytes_goBothWays()
{
    const auto link = join();
    QVERIFY(link);
    QSignalSpy received(link.get(), &Link::received);
    link->write("to the server");
    QTRY_COMPARE_WITH_TIMEOUT(peer->bytesAvailable(), 13, patienceMs);
    QCOMPARE(link->queuedBytes(), qint64(0));
    peer->write("back");
    QVERIFY(received.wait(patienceMs));
    QCOMPARE(received[0][0].toByteArray(), QByteArray("back"));
}

void TestTcpClientLink::write_beforeTheServerIsReached_isLost()
{
    TcpClientLink link(addressOf(*server, QStringLiteral("127.0.0.1")));
    link.write("nobody");
    QCOMPARE(link.queuedBytes(), qint64(0));
}

void TestTcpClientLink::serverThatCloses_isToldOnce()
{
    const auto link = join();
    QVERIFY(link);
    QSignalSpy left(link.get(), &Link::clientLeft);
    QSignalSpy failed(link.get(), &TcpClientLink::failed);
    peer->abort();
    QVERIFY(left.wait(patienceMs));
    QCOMPARE(left.count(), 1);
    QCOMPARE(failed.count(), 0);
}

void TestTcpClientLink::finish_losesNothing_withInputUnread()
{
    const auto link = join();
    QVERIFY(link);
    QSignalSpy finished(link.get(), &Link::finished);
    const QByteArray bytes(1'000'000, 'x');
    QByteArray got;
    connect(peer, &QTcpSocket::readyRead, peer, [&] {
        got += peer->readAll();
        peer->write("chatter");
    });
    link->write(bytes);
    link->finish();
    QTRY_COMPARE_WITH_TIMEOUT(got.size(), bytes.size(), patienceMs);
    QTRY_COMPARE_WITH_TIMEOUT(finished.count(), 1, patienceMs);
}

void TestTcpClientLink::finish_withoutAServer_isFinished()
{
    TcpClientLink link(addressOf(*server, QStringLiteral("127.0.0.1")));
    QSignalSpy finished(&link, &Link::finished);
    link.finish();
    QVERIFY(finished.wait(patienceMs));
}

QTEST_GUILESS_MAIN(TestTcpClientLink)
#include "tst_tcpclientlink.moc"
