// SPDX-License-Identifier: MIT
#include "connection/uartconnection.h"

#include "connection/connectionrecorder.h"
#include "connection/pseudoterminal.h"
#include "support/logcapture.h"

#include <QSerialPort>
#include <QTemporaryDir>
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

QString unlistedLine(const QString &name)
{
    return QStringLiteral("[UART] WARN: Port \"%1\" not found in serial ports list").arg(name);
}

QString busyLine(const QString &name)
{
    return QStringLiteral("[UART] CRIT: Port \"%1\" is busy").arg(name);
}

} // namespace

class TestUartConnection : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void freshConnection_isAClosedUartConnection();

    void open_ofAListedPort_isSilent();
    void open_ofAnUnlistedPort_warnsAndOpens_data();
    void open_ofAnUnlistedPort_warnsAndOpens();
    void open_looksThePortUpWithoutItsFolder();
    void open_ofALockedPort_isRefused();
    void open_ofAnotherLockedPortWhileOpen_isRefused();
    void open_ofWhatIsNoPort_saysWhy_data();
    void open_ofWhatIsNoPort_saysWhy();
    void open_withABaudRateThatIsNone_saysWhy();
    void open_afterAFailedOne_works();

    void openAgain_appliesTheSettingsAndSaysConnected();
    void openAgain_underOurOwnLock_isNotBusy();
    void openAgain_afterClosingUnderAForeignLock_isBusy();

    void open_appliesTheLineSettings_data();
    void open_appliesTheLineSettings();
    void setParameter_baudRate_actsAtOnceUntilTheNextOpen_data();
    void setParameter_baudRate_actsAtOnceUntilTheNextOpen();
    void setParameter_port_renamesTheDeviceUntilTheNextOpen();
    void setParameter_badBaudRate_leavesThePortOpen();
    void setParameter_unknownName_isIgnoredSilently();

    void close_whenClosed_emitsNothing();
    void close_whenOpen_saysDisconnectedOnce();
    void reconnect_whenOpen_saysDisconnectedThenConnected();
    void reconnect_whenClosed_saysConnected();
    void reconnect_toAPortThatIsGone_saysDisconnectedAndWhy();
    void destructor_closesAndSaysSo();
    void destructor_ofAClosedConnection_emitsNothing();

    void sendData_whenClosed_fails();
    void sendData_reachesTheDevice();
    void sendData_ofNothing_fails();
    void sendData_toADeviceThatIsFull_failsAndKeepsThePortOpen();

    void input_isDelivered();
    void input_goesThroughTheVirtualReadData();
    void readData_whenClosed_emitsAnEmptyArray();

private:
    QSerialPort *device() const { return connection->findChild<QSerialPort *>(); }

    std::optional<LogCapture> log;
    std::unique_ptr<PseudoTerminal> terminal;
    SerialPortListing listing; // what the connection is told of every port
    QStringList lookedUp;
    std::unique_ptr<UartConnection> connection;
    std::unique_ptr<ConnectionRecorder> recorder;
};

void TestUartConnection::init()
{
    log.emplace();
    listing = {true, false};
    lookedUp.clear();
    terminal = std::make_unique<PseudoTerminal>();
    connection = std::make_unique<UartConnection>(nullptr, [this](const QString &name) {
        lookedUp.append(name);
        return listing;
    });
    recorder = std::make_unique<ConnectionRecorder>(connection.get());
}

void TestUartConnection::cleanup()
{
    connection.reset();
    log.reset();
}

void TestUartConnection::freshConnection_isAClosedUartConnection()
{
    QCOMPARE(connection->type(), 2);
    QCOMPARE(connection->id(), QStringLiteral("UART"));
    QCOMPARE(connection->prefix(), QString());
    QVERIFY(!connection->isOpened());
    QVERIFY(device());
}

void TestUartConnection::open_ofAListedPort_isSilent()
{
    QVERIFY(connection->open(terminal->path(), 57600));
    QVERIFY(connection->isOpened());
    QCOMPARE(recorder->takeEvents(), events({"connected"}));
}

void TestUartConnection::open_ofAnUnlistedPort_warnsAndOpens_data()
{
    QTest::addColumn<bool>("withFolder");

    QTest::newRow("by path") << true;
    QTest::newRow("by name") << false;
}

void TestUartConnection::open_ofAnUnlistedPort_warnsAndOpens()
{
    QFETCH(bool, withFolder);

    const QString name = withFolder ? terminal->path() : terminal->name();
    UartConnection usual; // asks the system, which never lists pseudo-terminals
    QSignalSpy connected(&usual, &IConnection::connected);
    QVERIFY(usual.open(name, 57600));
    QVERIFY(usual.isOpened());
    QCOMPARE(connected.count(), 1);
    QCOMPARE(log->take(), QStringList{unlistedLine(name)});
    QCOMPARE(log->takenTypes(), QList<QtMsgType>{QtWarningMsg});
}

