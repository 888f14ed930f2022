// SPDX-License-Identifier: MIT
#include "connection/tcpconnection.h"

#include "connection/connectionrecorder.h"
#include "connection/loopbackpeer.h"
#include "support/logcapture.h"

#include <QPointer>
#include <QtTest>

#include <memory>
#include <optional>

/// Input that comes in at awkward moments: during a send, while input is being handled, around closing.
class TestTcpConnectionInput : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void inputWaitingAtASend_isDeliveredAfterIt();
    void inputAroundSeveralSends_isDeliveredInOrder();
    void inputOfASend_isDeliveredThoughThePeerClosed_data();
    void inputOfASend_isDeliveredThoughThePeerClosed();

    void handlerThatSends_sendsAndIsServedInOrder();
    void handlerInsideASend_isNotEntered();
    void handlerThatReads_isNotEnteredAgain();
    void inputDuringAHandler_isDeliveredWithoutFurtherInput();
    void inputDuringASendOfAHandler_isDeliveredThoughThePeerClosed_data();
    void inputDuringASendOfAHandler_isDeliveredThoughThePeerClosed();
    void inputReadByAnEventLoopOfAHandler_isDelivered();

    void close_dropsWhatASendHeldBack();
    void close_dropsWhatASendHeldBack_thoughThePeerClosed();
    void close_insideAHandler_dropsWhatCameMeanwhile_data();
    void close_insideAHandler_dropsWhatCameMeanwhile();
    void close_insideAHandler_dropsWhatItsEventLoopRead();

    void openElsewhere_insideAHandler_startsAfresh();
    void reconnect_insideAHandler_startsAfresh();
    void open_queuedFromDisconnected_losesNothingReceived_data();
    void open_queuedFromDisconnected_losesNothingReceived();
    void deleteLater_insideAHandler_isSafe();
    void destruction_dropsWhatASendHeldBack();

private:
    void startHandling(const std::function<void()> &handler);
    void announce(const QByteArray &bytes);
    void leave();

    std::optional<LogCapture> log;
    std::unique_ptr<LoopbackPeer> peer;
    std::unique_ptr<TcpConnection> connection;
    std::unique_ptr<ConnectionRecorder> recorder;
};

namespace {

QStringList events(std::initializer_list<const char *> texts)
{
    QStringList list;
    for (const char *text : texts)
        list.append(QString::fromLatin1(text));
    return list;
}

void turnEventLoop()
{
    for (int i = 0; i < 20; ++i)
        QCoreApplication::processEvents();
}

void closingColumns()
{
    QTest::addColumn<bool>("reset");

    QTest::newRow("in order") << false;
    QTest::newRow("with a reset") << true;
}

} // namespace

void TestTcpConnectionInput::init()
{
    log.emplace();
    peer = std::make_unique<LoopbackPeer>();
    connection = std::make_unique<TcpConnection>();
    QVERIFY(peer->serve(*connection));
    recorder = std::make_unique<ConnectionRecorder>(connection.get());
}

void TestTcpConnectionInput::cleanup()
{
    if (!QTest::currentTestFailed()) {
        QCOMPARE(recorder->deliveriesInsideSends, 0);
        QCOMPARE(recorder->deliveriesInsideDeliveries, 0);
    }
    connection.reset();
    log.reset();
}

/// Has the peer write "a", and runs the handler when it is delivered, once.
void TestTcpConnectionInput::startHandling(const std::function<void()> &handler)
{
    recorder->onInput = [this, handler] {
        recorder->onInput = nullptr;
        handler();
        recorder->note(QStringLiteral("handled"));
    };
    peer->write("a");
    QTRY_VERIFY(!recorder->onInput);
}

/// Writes bytes that are certain to wait for the connection's next look at its socket.
void TestTcpConnectionInput::announce(const QByteArray &bytes)
{
    peer->write(bytes);
    waitForBytes(*connection, bytes.size());
}

/// Has the peer close as the column "reset" says.
void TestTcpConnectionInput::leave()
{
    QFETCH(bool, reset);

    if (reset)
        peer->reset();
    else
        peer->close();
    waitForHangup(*connection);
}

