// SPDX-License-Identifier: MIT
#include "connection/tcpconnection.h"

#include "connection/connectionrecorder.h"
#include "connection/loopbackpeer.h"
#include "support/logcapture.h"

#include <QElapsedTimer>
#include <QTcpSocket>
#include <QtTest>

#include <memory>
#include <optional>

namespace {

const QString loopback = QStringLiteral("127.0.0.1");

QStringList refusedPortLine(const QString &argument, int kept)
{
    return {QStringLiteral("[TCP] CRIT: Invalid argument %1 for port number. Default value %2 is used")
                .arg(argument)
                .arg(kept)};
}

} // namespace

class TestTcpConnection : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void freshConnection_isAClosedTcpConnection();

    void open_connects();
    void open_takesAnythingThatConvertsToAPort_data();
    void open_takesAnythingThatConvertsToAPort();
    void open_withTextThatIsNoNumber_triesPortZeroSilently();
    void open_withAnArgumentThatIsNoPort_saysSoAndKeepsThePort_data();
    void open_withAnArgumentThatIsNoPort_saysSoAndKeepsThePort();
    void open_withAnInvalidPortOnAFreshConnection_usesPort23();
    void open_refused_failsSilently();
    void open_whenOpen_closesFirst();
    void open_withoutAnAnswer_failsAfterTheConnectTimeout();

    void reconnect_opensTheSameServerAndComplainsEachTime();
    void reconnect_ofAFreshConnection_goesToLocalhost();

    void setParameter_ignoresCase_data();
    void setParameter_ignoresCase();
    void setParameter_cutsThePortTo16Bits();
    void setParameter_hostNameServesTheNextReconnect();
    void setParameter_unknownName_isIgnoredSilently();

    void sendData_unopened_failsWithoutTouchingTheSocket();
    void sendData_reachesThePeer();
    void sendData_ofNothing_fails();
    void sendData_fromTheHandlerOfConnected_succeeds();
    void sendData_afterThePeerClosed_fails();
    void sendData_toAPeerThatReadsNothing_failsAfterTheWriteTimeout();

    void close_unopened_doesNothing();
    void close_waitsForThePeerThenCloses_data();
    void close_waitsForThePeerThenCloses();
    void close_endsItsWaitWhenThePeerCloses();
    void close_withBytesThatThePeerDoesNotTake_isFinal();
    void destructor_closesAndSaysSo();
    void peerClosing_isAnnouncedOnce();

    void input_isDelivered();
    void input_goesThroughTheVirtualReadData();
    void readData_unopened_emitsNothing();
    void readData_withNothingReceived_emitsAnEmptyArray();

private:
    std::optional<LogCapture> log;
    std::unique_ptr<LoopbackPeer> peer;
    std::unique_ptr<TcpConnection> connection;
    std::unique_ptr<ConnectionRecorder> recorder;
};

void TestTcpConnection::init()
{
    log.emplace();
    peer = std::make_unique<LoopbackPeer>();
    connection = std::make_unique<TcpConnection>(nullptr);
    connection->setParameter(QStringLiteral("disconnecttimeout"), 0);
    recorder = std::make_unique<ConnectionRecorder>(connection.get());
}

void TestTcpConnection::cleanup()
{
    connection.reset();
    log.reset();
}

void TestTcpConnection::freshConnection_isAClosedTcpConnection()
{
    QCOMPARE(connection->type(), 1);
    QCOMPARE(connection->id(), QStringLiteral("TCP"));
    QCOMPARE(connection->prefix(), QString());
    QVERIFY(!connection->isOpened());
    QVERIFY(connection->findChild<QTcpSocket *>());
}

void TestTcpConnection::open_connects()
{
    QVERIFY(connection->open(loopback, peer->port()));
    QVERIFY(connection->isOpened());
    QCOMPARE(recorder->takeEvents(), QStringList{QStringLiteral("connected")});
}

void TestTcpConnection::open_takesAnythingThatConvertsToAPort_data()
{
    QTest::addColumn<QString>("kind");

    for (const char *kind :
         {"int", "unsigned", "short", "digits", "digits as bytes", "fraction", "beyond 16 bits"})
        QTest::newRow(kind) << QString::fromLatin1(kind);
}

void TestTcpConnection::open_takesAnythingThatConvertsToAPort()
{
    QFETCH(QString, kind);

    const int port = peer->port();
    const QHash<QString, QVariant> arguments{
        {QStringLiteral("int"), port},
        {QStringLiteral("unsigned"), uint(port)},
        {QStringLiteral("short"), QVariant::fromValue(quint16(port))},
        {QStringLiteral("digits"), QString::number(port)},
        {QStringLiteral("digits as bytes"), QByteArray::number(port)},
        {QStringLiteral("fraction"), double(port)},
        {QStringLiteral("beyond 16 bits"), port + 3 * 65536},
    };
    QVERIFY(connection->open(loopback, arguments.value(kind)));
    peer->accept();
}

