// SPDX-License-Identifier: MIT
#include "connection/uartconnection.h"

#include "connection/connectionrecorder.h"
#include "connection/pseudoterminal.h"
#include "support/logcapture.h"

#include <QAbstractEventDispatcher>
#include <QSerialPort>
#include <QtTest>

#include <memory>
#include <optional>

namespace {

QStringList events(std::initializer_list<const char *> texts)
{
    QStringList list;
    for (const char *text : texts)
        list.append(QString::fromLatin1(text));
    return list;
}

} // namespace

/// A device that is unplugged: the master of its pseudo-terminal closes.
class TestUartConnectionLoss : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void lostDevice_isClosedQuietly();
    void lostDevice_leavesTheEventLoopIdle();
    void sendData_toALostDevice_fails();
    void sendData_toADeviceJustLost_failsAndItIsClosed();
    void inputBeforeTheLoss_isDelivered();
    void inputReadWhileHandlingInput_isDeliveredAfterTheLoss();

    void close_afterALoss_saysDisconnectedOnce();
    void close_afterALoss_dropsInput();
    void reconnect_afterALoss_saysDisconnectedThenFails();
    void open_afterALoss_saysDisconnectedThenConnected();
    void destructor_afterALoss_saysDisconnected();
    void secondLoss_isNoticedToo();

    void open_betweenTheErrorAndItsHandling_startsAfresh();
    void close_betweenTheErrorAndItsHandling_saysDisconnectedOnce();
    void reportOfALoss_doesNotCloseAPortOpenedAnew();

private:
    QSerialPort *device() const { return connection->findChild<QSerialPort *>(); }
    void lose();
    void noticeErrorAtOnce();

    std::optional<LogCapture> log;
    std::unique_ptr<PseudoTerminal> terminal;
    std::unique_ptr<PseudoTerminal> spare;
    std::unique_ptr<UartConnection> connection;
    std::unique_ptr<ConnectionRecorder> recorder;
};

void TestUartConnectionLoss::init()
{
    log.emplace();
    terminal = std::make_unique<PseudoTerminal>();
    spare = std::make_unique<PseudoTerminal>();
    connection = std::make_unique<UartConnection>(nullptr, [](const QString &) {
        return SerialPortListing{true, false};
    });
    recorder = std::make_unique<ConnectionRecorder>(connection.get());
    QVERIFY(connection->open(terminal->path(), 57600));
    QCOMPARE(recorder->takeEvents(), events({"connected"}));
}

void TestUartConnectionLoss::cleanup()
{
    connection.reset();
    log.reset();
}

/// Takes the device away and waits until the connection has noticed.
void TestUartConnectionLoss::lose()
{
    terminal->hangUp();
    QTRY_VERIFY(!connection->isOpened());
}

/// Takes the device away and has the error reported from here, not from the event loop.
void TestUartConnectionLoss::noticeErrorAtOnce()
{
    terminal->hangUp();
    int errors = 0;
    const QObject context;
    connect(device(), &QSerialPort::errorOccurred, &context, [&errors] { ++errors; });
    device()->waitForReadyRead(-1);
    QVERIFY(errors > 0);
    QVERIFY(connection->isOpened());
}

void TestUartConnectionLoss::lostDevice_isClosedQuietly()
{
    lose();
    QCoreApplication::processEvents();
    QCOMPARE(recorder->takeEvents(), QStringList());
    QVERIFY(!device()->isOpen());
}

void TestUartConnectionLoss::lostDevice_leavesTheEventLoopIdle()
{
    lose();
    QAbstractEventDispatcher *loop = QAbstractEventDispatcher::instance();
    for (int i = 0; i < 100 && loop->processEvents(QEventLoop::AllEvents); ++i) {
    }
    int errors = 0;
    const QObject context;
    connect(device(), &QSerialPort::errorOccurred, &context, [&errors] { ++errors; });
    for (int i = 0; i < 100; ++i)
        QVERIFY(!loop->processEvents(QEventLoop::AllEvents));
    QCOMPARE(errors, 0);
}

void TestUartConnectionLoss::sendData_toALostDevice_fails()
{
    lose();
    QVERIFY(!recorder->send("abc"));
}

void TestUartConnectionLoss::sendData_toADeviceJustLost_failsAndItIsClosed()
{
    terminal->hangUp();
    QVERIFY(!recorder->send("abc"));
    QTRY_VERIFY(!connection->isOpened());
    QCOMPARE(recorder->takeEvents(), events({"not sent"}));
}