void TestTcpConnectionInput::inputWaitingAtASend_isDeliveredAfterIt()
{
    announce("abc");
    QVERIFY(recorder->send("x"));
    QCOMPARE(recorder->takeEvents(), events({"sent"}));
    turnEventLoop();
    QCOMPARE(recorder->takeEvents(), events({"in abc"}));
}

void TestTcpConnectionInput::inputAroundSeveralSends_isDeliveredInOrder()
{
    for (const char *piece : {"ab", "c", "def"}) {
        announce(piece);
        QVERIFY(recorder->send("x"));
    }
    announce("gh");
    turnEventLoop();
    QCOMPARE(recorder->received, QByteArray("abcdefgh"));
    QCOMPARE(peer->read(3), QByteArray("xxx"));
}

void TestTcpConnectionInput::inputOfASend_isDeliveredThoughThePeerClosed_data()
{
    closingColumns();
}

void TestTcpConnectionInput::inputOfASend_isDeliveredThoughThePeerClosed()
{
    announce("abc");
    leave();
    recorder->send("x");
    recorder->send("y");
    QVERIFY(!connection->isOpened());
    QCOMPARE(recorder->received, QByteArray());
    turnEventLoop();
    QCOMPARE(recorder->received, QByteArray("abc"));
    QCOMPARE(recorder->takeEvents().count(QStringLiteral("disconnected")), 1);
}

void TestTcpConnectionInput::handlerThatSends_sendsAndIsServedInOrder()
{
    startHandling([this] {
        for (const char *piece : {"bc", "d", "ef"}) {
            announce(piece);
            QVERIFY(recorder->send("x"));
        }
    });
    turnEventLoop();
    QCOMPARE(recorder->takeEvents(), events({"in a", "sent", "sent", "sent", "handled", "in bcdef"}));
    QCOMPARE(peer->read(3), QByteArray("xxx"));
}

// Entered there, its own send would write the bytes that the outer send waits for, and that wait would fail.
void TestTcpConnectionInput::handlerInsideASend_isNotEntered()
{
    recorder->onInput = [this] {
        QVERIFY(recorder->send("answer"));
        recorder->note(QStringLiteral("handled"));
    };
    announce("a");
    QVERIFY(recorder->send("x"));
    QCOMPARE(recorder->takeEvents(), events({"sent"}));
    turnEventLoop();
    QCOMPARE(recorder->takeEvents(), events({"in a", "sent", "handled"}));
    QCOMPARE(peer->read(7), QByteArray("xanswer"));
}

void TestTcpConnectionInput::handlerThatReads_isNotEnteredAgain()
{
    startHandling([this] {
        announce("bc");
        QVERIFY(recorder->send("x"));
        connection->readData();
    });
    turnEventLoop();
    QCOMPARE(recorder->takeEvents(), events({"in a", "sent", "handled", "in bc"}));
}

void TestTcpConnectionInput::inputDuringAHandler_isDeliveredWithoutFurtherInput()
{
    startHandling([this] { announce("bc"); });
    QTRY_COMPARE(recorder->received, QByteArray("abc"));
}

void TestTcpConnectionInput::inputDuringASendOfAHandler_isDeliveredThoughThePeerClosed_data()
{
    closingColumns();
}

void TestTcpConnectionInput::inputDuringASendOfAHandler_isDeliveredThoughThePeerClosed()
{
    startHandling([this] {
        announce("bc");
        leave();
        recorder->send("x");
        recorder->send("y");
        QVERIFY(!connection->isOpened());
    });
    turnEventLoop();
    QCOMPARE(recorder->received, QByteArray("abc"));
    QCOMPARE(recorder->takeEvents().count(QStringLiteral("disconnected")), 1);
}

void TestTcpConnectionInput::inputReadByAnEventLoopOfAHandler_isDelivered()
{
    startHandling([this] {
        announce("bc");
        turnEventLoop();
    });
    turnEventLoop();
    QCOMPARE(recorder->takeEvents(), events({"in a", "handled", "in bc"}));
}

void TestTcpConnectionInput::close_dropsWhatASendHeldBack()
{
    announce("abc");
    QVERIFY(recorder->send("x"));
    connection->close();
    turnEventLoop();
    QCOMPARE(recorder->takeEvents(), events({"sent", "disconnected"}));
}

