// SPDX-License-Identifier: MIT
#include "connection/tcpconnection.h"

#include "connection/connectionrecorder.h"
#include "connection/loopbackpeer.h"
#include "support/logcapture.h"

#include <QTcpSocket>
#include <QtTest>

#include <future>
#include <memory>
#include <optional>

/// Long streams both ways at once: every byte arrives, once and in order, and never inside a send.
class TestTcpConnectionStream : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void longStreamUnderInterleavedSends_keepsItsOrder();
    void peerThatAnswersEveryByte_isHeardInOrder();
    void largeBlocksAgainstAStream_loseNothingEitherWay();

private:
    void send(const QByteArray &bytes);

    std::optional<LogCapture> log;
    std::unique_ptr<LoopbackPeer> peer;
    std::unique_ptr<TcpConnection> connection;
    std::unique_ptr<ConnectionRecorder> recorder;
    QByteArray sent;
    int failedSends = 0;
};

namespace {

constexpr int patienceMs = 60000;

/// Bytes of which no two stretches look alike.
QByteArray sequence(int count)
{
    QByteArray bytes;
    bytes.reserve(count + 8);
    for (int i = 0; bytes.size() < count; ++i)
        bytes += QByteArray::number(i, 36) + ' ';
    bytes.truncate(count);
    return bytes;
}

QByteArray readToTheEnd(LoopbackPeer &peer)
{
    constexpr int stretch = 1 << 20;
    QByteArray all;
    for (QByteArray part = peer.read(stretch); !part.isEmpty(); part = peer.read(stretch))
        all += part;
    return all;
}

} // namespace

void TestTcpConnectionStream::init()
{
    log.emplace();
    peer = std::make_unique<LoopbackPeer>();
    connection = std::make_unique<TcpConnection>();
    connection->setParameter(QStringLiteral("writetimeout"), patienceMs);
    QVERIFY(peer->serve(*connection));
    recorder = std::make_unique<ConnectionRecorder>(connection.get());
    sent.clear();
    failedSends = 0;
}

void TestTcpConnectionStream::cleanup()
{
    if (!QTest::currentTestFailed()) {
        QCOMPARE(recorder->deliveriesInsideSends, 0);
        QCOMPARE(recorder->deliveriesInsideDeliveries, 0);
        QCOMPARE(failedSends, 0);
    }
    connection.reset();
    log.reset();
}

void TestTcpConnectionStream::send(const QByteArray &bytes)
{
    sent += bytes;
    if (!recorder->send(bytes))
        ++failedSends;
}

void TestTcpConnectionStream::longStreamUnderInterleavedSends_keepsItsOrder()
{
    const QByteArray stream = sequence(300000);
    recorder->onInput = [this] { send("<answer>"); };
    int written = 0;
    for (int i = 0; written < stream.size(); ++i) {
        const QByteArray piece = stream.mid(written, 1 + (i * 37) % 300);
        peer->write(piece);
        written += piece.size();
        if (i % 3 == 0)
            waitForBytes(*connection, 1);
        send(QByteArray::number(i) + ';');
        if (i % 7 == 0)
            QCoreApplication::processEvents();
    }
    QTRY_COMPARE_WITH_TIMEOUT(recorder->received.size(), stream.size(), patienceMs);
    QVERIFY(recorder->received == stream);
    QVERIFY(peer->read(sent.size()) == sent);
}

void TestTcpConnectionStream::peerThatAnswersEveryByte_isHeardInOrder()
{
    const QByteArray stream = sequence(5000);
    const std::future<void> answering = std::async(std::launch::async, [this, count = stream.size()] {
        for (int i = 0; i < count; ++i)
            peer->write(peer->read(1));
    });
    for (int i = 0; i < stream.size(); ++i) {
        send(stream.mid(i, 1));
        if (i % 50 == 0)
            QCoreApplication::processEvents();
    }
    QTRY_COMPARE_WITH_TIMEOUT(recorder->received.size(), stream.size(), patienceMs);
    QVERIFY(recorder->received == stream);
}

void TestTcpConnectionStream::largeBlocksAgainstAStream_loseNothingEitherWay()
{
    const QByteArray stream = sequence(4 * 1024 * 1024);
    const QByteArray block = sequence(3 * 1024 * 1024);
    recorder->onInput = [this] { send("<answer>"); };
    std::future<QByteArray> arrived = std::async(std::launch::async, [this] { return readToTheEnd(*peer); });
    const std::future<void> writing =
        std::async(std::launch::async, [this, &stream] { peer->write(stream); });
    for (int i = 0; i < 6; ++i) {
        send(block);
        QCoreApplication::processEvents();
    }
    QTRY_COMPARE_WITH_TIMEOUT(recorder->received.size(), stream.size(), patienceMs);
    QVERIFY(recorder->received == stream);
    const auto *socket = connection->findChild<QTcpSocket *>();
    QTRY_COMPARE_WITH_TIMEOUT(socket->bytesToWrite(), 0, patienceMs);
    connection->close();
    QVERIFY(arrived.get() == sent);
}

QTEST_GUILESS_MAIN(TestTcpConnectionStream)
#include "tst_tcpconnectionstream.moc"