// Text as such can be converted; that this one gives 0 makes it no invalid argument.
void TestTcpConnection::open_withTextThatIsNoNumber_triesPortZeroSilently()
{
    connection->setParameter(QStringLiteral("port"), peer->port());
    QVERIFY(!connection->open(loopback, QStringLiteral("telnet")));
    QCOMPARE(log->take(), QStringList());
    connection->reconnect();
    QCOMPARE(log->take(), refusedPortLine(QStringLiteral("QVariant(Invalid)"), 0));
}

void TestTcpConnection::open_withAnArgumentThatIsNoPort_saysSoAndKeepsThePort_data()
{
    QTest::addColumn<QVariant>("argument");
    QTest::addColumn<QString>("printed");

    QTest::newRow("invalid") << QVariant() << QStringLiteral("QVariant(Invalid)");
    QTest::newRow("map") << QVariant(QVariantMap()) << QStringLiteral("QVariant(QVariantMap, QMap())");
    QTest::newRow("rectangle") << QVariant(QSize(1, 2)) << QStringLiteral("QVariant(QSize, QSize(1, 2))");
}

void TestTcpConnection::open_withAnArgumentThatIsNoPort_saysSoAndKeepsThePort()
{
    QFETCH(QVariant, argument);
    QFETCH(QString, printed);

    connection->setParameter(QStringLiteral("port"), peer->port());
    QVERIFY(connection->open(loopback, argument));
    QCOMPARE(log->take(), refusedPortLine(printed, peer->port()));
    QCOMPARE(log->takenTypes(), QList<QtMsgType>{QtCriticalMsg});
}

// The address is one that refuses at once: nothing depends on who listens to port 23 of this machine.
void TestTcpConnection::open_withAnInvalidPortOnAFreshConnection_usesPort23()
{
    QVERIFY(!connection->open(QStringLiteral("255.255.255.255"), QVariant()));
    QCOMPARE(log->take(),
             QStringList{QStringLiteral("[TCP] CRIT: Invalid argument QVariant(Invalid) for port number. "
                                        "Default value 23 is used")});
}

void TestTcpConnection::open_refused_failsSilently()
{
    const LoopbackPeer refusing(LoopbackPeer::Manner::Refuses);
    QVERIFY(!connection->open(loopback, refusing.port()));
    QVERIFY(!connection->isOpened());
    QCOMPARE(recorder->takeEvents(), QStringList());
}

void TestTcpConnection::open_whenOpen_closesFirst()
{
    LoopbackPeer other;
    QVERIFY(peer->serve(*connection));
    QVERIFY(other.serve(*connection));
    QCOMPARE(recorder->takeEvents(), QStringList({QStringLiteral("connected"), QStringLiteral("disconnected"),
                                                  QStringLiteral("connected")}));
    QVERIFY(peer->atEnd());
    QVERIFY(recorder->send("a"));
    QCOMPARE(other.read(1), QByteArray("a"));
}

// The time-out is longer than the default one, so that having waited for so long proves that it was used.
void TestTcpConnection::open_withoutAnAnswer_failsAfterTheConnectTimeout()
{
    peer->ignoreClients();
    connection->setParameter(QStringLiteral("ConnectTimeout"), 1300);
    QElapsedTimer timer;
    timer.start();
    QVERIFY(!connection->open(loopback, peer->port()));
    QVERIFY(timer.elapsed() >= 1290);
    QCOMPARE(recorder->takeEvents(), QStringList());
}

void TestTcpConnection::reconnect_opensTheSameServerAndComplainsEachTime()
{
    QVERIFY(peer->serve(*connection));
    recorder->takeEvents();
    for (int round = 0; round < 2; ++round) {
        connection->reconnect();
        QCOMPARE(log->take(), refusedPortLine(QStringLiteral("QVariant(Invalid)"), peer->port()));
        QCOMPARE(recorder->takeEvents(),
                 QStringList({QStringLiteral("disconnected"), QStringLiteral("connected")}));
        QVERIFY(peer->atEnd());
        peer->accept();
    }
    QVERIFY(recorder->send("a"));
    QCOMPARE(peer->read(1), QByteArray("a"));
}