void TestUartConnection::open_looksThePortUpWithoutItsFolder()
{
    QVERIFY(connection->open(terminal->path(), 57600));
    QCOMPARE(lookedUp, QStringList{terminal->name()});
}

void TestUartConnection::open_ofALockedPort_isRefused()
{
    listing.locked = true;
    QVERIFY(!connection->open(terminal->path(), 57600));
    QVERIFY(!connection->isOpened());
    QCOMPARE(recorder->takeEvents(), QStringList());
    QCOMPARE(log->take(), QStringList{busyLine(terminal->path())});
    QCOMPARE(log->takenTypes(), QList<QtMsgType>{QtCriticalMsg});
}

void TestUartConnection::open_ofAnotherLockedPortWhileOpen_isRefused()
{
    const PseudoTerminal other;
    QVERIFY(connection->open(terminal->path(), 57600));
    listing.locked = true;
    QVERIFY(!connection->open(other.path(), 57600));
    QCOMPARE(log->take(), QStringList{busyLine(other.path())});
    QVERIFY(connection->isOpened());
    QVERIFY(connection->open(terminal->path(), 57600));
    QCOMPARE(recorder->takeEvents(), events({"connected", "connected"}));
}

void TestUartConnection::open_ofWhatIsNoPort_saysWhy_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("reason");

    QTest::newRow("missing device") << QStringLiteral("/dev/noflailsten-no-such-port")
                                    << QStringLiteral("No such file or directory");
    QTest::newRow("directory") << QStringLiteral("folder") << QStringLiteral("Is a directory");
    QTest::newRow("regular file") << QStringLiteral("file")
                                  << QStringLiteral("Inappropriate ioctl for device");
}

void TestUartConnection::open_ofWhatIsNoPort_saysWhy()
{
    QFETCH(QString, name);
    QFETCH(QString, reason);

    const QTemporaryDir dir;
    QVERIFY(QDir(dir.path()).mkdir(QStringLiteral("folder")));
    QVERIFY(QFile(dir.filePath(QStringLiteral("file"))).open(QIODevice::WriteOnly));
    const QString path = QDir(dir.path()).absoluteFilePath(name);
    listing = {};
    QVERIFY(!connection->open(path, 57600));
    QVERIFY(!connection->isOpened());
    QCOMPARE(log->take(),
             QStringList({unlistedLine(path),
                          QStringLiteral("[UART] CRIT: Failed open port, error: \"%1\"").arg(reason)}));
    QCOMPARE(log->takenTypes(), QList<QtMsgType>({QtWarningMsg, QtCriticalMsg}));
    connection->close();
    QCOMPARE(recorder->takeEvents(), QStringList());
}

void TestUartConnection::open_withABaudRateThatIsNone_saysWhy()
{
    QVERIFY(!connection->open(terminal->path(), QStringLiteral("fast")));
    QVERIFY(!connection->isOpened());
    QCOMPARE(log->take(), QStringList{QStringLiteral(
                              "[UART] CRIT: Failed open port, error: \"Invalid baud rate value\"")});
    QCOMPARE(recorder->takeEvents(), QStringList());
}

void TestUartConnection::open_afterAFailedOne_works()
{
    QVERIFY(!connection->open(QStringLiteral("noflailsten-no-such-port"), 57600));
    log->take();
    QVERIFY(connection->open(terminal->path(), 57600));
    QCOMPARE(recorder->takeEvents(), events({"connected"}));
}

void TestUartConnection::openAgain_appliesTheSettingsAndSaysConnected()
{
    QVERIFY(connection->open(terminal->path(), 57600));
    QVERIFY(connection->open(terminal->path(), 115200));
    QCOMPARE(recorder->takeEvents(), events({"connected", "connected"}));
    QCOMPARE(terminal->settings().c_ospeed, speed_t(B115200));
}

void TestUartConnection::openAgain_underOurOwnLock_isNotBusy()
{
    QVERIFY(connection->open(terminal->path(), 57600));
    listing.locked = true;
    QVERIFY(connection->open(terminal->path(), 57600));
    QVERIFY(connection->open(terminal->name(), 57600));
    QCOMPARE(recorder->takeEvents(), events({"connected", "connected", "connected"}));
}

