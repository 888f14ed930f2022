// SPDX-License-Identifier: MIT
#include "connection/connectionrecorder.h"
#include "connection/iconnection.h"
#include "connection/inputdelivery.h"

#include <QIODevice>
#include <QtTest>

#include <algorithm>
#include <cstring>
#include <memory>

using Hold = InputDelivery::Hold;

namespace {

/// A device whose input is fed by hand.
class FedDevice : public QIODevice
{
public:
    using QIODevice::QIODevice;

    bool isSequential() const override { return true; }
    qint64 bytesAvailable() const override { return fed.size() + QIODevice::bytesAvailable(); }
    void feed(const QByteArray &bytes) { fed += bytes; }

protected:
    qint64 readData(char *data, qint64 maxLength) override
    {
        const int count = int(std::min<qint64>(maxLength, fed.size()));
        std::memcpy(data, fed.constData(), size_t(count));
        fed.remove(0, count);
        return count;
    }
    qint64 writeData(const char *, qint64) override { return -1; }

private:
    QByteArray fed;
};

class FedConnection : public IConnection
{
public:
    FedConnection()
        : device(new FedDevice(this))
        , input(new InputDelivery(this, device))
    {
        device->open(QIODevice::ReadOnly);
    }

    bool open(const QString &, const QVariant &) override { return true; }
    void close() override {}
    void reconnect() override {}
    bool isOpened() const override { return true; }
    void setParameter(const QString &, const QVariant &) override {}
    bool sendData(const char *, qint64) override { return true; }
    int type() const override { return 0; }
    void readData() override { input->deliver(); }

    FedDevice *device;
    InputDelivery *input;
};

QStringList inputs(std::initializer_list<const char *> texts)
{
    QStringList events;
    for (const char *text : texts)
        events.append(QStringLiteral("in ") + QLatin1String(text));
    return events;
}

void turnEventLoop()
{
    QCoreApplication::sendPostedEvents();
}

} // namespace

class TestInputDelivery : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void deliver_emitsAllThatTheDeviceHas();
    void deliver_withNothingToRead_emitsAnEmptyArray();
    void deliver_whileHeld_emitsNothing();
    void holdEnding_emitsNothingItself();
    void holdEnding_deliversOnceFromTheEventLoop();
    void holdEnding_withNothingTaken_deliversNothing();
    void holdEnding_fetchesWhatNobodyAnnounced();
    void innerHoldEnding_deliversNothingYet();
    void collect_whileHeld_savesWhatTheDeviceForgets();
    void collect_whenNotHeld_leavesTheInputInTheDevice();
    void inputOfSeveralHolds_isDeliveredTogetherInOrder();
    void deliver_afterAHold_putsTheHeldBytesFirst();
    void heldBytes_areDeliveredAfterTheDeviceClosed();
    void deliver_insideADelivery_isPutOff();
    void inputDuringADelivery_isDeliveredWithoutBeingAnnounced();
    void nestedEventLoopInADelivery_deliversNothing();
    void drop_forgetsWhatWasHeld();
    void inputAfterADrop_isDelivered();
    void destructionInsideADelivery_isSafe();
    void destructionInsideAHold_isSafe();

private:
    std::unique_ptr<ConnectionRecorder> recorder;
    std::unique_ptr<FedConnection> connection;
};

void TestInputDelivery::init()
{
    connection = std::make_unique<FedConnection>();
    recorder = std::make_unique<ConnectionRecorder>(connection.get());
}

void TestInputDelivery::deliver_emitsAllThatTheDeviceHas()
{
    connection->device->feed("abc");
    connection->input->deliver();
    QCOMPARE(recorder->takeEvents(), inputs({"abc"}));
    turnEventLoop();
    QCOMPARE(recorder->takeEvents(), QStringList());
}

void TestInputDelivery::deliver_withNothingToRead_emitsAnEmptyArray()
{
    connection->input->deliver();
    QCOMPARE(recorder->takeEvents(), inputs({""}));
}

void TestInputDelivery::deliver_whileHeld_emitsNothing()
{
    const Hold hold(connection->input);
    connection->device->feed("abc");
    connection->input->deliver();
    turnEventLoop();
    QCOMPARE(recorder->takeEvents(), QStringList());
    QCOMPARE(connection->device->bytesAvailable(), 0);
}

void TestInputDelivery::holdEnding_emitsNothingItself()
{
    connection->device->feed("abc");
    {
        const Hold hold(connection->input);
        connection->input->deliver();
    }
    QCOMPARE(recorder->takeEvents(), QStringList());
}

void TestInputDelivery::holdEnding_deliversOnceFromTheEventLoop()
{
    connection->device->feed("abc");
    {
        const Hold hold(connection->input);
        connection->input->deliver();
    }
    turnEventLoop();
    turnEventLoop();
    QCOMPARE(recorder->takeEvents(), inputs({"abc"}));
}

void TestInputDelivery::holdEnding_withNothingTaken_deliversNothing()
{
    {
        const Hold hold(connection->input);
        connection->input->deliver();
    }
    turnEventLoop();
    QCOMPARE(recorder->takeEvents(), QStringList());
}