void TestUartConnectionLoss::inputBeforeTheLoss_isDelivered()
{
    terminal->write("abc");
    QTRY_COMPARE(recorder->received, QByteArray("abc"));
    lose();
    QCOMPARE(recorder->takeEvents(), events({"in abc"}));
}

// An event loop turned by the handler reads the input and notices the loss, and delivers nothing.
void TestUartConnectionLoss::inputReadWhileHandlingInput_isDeliveredAfterTheLoss()
{
    recorder->onInput = [this] {
        recorder->onInput = nullptr;
        terminal->write("bc");
        QTRY_COMPARE(device()->bytesAvailable(), 2);
        lose();
        recorder->note(QStringLiteral("handled"));
    };
    terminal->write("a");
    QTRY_COMPARE(recorder->received, QByteArray("abc"));
    QCOMPARE(recorder->takeEvents(), events({"in a", "handled", "in bc"}));
    QCOMPARE(recorder->deliveriesInsideDeliveries, 0);
}

void TestUartConnectionLoss::close_afterALoss_saysDisconnectedOnce()
{
    lose();
    connection->close();
    connection->close();
    QCOMPARE(recorder->takeEvents(), events({"disconnected"}));
}

void TestUartConnectionLoss::close_afterALoss_dropsInput()
{
    recorder->onInput = [this] {
        recorder->onInput = nullptr;
        terminal->write("bc");
        QTRY_COMPARE(device()->bytesAvailable(), 2);
        lose();
        connection->close();
    };
    terminal->write("a");
    QTRY_VERIFY(!recorder->onInput);
    QCoreApplication::processEvents();
    QCOMPARE(recorder->takeEvents(), events({"in a", "disconnected"}));
}

void TestUartConnectionLoss::reconnect_afterALoss_saysDisconnectedThenFails()
{
    lose();
    connection->reconnect();
    QVERIFY(!connection->isOpened());
    QCOMPARE(recorder->takeEvents(), events({"disconnected"}));
    QCOMPARE(log->takeMatching(QStringLiteral("[UART] CRIT: Failed open port, error: ")).count(), 1);
    connection->close();
    QCOMPARE(recorder->takeEvents(), QStringList());
}

void TestUartConnectionLoss::open_afterALoss_saysDisconnectedThenConnected()
{
    lose();
    QVERIFY(connection->open(spare->path(), 57600));
    QCOMPARE(recorder->takeEvents(), events({"disconnected", "connected"}));
    QVERIFY(recorder->send("abc"));
    QCOMPARE(spare->read(3), QByteArray("abc"));
}

void TestUartConnectionLoss::destructor_afterALoss_saysDisconnected()
{
    lose();
    connection.reset();
    QCOMPARE(recorder->takeEvents(), events({"disconnected"}));
}

void TestUartConnectionLoss::secondLoss_isNoticedToo()
{
    lose();
    QVERIFY(connection->open(spare->path(), 57600));
    spare->write("abc");
    QTRY_COMPARE(recorder->received, QByteArray("abc"));
    spare->hangUp();
    QTRY_VERIFY(!connection->isOpened());
    connection->close();
    QCOMPARE(recorder->takeEvents(), events({"disconnected", "connected", "in abc", "disconnected"}));
}

void TestUartConnectionLoss::open_betweenTheErrorAndItsHandling_startsAfresh()
{
    noticeErrorAtOnce();
    QVERIFY(connection->open(spare->path(), 57600));
    QCOMPARE(recorder->takeEvents(), events({"disconnected", "connected"}));
    spare->write("abc");
    QTRY_COMPARE(recorder->received, QByteArray("abc"));
    QVERIFY(connection->isOpened());
}

void TestUartConnectionLoss::close_betweenTheErrorAndItsHandling_saysDisconnectedOnce()
{
    noticeErrorAtOnce();
    connection->close();
    QCoreApplication::processEvents();
    connection->close();
    QCOMPARE(recorder->takeEvents(), events({"disconnected"}));
}

void TestUartConnectionLoss::reportOfALoss_doesNotCloseAPortOpenedAnew()
{
    noticeErrorAtOnce();
    connection->close();
    QVERIFY(connection->open(spare->path(), 57600));
    spare->write("abc");
    QTRY_COMPARE(recorder->received, QByteArray("abc"));
    QVERIFY(connection->isOpened());
    QCOMPARE(recorder->takeEvents(), events({"disconnected", "connected", "in abc"}));
}

QTEST_GUILESS_MAIN(TestUartConnectionLoss)
#include "tst_uartconnectionloss.moc"