void TestUartConnection::openAgain_afterClosingUnderAForeignLock_isBusy()
{
    QVERIFY(connection->open(terminal->path(), 57600));
    listing.locked = true;
    connection->reconnect();
    QVERIFY(!connection->isOpened());
    QCOMPARE(log->take(), QStringList{busyLine(terminal->path())});
    QCOMPARE(recorder->takeEvents(), events({"connected", "disconnected"}));
}

void TestUartConnection::open_appliesTheLineSettings_data()
{
    QTest::addColumn<QVariant>("baud");
    QTest::addColumn<uint>("speed");

    QTest::newRow("9600") << QVariant(9600) << uint(B9600);
    QTest::newRow("57600") << QVariant(57600) << uint(B57600);
    QTest::newRow("921600") << QVariant(921600) << uint(B921600);
    QTest::newRow("digits") << QVariant(QStringLiteral("115200")) << uint(B115200);
}

void TestUartConnection::open_appliesTheLineSettings()
{
    QFETCH(QVariant, baud);
    QFETCH(uint, speed);

    terminal->spoilSettings();
    QVERIFY(connection->open(terminal->path(), baud));
    const termios settings = terminal->settings();
    QCOMPARE(::cfgetispeed(&settings), speed);
    QCOMPARE(::cfgetospeed(&settings), speed);
    QCOMPARE(settings.c_cflag & CSIZE, tcflag_t(CS8));
    QCOMPARE(settings.c_cflag & (PARENB | CSTOPB | CRTSCTS), tcflag_t(0));
    QCOMPARE(settings.c_iflag & (IXON | IXOFF | IXANY), tcflag_t(0));
    QCOMPARE(device()->dataBits(), QSerialPort::Data8);
    QCOMPARE(device()->parity(), QSerialPort::NoParity);
}

void TestUartConnection::setParameter_baudRate_actsAtOnceUntilTheNextOpen_data()
{
    QTest::addColumn<QString>("name");

    QTest::newRow("small") << QStringLiteral("baudrate");
    QTest::newRow("capitals") << QStringLiteral("BAUDRATE");
    QTest::newRow("mixed") << QStringLiteral("BaudRate");
}

void TestUartConnection::setParameter_baudRate_actsAtOnceUntilTheNextOpen()
{
    QFETCH(QString, name);

    QVERIFY(connection->open(terminal->path(), 57600));
    connection->setParameter(name, QStringLiteral("38400"));
    termios settings = terminal->settings();
    QCOMPARE(::cfgetispeed(&settings), speed_t(B38400));
    QCOMPARE(::cfgetospeed(&settings), speed_t(B38400));
    connection->reconnect();
    settings = terminal->settings();
    QCOMPARE(::cfgetispeed(&settings), speed_t(B57600));
    QCOMPARE(::cfgetospeed(&settings), speed_t(B57600));
}

void TestUartConnection::setParameter_port_renamesTheDeviceUntilTheNextOpen()
{
    PseudoTerminal other;
    QVERIFY(connection->open(terminal->path(), 57600));
    connection->setParameter(QStringLiteral("PORT"), other.path());
    QCOMPARE(device()->portName(), other.name());
    QVERIFY(connection->isOpened());
    connection->reconnect();
    QCOMPARE(device()->portName(), terminal->name());
    QVERIFY(recorder->send("abc"));
    QCOMPARE(terminal->read(3), QByteArray("abc"));
}

void TestUartConnection::setParameter_badBaudRate_leavesThePortOpen()
{
    QVERIFY(connection->open(terminal->path(), 57600));
    connection->setParameter(QStringLiteral("baudrate"), 0);
    QCoreApplication::processEvents();
    QVERIFY(connection->isOpened());
    QVERIFY(recorder->send("abc"));
    QCOMPARE(terminal->read(3), QByteArray("abc"));
}

void TestUartConnection::setParameter_unknownName_isIgnoredSilently()
{
    QVERIFY(connection->open(terminal->path(), 57600));
    connection->setParameter(QStringLiteral("portname"), QStringLiteral("x"));
    connection->setParameter(QString(), 9600);
    QCOMPARE(device()->portName(), terminal->name());
    QCOMPARE(device()->baudRate(), 57600);
}

void TestUartConnection::close_whenClosed_emitsNothing()
{
    connection->close();
    QCOMPARE(recorder->takeEvents(), QStringList());
}

void TestUartConnection::close_whenOpen_saysDisconnectedOnce()
{
    QVERIFY(connection->open(terminal->path(), 57600));
    connection->close();
    connection->close();
    QVERIFY(!connection->isOpened());
    QCOMPARE(recorder->takeEvents(), events({"connected", "disconnected"}));
}