void TestInputDelivery::holdEnding_fetchesWhatNobodyAnnounced()
{
    {
        const Hold hold(connection->input);
        connection->device->feed("abc");
    }
    turnEventLoop();
    QCOMPARE(recorder->takeEvents(), inputs({"abc"}));
}

void TestInputDelivery::innerHoldEnding_deliversNothingYet()
{
    {
        const Hold outer(connection->input);
        {
            const Hold inner(connection->input);
            connection->device->feed("abc");
        }
        turnEventLoop();
        QCOMPARE(recorder->takeEvents(), QStringList());
    }
    turnEventLoop();
    QCOMPARE(recorder->takeEvents(), inputs({"abc"}));
}

void TestInputDelivery::collect_whileHeld_savesWhatTheDeviceForgets()
{
    {
        const Hold hold(connection->input);
        connection->device->feed("abc");
        connection->input->collect();
        connection->device->close();
    }
    turnEventLoop();
    QCOMPARE(recorder->takeEvents(), inputs({"abc"}));
}

void TestInputDelivery::collect_whenNotHeld_leavesTheInputInTheDevice()
{
    connection->device->feed("abc");
    connection->input->collect();
    turnEventLoop();
    QCOMPARE(recorder->takeEvents(), QStringList());
    QCOMPARE(connection->device->readAll(), QByteArray("abc"));
}

void TestInputDelivery::inputOfSeveralHolds_isDeliveredTogetherInOrder()
{
    for (const char *piece : {"ab", "", "cd", "e"}) {
        connection->device->feed(piece);
        const Hold hold(connection->input);
        connection->input->deliver();
    }
    turnEventLoop();
    turnEventLoop();
    QCOMPARE(recorder->takeEvents(), inputs({"abcde"}));
}

void TestInputDelivery::deliver_afterAHold_putsTheHeldBytesFirst()
{
    connection->device->feed("ab");
    {
        const Hold hold(connection->input);
        connection->input->deliver();
    }
    connection->device->feed("cd");
    connection->input->deliver();
    turnEventLoop();
    QCOMPARE(recorder->takeEvents(), inputs({"abcd"}));
}

void TestInputDelivery::heldBytes_areDeliveredAfterTheDeviceClosed()
{
    connection->device->feed("abc");
    {
        const Hold hold(connection->input);
        connection->input->deliver();
        connection->device->close();
    }
    turnEventLoop();
    QCOMPARE(recorder->takeEvents(), inputs({"abc"}));
}

void TestInputDelivery::deliver_insideADelivery_isPutOff()
{
    recorder->onInput = [this] {
        recorder->onInput = nullptr;
        connection->device->feed("de");
        connection->input->deliver();
        recorder->note(QStringLiteral("handled"));
    };
    connection->device->feed("abc");
    connection->input->deliver();
    QCOMPARE(recorder->takeEvents(), inputs({"abc"}) << QStringLiteral("handled"));
    turnEventLoop();
    QCOMPARE(recorder->takeEvents(), inputs({"de"}));
}

void TestInputDelivery::inputDuringADelivery_isDeliveredWithoutBeingAnnounced()
{
    recorder->onInput = [this] {
        recorder->onInput = nullptr;
        connection->device->feed("de");
    };
    connection->device->feed("abc");
    connection->input->deliver();
    turnEventLoop();
    QCOMPARE(recorder->takeEvents(), inputs({"abc", "de"}));
}

void TestInputDelivery::nestedEventLoopInADelivery_deliversNothing()
{
    recorder->onInput = [this] {
        recorder->onInput = nullptr;
        {
            const Hold send(connection->input);
            connection->device->feed("de");
        }
        turnEventLoop();
        recorder->note(QStringLiteral("handled"));
    };
    connection->device->feed("abc");
    connection->input->deliver();
    turnEventLoop();
    QCOMPARE(recorder->takeEvents(), inputs({"abc"}) << QStringLiteral("handled") << inputs({"de"}));
}

void TestInputDelivery::drop_forgetsWhatWasHeld()
{
    connection->device->feed("abc");
    {
        const Hold hold(connection->input);
        connection->input->deliver();
    }
    connection->input->drop();
    turnEventLoop();
    QCOMPARE(recorder->takeEvents(), QStringList());
}

void TestInputDelivery::inputAfterADrop_isDelivered()
{
    {
        const Hold hold(connection->input);
        connection->device->feed("abc");
        connection->input->deliver();
        connection->input->drop();
        connection->device->feed("de");
    }
    turnEventLoop();
    QCOMPARE(recorder->takeEvents(), inputs({"de"}));
}

void TestInputDelivery::destructionInsideADelivery_isSafe()
{
    recorder->onInput = [this] { connection.reset(); };
    connection->device->feed("abc");
    connection->input->deliver();
    turnEventLoop();
    QCOMPARE(recorder->takeEvents(), inputs({"abc"}));
}

void TestInputDelivery::destructionInsideAHold_isSafe()
{
    {
        const Hold hold(connection->input);
        connection->device->feed("abc");
        connection->input->deliver();
        connection.reset();
    }
    turnEventLoop();
    QCOMPARE(recorder->takeEvents(), QStringList());
}

QTEST_GUILESS_MAIN(TestInputDelivery)
#include "tst_inputdelivery.moc"