void TestTcpConnectionInput::close_dropsWhatASendHeldBack_thoughThePeerClosed()
{
    announce("abc");
    peer->close();
    waitForHangup(*connection);
    recorder->send("x");
    recorder->send("y");
    QVERIFY(!connection->isOpened());
    connection->close();
    turnEventLoop();
    QCOMPARE(recorder->received, QByteArray());
}

void TestTcpConnectionInput::close_insideAHandler_dropsWhatCameMeanwhile_data()
{
    QTest::addColumn<bool>("peerCloses");

    QTest::newRow("peer stays") << false;
    QTest::newRow("peer closes") << true;
}

void TestTcpConnectionInput::close_insideAHandler_dropsWhatCameMeanwhile()
{
    QFETCH(bool, peerCloses);

    startHandling([this, peerCloses] {
        announce("bc");
        QVERIFY(recorder->send("x"));
        announce("de");
        if (peerCloses)
            peer->close();
        connection->close();
    });
    turnEventLoop();
    QCOMPARE(recorder->takeEvents(), events({"in a", "sent", "disconnected", "handled"}));
    QVERIFY(!connection->isOpened());
}

void TestTcpConnectionInput::close_insideAHandler_dropsWhatItsEventLoopRead()
{
    startHandling([this] {
        announce("bc");
        turnEventLoop();
        connection->close();
    });
    turnEventLoop();
    QCOMPARE(recorder->takeEvents(), events({"in a", "disconnected", "handled"}));
}

void TestTcpConnectionInput::openElsewhere_insideAHandler_startsAfresh()
{
    LoopbackPeer other;
    startHandling([this, &other] {
        announce("bc");
        QVERIFY(recorder->send("x"));
        QVERIFY(other.serve(*connection));
    });
    for (const char *piece : {"12", "34"}) {
        other.write(piece);
        QTRY_VERIFY(recorder->received.endsWith(piece));
    }
    QCOMPARE(recorder->received, QByteArray("a1234"));
    QVERIFY(recorder->send("y"));
    QCOMPARE(other.read(1), QByteArray("y"));
}

void TestTcpConnectionInput::reconnect_insideAHandler_startsAfresh()
{
    startHandling([this] {
        announce("bc");
        QVERIFY(recorder->send("x"));
        connection->reconnect();
    });
    QCOMPARE(log->takeMatching(QStringLiteral("Invalid argument")).count(), 1);
    peer->accept();
    for (const char *piece : {"12", "34"}) {
        peer->write(piece);
        QTRY_VERIFY(recorder->received.endsWith(piece));
    }
    QCOMPARE(recorder->received, QByteArray("a1234"));
}

void TestTcpConnectionInput::open_queuedFromDisconnected_losesNothingReceived_data()
{
    closingColumns();
}

void TestTcpConnectionInput::open_queuedFromDisconnected_losesNothingReceived()
{
    LoopbackPeer other;
    const QObject context; // gone before the server is
    const auto openElsewhere = [this, &other] {
        if (connection->open(QStringLiteral("127.0.0.1"), other.port()))
            other.accept();
    };
    connect(connection.get(), &IConnection::disconnected, &context, openElsewhere, Qt::QueuedConnection);
    startHandling([this] {
        announce("bc");
        leave();
        recorder->send("x");
        recorder->send("y");
    });
    QTRY_VERIFY(connection->isOpened());
    other.write("12");
    QTRY_COMPARE(recorder->received, QByteArray("abc12"));
}

void TestTcpConnectionInput::deleteLater_insideAHandler_isSafe()
{
    const QPointer<TcpConnection> guard = connection.get();
    startHandling([this] {
        announce("bc");
        QVERIFY(recorder->send("x"));
        connection.release()->deleteLater();
    });
    QTRY_VERIFY(!guard);
    QCOMPARE(recorder->takeEvents().last(), QStringLiteral("disconnected"));
    QVERIFY(peer->read(1) == "x" && peer->atEnd());
}

void TestTcpConnectionInput::destruction_dropsWhatASendHeldBack()
{
    announce("abc");
    QVERIFY(recorder->send("x"));
    connection.reset();
    turnEventLoop();
    QCOMPARE(recorder->takeEvents(), events({"sent", "disconnected"}));
}

QTEST_GUILESS_MAIN(TestTcpConnectionInput)
#include "tst_tcpconnectioninput.moc"