void TestUartConnection::reconnect_whenOpen_saysDisconnectedThenConnected()
{
    QVERIFY(connection->open(terminal->path(), 57600));
    recorder->takeEvents();
    connection->reconnect();
    QCOMPARE(recorder->takeEvents(), events({"disconnected", "connected"}));
    QVERIFY(recorder->send("abc"));
    QCOMPARE(terminal->read(3), QByteArray("abc"));
}

void TestUartConnection::reconnect_whenClosed_saysConnected()
{
    QVERIFY(connection->open(terminal->path(), 57600));
    connection->close();
    recorder->takeEvents();
    connection->reconnect();
    QCOMPARE(recorder->takeEvents(), events({"connected"}));
    QCOMPARE(terminal->settings().c_ospeed, speed_t(B57600));
}

void TestUartConnection::reconnect_toAPortThatIsGone_saysDisconnectedAndWhy()
{
    const QTemporaryDir dir;
    const QString link = dir.filePath(QStringLiteral("adapter"));
    QVERIFY(QFile::link(terminal->path(), link));
    QVERIFY(connection->open(link, 57600));
    QVERIFY(QFile::remove(link));
    connection->reconnect();
    QVERIFY(!connection->isOpened());
    QCOMPARE(recorder->takeEvents(), events({"connected", "disconnected"}));
    QCOMPARE(log->take(), QStringList{QStringLiteral(
                              "[UART] CRIT: Failed open port, error: \"No such file or directory\"")});
}

void TestUartConnection::destructor_closesAndSaysSo()
{
    QVERIFY(connection->open(terminal->path(), 57600));
    connection.reset();
    QCOMPARE(recorder->takeEvents(), events({"connected", "disconnected"}));
}

void TestUartConnection::destructor_ofAClosedConnection_emitsNothing()
{
    QVERIFY(connection->open(terminal->path(), 57600));
    connection->close();
    recorder->takeEvents();
    connection.reset();
    QCOMPARE(recorder->takeEvents(), QStringList());
}

void TestUartConnection::sendData_whenClosed_fails()
{
    QVERIFY(!connection->sendData("abc", 3));
    QCOMPARE(device()->error(), QSerialPort::NoError);
}

void TestUartConnection::sendData_reachesTheDevice()
{
    QVERIFY(connection->open(terminal->path(), 57600));
    const QByteArray bytes = QByteArray::fromHex("00ff0a0d1113037ffd");
    QVERIFY(connection->sendData(bytes.constData(), bytes.size()));
    QCOMPARE(terminal->read(bytes.size()), bytes);
}

void TestUartConnection::sendData_ofNothing_fails()
{
    QVERIFY(connection->open(terminal->path(), 57600));
    QVERIFY(!connection->sendData("abc", 0));
    QVERIFY(connection->isOpened());
}

void TestUartConnection::sendData_toADeviceThatIsFull_failsAndKeepsThePortOpen()
{
    QVERIFY(connection->open(terminal->path(), 57600));
    const QByteArray block(4096, 'x');
    int sends = 1;
    while (recorder->send(block) && sends < 1000)
        ++sends;
    QVERIFY(sends < 1000);
    QCoreApplication::processEvents();
    QCoreApplication::processEvents();
    QVERIFY(connection->isOpened());
    const int inTheDevice = sends * block.size() - int(device()->bytesToWrite());
    QCOMPARE(terminal->read(inTheDevice), QByteArray(inTheDevice, 'x'));
    QTRY_COMPARE(device()->bytesToWrite(), 0); // what did not fit goes out when there is room
    const int rest = sends * block.size() - inTheDevice;
    QCOMPARE(terminal->read(rest), QByteArray(rest, 'x'));
}

void TestUartConnection::input_isDelivered()
{
    QVERIFY(connection->open(terminal->path(), 57600));
    const QByteArray bytes = QByteArray::fromHex("00ff0a0d1113037ffd");
    terminal->write(bytes);
    QTRY_COMPARE(recorder->received, bytes);
}

void TestUartConnection::input_goesThroughTheVirtualReadData()
{
    class Counting : public UartConnection
    {
    public:
        using UartConnection::UartConnection;
        void readData() override { ++reads; }
        int reads = 0;
    } counting(nullptr, [](const QString &) { return SerialPortListing{true, false}; });
    QSignalSpy delivered(&counting, &IConnection::dataReceived);
    QVERIFY(counting.open(terminal->path(), 57600));
    terminal->write("abc");
    QTRY_VERIFY(counting.reads > 0);
    QCOMPARE(delivered.count(), 0);
}

void TestUartConnection::readData_whenClosed_emitsAnEmptyArray()
{
    connection->readData();
    QCOMPARE(recorder->takeEvents(), events({"in "}));
}

QTEST_GUILESS_MAIN(TestUartConnection)
#include "tst_uartconnection.moc"
