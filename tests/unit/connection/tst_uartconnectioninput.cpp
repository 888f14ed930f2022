// SPDX-License-Identifier: MIT
#include "connection/uartconnection.h"

#include "connection/connectionrecorder.h"
#include "connection/pseudoterminal.h"
#include "support/logcapture.h"

#include <QPointer>
#include <QSerialPort>
#include <QtTest>

#include <memory>
#include <optional>

/// Input that comes in during a send, while input is being handled, and around closing.
class TestUartConnectionInput : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void inputWaitingAtASend_isDeliveredAfterIt();
    void handlerThatSends_isServedInOrder();
    void handlerThatReads_isNotEnteredAgain();
    void inputReadByAnEventLoopOfAHandler_isDelivered();
    void longStreamUnderInterleavedSends_keepsItsOrder();

    void close_insideAHandler_dropsWhatCameMeanwhile();
    void openElsewhere_insideAHandler_startsAfresh();
    void reconnect_insideAHandler_startsAfresh();
    void deleteLater_insideAHandler_isSafe();

private:
    void startHandling(const std::function<void()> &handler);
    void announce(const QByteArray &bytes);
    void read(const QByteArray &bytes);

    std::optional<LogCapture> log;
    std::unique_ptr<PseudoTerminal> terminal;
    std::unique_ptr<UartConnection> connection;
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

} // namespace

void TestUartConnectionInput::init()
{
    log.emplace();
    terminal = std::make_unique<PseudoTerminal>();
    connection = std::make_unique<UartConnection>(nullptr, [](const QString &) {
        return SerialPortListing{true, false};
    });
    QVERIFY(connection->open(terminal->path(), 57600));
    recorder = std::make_unique<ConnectionRecorder>(connection.get());
}

void TestUartConnectionInput::cleanup()
{
    if (!QTest::currentTestFailed()) {
        QCOMPARE(recorder->deliveriesInsideSends, 0);
        QCOMPARE(recorder->deliveriesInsideDeliveries, 0);
    }
    connection.reset();
    log.reset();
}

/// Has the device send "a", and runs the handler when it is delivered, once.
void TestUartConnectionInput::startHandling(const std::function<void()> &handler)
{
    recorder->onInput = [this, handler] {
        recorder->onInput = nullptr;
        handler();
        recorder->note(QStringLiteral("handled"));
    };
    terminal->write("a");
    QTRY_VERIFY(!recorder->onInput);
}

/// Has the device send bytes that are certain to wait for the connection's next look at it.
void TestUartConnectionInput::announce(const QByteArray &bytes)
{
    terminal->write(bytes);
    terminal->waitForBytes(bytes.size());
}

/// Has the device send bytes, and turns the event loop until the serial port has read them.
void TestUartConnectionInput::read(const QByteArray &bytes)
{
    const auto *device = connection->findChild<QSerialPort *>();
    terminal->write(bytes);
    QTRY_COMPARE(device->bytesAvailable(), bytes.size());
}

void TestUartConnectionInput::inputWaitingAtASend_isDeliveredAfterIt()
{
    announce("abc");
    QVERIFY(recorder->send("x"));
    QCOMPARE(recorder->takeEvents(), events({"sent"}));
    QTRY_COMPARE(recorder->received, QByteArray("abc"));
}

void TestUartConnectionInput::handlerThatSends_isServedInOrder()
{
    startHandling([this] {
        for (const char *piece : {"bc", "d", "ef"}) {
            read(piece);
            QVERIFY(recorder->send("x"));
        }
    });
    QTRY_COMPARE(recorder->received, QByteArray("abcdef"));
    QCOMPARE(recorder->takeEvents(), events({"in a", "sent", "sent", "sent", "handled", "in bcdef"}));
    QCOMPARE(terminal->read(3), QByteArray("xxx"));
}

void TestUartConnectionInput::handlerThatReads_isNotEnteredAgain()
{
    startHandling([this] {
        read("bc");
        connection->readData();
    });
    QTRY_COMPARE(recorder->received, QByteArray("abc"));
    QCOMPARE(recorder->takeEvents(), events({"in a", "handled", "in bc"}));
}

void TestUartConnectionInput::inputReadByAnEventLoopOfAHandler_isDelivered()
{
    startHandling([this] { read("bc"); });
    QTRY_COMPARE(recorder->received, QByteArray("abc"));
    QCOMPARE(recorder->takeEvents(), events({"in a", "handled", "in bc"}));
}

void TestUartConnectionInput::longStreamUnderInterleavedSends_keepsItsOrder()
{
    QByteArray stream;
    QByteArray sent;
    recorder->onInput = [this, &sent] {
        sent += "<answer>";
        QVERIFY(recorder->send("<answer>"));
    };
    for (int i = 0; stream.size() < 150000; ++i) {
        const QByteArray piece = QByteArray::number(i, 36).rightJustified(1 + (i * 37) % 300, '.');
        terminal->write(piece);
        stream += piece;
        const QByteArray number = QByteArray::number(i) + ';';
        sent += number;
        QVERIFY(recorder->send(number));
        if (i % 3 == 0)
            QTRY_COMPARE(recorder->received.size(), stream.size());
        if (i % 30 == 0) {
            QCOMPARE(terminal->read(sent.size()), sent);
            sent.clear();
        }
    }
    QTRY_COMPARE(recorder->received.size(), stream.size());
    QVERIFY(recorder->received == stream);
    QCOMPARE(terminal->read(sent.size()), sent);
}

void TestUartConnectionInput::close_insideAHandler_dropsWhatCameMeanwhile()
{
    startHandling([this] {
        read("bc");
        QVERIFY(recorder->send("x"));
        read("de");
        connection->close();
    });
    QCoreApplication::processEvents();
    QCOMPARE(recorder->takeEvents(), events({"in a", "sent", "disconnected", "handled"}));
    QVERIFY(!connection->isOpened());
}

void TestUartConnectionInput::openElsewhere_insideAHandler_startsAfresh()
{
    PseudoTerminal other;
    startHandling([this, &other] {
        read("bc");
        QVERIFY(recorder->send("x"));
        connection->close();
        QVERIFY(connection->open(other.path(), 57600));
    });
    for (const char *piece : {"12", "34"}) {
        other.write(piece);
        QTRY_VERIFY(recorder->received.endsWith(piece));
    }
    QCOMPARE(recorder->received, QByteArray("a1234"));
    QVERIFY(recorder->send("y"));
    QCOMPARE(other.read(1), QByteArray("y"));
    connection->close();
}

void TestUartConnectionInput::reconnect_insideAHandler_startsAfresh()
{
    startHandling([this] {
        read("bc");
        QVERIFY(recorder->send("x"));
        connection->reconnect();
    });
    for (const char *piece : {"12", "34"}) {
        terminal->write(piece);
        QTRY_VERIFY(recorder->received.endsWith(piece));
    }
    QCOMPARE(recorder->received, QByteArray("a1234"));
}

void TestUartConnectionInput::deleteLater_insideAHandler_isSafe()
{
    const QPointer<UartConnection> guard = connection.get();
    startHandling([this] {
        read("bc");
        QVERIFY(recorder->send("x"));
        connection.release()->deleteLater();
    });
    QTRY_VERIFY(!guard);
    QCOMPARE(recorder->takeEvents().last(), QStringLiteral("disconnected"));
}

QTEST_GUILESS_MAIN(TestUartConnectionInput)
#include "tst_uartconnectioninput.moc"