void TestTcpConnection::reconnect_ofAFreshConnection_goesToLocalhost()
{
    connection->setParameter(QStringLiteral("port"), peer->port());
    connection->reconnect();
    // Not whether it gets there: a system without a hosts file does not know the name.
    QCOMPARE(connection->findChild<QTcpSocket *>()->peerName(), QStringLiteral("localhost"));
    QCOMPARE(log->take(), refusedPortLine(QStringLiteral("QVariant(Invalid)"), peer->port()));
}

void TestTcpConnection::setParameter_ignoresCase_data()
{
    QTest::addColumn<QString>("name");

    QTest::newRow("small") << QStringLiteral("port");
    QTest::newRow("capitals") << QStringLiteral("PORT");
    QTest::newRow("mixed") << QStringLiteral("Port");
}

void TestTcpConnection::setParameter_ignoresCase()
{
    QFETCH(QString, name);

    connection->setParameter(name, QString::number(peer->port()));
    QVERIFY(connection->open(loopback, QVariant()));
    peer->accept();
    QCOMPARE(log->take(), refusedPortLine(QStringLiteral("QVariant(Invalid)"), peer->port()));
}

void TestTcpConnection::setParameter_cutsThePortTo16Bits()
{
    connection->setParameter(QStringLiteral("port"), 65536 + peer->port());
    QVERIFY(connection->open(loopback, QVariant()));
    QCOMPARE(log->take(), refusedPortLine(QStringLiteral("QVariant(Invalid)"), peer->port()));
}

void TestTcpConnection::setParameter_hostNameServesTheNextReconnect()
{
    QVERIFY(!connection->open(QStringLiteral("255.255.255.255"), peer->port()));
    connection->setParameter(QStringLiteral("HOSTNAME"), loopback);
    QVERIFY(!connection->isOpened());
    connection->reconnect();
    QVERIFY(connection->isOpened());
    QCOMPARE(log->take(), refusedPortLine(QStringLiteral("QVariant(Invalid)"), peer->port()));
}

void TestTcpConnection::setParameter_unknownName_isIgnoredSilently()
{
    QVERIFY(peer->serve(*connection));
    connection->setParameter(QStringLiteral("ports"), 1);
    connection->setParameter(QString(), 1);
    connection->setParameter(QStringLiteral("baudrate"), 1);
    connection->reconnect();
    QVERIFY(connection->isOpened());
    QCOMPARE(log->take(), refusedPortLine(QStringLiteral("QVariant(Invalid)"), peer->port()));
}

void TestTcpConnection::sendData_unopened_failsWithoutTouchingTheSocket()
{
    const auto *socket = connection->findChild<QTcpSocket *>();
    QVERIFY(!connection->sendData("abc", 3));
    QCOMPARE(socket->error(), QAbstractSocket::UnknownSocketError);
    QCOMPARE(socket->bytesToWrite(), 0);
}

void TestTcpConnection::sendData_reachesThePeer()
{
    QVERIFY(peer->serve(*connection));
    const QByteArray bytes = QByteArray::fromHex("00ff0a0d1103fd");
    QVERIFY(connection->sendData(bytes.constData(), bytes.size()));
    QCOMPARE(peer->read(bytes.size()), bytes);
}

void TestTcpConnection::sendData_ofNothing_fails()
{
    QVERIFY(peer->serve(*connection));
    QVERIFY(!connection->sendData("abc", 0));
    QVERIFY(connection->isOpened());
}

void TestTcpConnection::sendData_fromTheHandlerOfConnected_succeeds()
{
    bool sent = false;
    connect(connection.get(), &IConnection::connected, this, [&] { sent = recorder->send("hello"); });
    QVERIFY(peer->serve(*connection));
    QVERIFY(sent);
    QCOMPARE(peer->read(5), QByteArray("hello"));
}

void TestTcpConnection::sendData_afterThePeerClosed_fails()
{
    QVERIFY(peer->serve(*connection));
    peer->close();
    QTRY_VERIFY(!connection->isOpened());
    QVERIFY(!connection->sendData("abc", 3));
}

void TestTcpConnection::sendData_toAPeerThatReadsNothing_failsAfterTheWriteTimeout()
{
    QVERIFY(peer->serve(*connection));
    connection->setParameter(QStringLiteral("WRITETIMEOUT"), 800);
    const QByteArray block(4 * 1024 * 1024, 'x');
    QElapsedTimer timer;
    bool sent = true;
    for (int i = 0; sent && i < 64; ++i) {
        timer.start();
        sent = connection->sendData(block.constData(), block.size());
    }
    QVERIFY(!sent);
    QVERIFY(timer.elapsed() >= 790);
    QVERIFY(connection->isOpened());
}

void TestTcpConnection::close_unopened_doesNothing()
{
    connection->setParameter(QStringLiteral("disconnecttimeout"), -1); // a wait would never end
    connection->close();
    connection->close();
    QVERIFY(!connection->isOpened());
    QCOMPARE(recorder->takeEvents(), QStringList());
}

void TestTcpConnection::close_waitsForThePeerThenCloses_data()
{
    QTest::addColumn<int>("timeoutMs");

    QTest::newRow("default") << 1000;
    QTest::newRow("set") << 1300;
}

void TestTcpConnection::close_waitsForThePeerThenCloses()
{
    QFETCH(int, timeoutMs);

    TcpConnection fresh;
    QSignalSpy disconnected(&fresh, &IConnection::disconnected);
    QVERIFY(fresh.open(loopback, peer->port()));
    peer->accept();
    if (timeoutMs != 1000)
        fresh.setParameter(QStringLiteral("DisconnectTimeout"), timeoutMs);
    QElapsedTimer timer;
    timer.start();
    fresh.close();
    QVERIFY(timer.elapsed() >= timeoutMs - 10);
    QVERIFY(!fresh.isOpened());
    QCOMPARE(disconnected.count(), 1);
    QVERIFY(peer->atEnd());
}

void TestTcpConnection::close_endsItsWaitWhenThePeerCloses()
{
    QVERIFY(peer->serve(*connection));
    recorder->takeEvents();
    peer->close();
    connection->setParameter(QStringLiteral("disconnecttimeout"), -1); // the wait ends with the peer or never
    connection->close();
    QVERIFY(!connection->isOpened());
    QCOMPARE(recorder->takeEvents(), QStringList{QStringLiteral("disconnected")});
}

void TestTcpConnection::close_withBytesThatThePeerDoesNotTake_isFinal()
{
    connection->setParameter(QStringLiteral("writetimeout"), 50);
    QVERIFY(peer->serve(*connection));
    const QByteArray block(4 * 1024 * 1024, 'x');
    while (connection->sendData(block.constData(), block.size()))
        continue;
    recorder->takeEvents();
    connection->close();
    QVERIFY(!connection->isOpened());
    QCOMPARE(recorder->takeEvents(), QStringList{QStringLiteral("disconnected")});
    QVERIFY(peer->serve(*connection)); // opens
    QVERIFY(connection->sendData("abc", 3));
    QCOMPARE(peer->read(3), QByteArray("abc"));
}

void TestTcpConnection::destructor_closesAndSaysSo()
{
    QVERIFY(peer->serve(*connection));
    recorder->takeEvents();
    connection.reset();
    QCOMPARE(recorder->takeEvents(), QStringList{QStringLiteral("disconnected")});
    QVERIFY(peer->atEnd());
}

void TestTcpConnection::peerClosing_isAnnouncedOnce()
{
    QVERIFY(peer->serve(*connection));
    recorder->takeEvents();
    peer->close();
    QTRY_VERIFY(!connection->isOpened());
    connection->close();
    QCOMPARE(recorder->takeEvents(), QStringList{QStringLiteral("disconnected")});
}

void TestTcpConnection::input_isDelivered()
{
    QVERIFY(peer->serve(*connection));
    const QByteArray bytes = QByteArray::fromHex("00ff0a0d1103fd");
    peer->write(bytes);
    QTRY_COMPARE(recorder->received, bytes);
}

void TestTcpConnection::input_goesThroughTheVirtualReadData()
{
    class Counting : public TcpConnection
    {
    public:
        using TcpConnection::TcpConnection;
        void readData() override { ++reads; }
        int reads = 0;
    } counting;
    QSignalSpy delivered(&counting, &IConnection::dataReceived);
    QVERIFY(peer->serve(counting));
    peer->write("abc");
    QTRY_VERIFY(counting.reads > 0);
    QCOMPARE(delivered.count(), 0);
    counting.TcpConnection::readData();
    QCOMPARE(delivered.count(), 1);
    QCOMPARE(delivered.first().first().toByteArray(), QByteArray("abc"));
}

void TestTcpConnection::readData_unopened_emitsNothing()
{
    connection->readData();
    QCOMPARE(recorder->takeEvents(), QStringList());
}

void TestTcpConnection::readData_withNothingReceived_emitsAnEmptyArray()
{
    QVERIFY(peer->serve(*connection));
    recorder->takeEvents();
    connection->readData();
    QCOMPARE(recorder->takeEvents(), QStringList{QStringLiteral("in ")});
}

QTEST_GUILESS_MAIN(TestTcpConnection)
#include "tst_tcpconnection.moc"
