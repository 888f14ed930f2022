// SPDX-License-Identifier: MIT
#include "autopilot/support/autopilotrig.h"
#include "autopilot/support/frames.h"
#include "autopilot/support/onboardstream.h"
#include "communication/mavcommunicator.h"
#include "communication/recordingcarrier.h"
#include "connection/iconnection.h"
#include "connection/loopbackpeer.h"
#include "support/testmain.h"
#include "support/watchdog.h"

#include <QEventLoop>
#include <QTimer>

#include <memory>
#include <vector>

namespace {

constexpr int ThreadCount = 8;
constexpr int PayloadsPerThread = 250;
constexpr int SequenceOffset = 4;
constexpr int MessageIdOffset = 8; // in a frame of the on-board protocol

/// A started driver in V2 mode, with plain sockets at the other end.
class Rig
{
public:
    Rig()
        : rig({{"MAV/CONNECTION_TYPE", QStringLiteral("TCP")},
               {"MAV/SERIAL_DEVICE", QStringLiteral("127.0.0.1")},
               {"MAV/BAUD_RATE", peer.port()},
               {"MAV/V2_EXTENSION", true}})
    {}

    ~Rig() { rig.log.take(); }

    bool start()
    {
        if (!rig.plugin->start())
            return false;
        peer.accept();
        return true;
    }

    ICommunicator *communicator() const { return rig.plugin->communicator(); }

    const Watchdog watchdog;
    LoopbackPeer peer;
    AutopilotRig rig;
};

/// The sender is the message id: 1 to 8 are threads, 9 is the main thread.
CompletePayload payloadOfSender(int sender, int number)
{
    return payloadOf(254, 1 + (number * 37 + sender) % 350, static_cast<quint16>(number), sender);
}

/// Reads all that comes on a thread of its own.
class Reader
{
public:
    explicit Reader(LoopbackPeer &peer)
        : thread(QThread::create([this, &peer] { read(peer); }))
    {
        thread->start();
    }

    ~Reader() { thread->wait(); }

    Reader(const Reader &) = delete;
    Reader &operator=(const Reader &) = delete;

    QList<QByteArray> framesUntilTheEnd()
    {
        thread->wait();
        return splitFrames(stream);
    }

private:
    void read(LoopbackPeer &peer)
    {
        constexpr int chunk = 4096;
        QByteArray bytes;
        do {
            bytes = peer.read(chunk);
            stream += bytes;
        } while (bytes.size() == chunk);
    }

    QByteArray stream;
    std::unique_ptr<QThread> thread; // last: runs from its making on
};

/// The number of payloads if the frames are those of whole payloads, one after the other, each sender's in
/// the order of their making; else -1 - the index of the first frame that is not.
int countWholePayloads(const QList<QByteArray> &frames)
{
    QMap<int, int> nextOfSender;
    int payloads = 0;
    for (int at = 0; at < frames.size(); ++payloads) {
        const int sender = static_cast<quint8>(frames[at][MessageIdOffset]);
        const QList<QByteArray> expected = onboardFrames(payloadOfSender(sender, nextOfSender[sender]++));
        if (frames.mid(at, expected.size()) != expected)
            return -1 - at;
        at += expected.size();
    }
    return payloads;
}

} // namespace

/// Payloads from many threads, and links that break in the middle of them.
class TestMavGroundLinkThreads : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void payload_ofAWorkerThread_reachesTheWire();
    void payload_ofTheMainThread_leavesAfterThoseOfTheWorker();
    void payloads_ofManyThreads_reachTheWireWholeOnceAndInOrder();
    void pongs_besideSendingThreads_reachTheWire();
    void peerResetting_inTheMiddleOfAPayload_doesNotHang_data();
    void peerResetting_inTheMiddleOfAPayload_doesNotHang();
    void peerResetting_inAPayloadOfAWorker_doesNotHang_data();
    void peerResetting_inAPayloadOfAWorker_doesNotHang();
    void stop_besideASendingThread_doesNotHang();
    void peerResetting_whileTheHostTurnsTheEventLoop_doesNotHang();

private:
    static void act(Rig &rig, const QString &action);
    void loseTheLinkInAPayload(const QStringList &actions);
};

void TestMavGroundLinkThreads::initTestCase()
{
    spendFirstHeartbeat();
    AutopilotRig rig;
    rig.plugin->feed(v2ExtensionOf(onboardFrame(4, pingBody(0)))); // the first of the process logs more
    rig.log.take();
}

void TestMavGroundLinkThreads::payload_ofAWorkerThread_reachesTheWire()
{
    Rig rig;
    QVERIFY(rig.start());
    Reader reader(rig.peer);
    const CompletePayload payload = payloadOf(254, 65535);
    const std::unique_ptr<QThread> worker(QThread::create([&] { rig.communicator()->sendData(payload); }));
    worker->start();
    worker->wait();
    QCOMPARE(int(channelStatus().current_tx_seq), 0); // all of it waits for the event loop
    QCoreApplication::processEvents();
    rig.rig.plugin->stop();
    QCOMPARE(onboardFramesIn(reader.framesUntilTheEnd()), onboardFrames(payload));
}

void TestMavGroundLinkThreads::payload_ofTheMainThread_leavesAfterThoseOfTheWorker()
{
    Rig rig;
    QVERIFY(rig.start());
    Reader reader(rig.peer);
    const CompletePayload first = payloadOf(254, 300, 1);
    const CompletePayload second = payloadOf(254, 300, 2);
    const std::unique_ptr<QThread> worker(QThread::create([&] { rig.communicator()->sendData(first); }));
    worker->start();
    worker->wait();
    rig.communicator()->sendData(second);
    QCoreApplication::processEvents();
    rig.rig.plugin->stop();
    QCOMPARE(onboardFramesIn(reader.framesUntilTheEnd()), onboardFrames(first) + onboardFrames(second));
}

void TestMavGroundLinkThreads::payloads_ofManyThreads_reachTheWireWholeOnceAndInOrder()
{
    Rig rig;
    QVERIFY(rig.start());
    Reader reader(rig.peer);
    std::vector<std::unique_ptr<QThread>> workers;
    for (int sender = 1; sender <= ThreadCount; ++sender) {
        workers.emplace_back(QThread::create([&rig, sender] {
            for (int number = 0; number < PayloadsPerThread; ++number)
                rig.communicator()->sendData(payloadOfSender(sender, number));
        }));
        workers.back()->start();
    }
    for (int number = 0; number < PayloadsPerThread; ++number) {
        rig.communicator()->sendData(payloadOfSender(ThreadCount + 1, number));
        if (number % 10 == 0)
            QCoreApplication::processEvents();
    }
    for (const auto &worker : workers)
        worker->wait();
    QCoreApplication::processEvents();
    rig.rig.plugin->stop();

    const QList<QByteArray> frames = reader.framesUntilTheEnd();
    for (int i = 0; i < frames.size(); ++i)
        QCOMPARE(quint8(frames[i][SequenceOffset]), quint8(i));
    QCOMPARE(countWholePayloads(onboardFramesIn(frames)), (ThreadCount + 1) * PayloadsPerThread);
}

void TestMavGroundLinkThreads::pongs_besideSendingThreads_reachTheWire()
{
    Rig rig;
    QVERIFY(rig.start());
    Reader reader(rig.peer);
    const std::unique_ptr<QThread> worker(QThread::create([&rig] {
        for (int number = 0; number < PayloadsPerThread; ++number)
            rig.communicator()->sendData(payloadOfSender(1, number));
    }));
    worker->start();
    constexpr int pings = 100;
    for (int i = 0; i < pings; ++i)
        rig.rig.plugin->feed(v2ExtensionOf(onboardFrame(254, pingBody(i))));
    worker->wait();
    QCoreApplication::processEvents();
    rig.rig.plugin->stop();

    QList<QByteArray> payloadFrames;
    QList<QByteArray> pongs;
    for (const QByteArray &frame : onboardFramesIn(reader.framesUntilTheEnd()))
        (frame[0] == '\x04' ? pongs : payloadFrames).append(frame);
    QCOMPARE(countWholePayloads(payloadFrames), PayloadsPerThread);
    QCOMPARE(pongs.size(), pings);
    for (int i = 0; i < pings; ++i)
        QCOMPARE(pongs[i], onboardFrame(4, pingBody(i, QByteArray("\x00\x02", 2))));
}

void TestMavGroundLinkThreads::act(Rig &rig, const QString &action)
{
    if (action == QLatin1String("stop"))
        rig.rig.plugin->stop();
    else if (action == QLatin1String("urgent"))
        rig.communicator()->sendData(payloadOf(254, 200));
    else if (action == QLatin1String("queued"))
        rig.communicator()->sendData(payloadOf(7, 200));
    else if (action == QLatin1String("pong"))
        rig.communicator()->sendPong(1);
    else if (action == QLatin1String("turn")) {
        QEventLoop loop; // long enough for the telemetry timer to tick
        QTimer::singleShot(100, &loop, &QEventLoop::quit);
        loop.exec();
    }
}

void TestMavGroundLinkThreads::peerResetting_inTheMiddleOfAPayload_doesNotHang_data()
{
    QTest::addColumn<QStringList>("actions");
    for (const char *actions : {"stop", "urgent", "queued", "pong", "urgent stop", "stop urgent queued",
                                "stop urgent pong queued urgent"})
        QTest::newRow(actions) << QString::fromLatin1(actions).split(QLatin1Char(' '));
}

void TestMavGroundLinkThreads::peerResetting_inTheMiddleOfAPayload_doesNotHang()
{
    QFETCH(QStringList, actions);
    loseTheLinkInAPayload(actions);
}

// The reset is noticed by a write: disconnected() comes from inside the send.
void TestMavGroundLinkThreads::loseTheLinkInAPayload(const QStringList &actions)
{
    Rig rig;
    QVERIFY(rig.start());
    bool sending = false;
    int lostWhileSending = 0;
    connect(rig.rig.plugin->link(), &IConnection::disconnected, this, [&] {
        lostWhileSending += sending ? 1 : 0;
        for (const QString &action : qAsConst(actions))
            act(rig, action);
    });
    const std::unique_ptr<QThread> resetting(QThread::create([&rig] {
        rig.peer.read(20000);
        rig.peer.reset();
    }));
    resetting->start();
    sending = true;
    for (int i = 0; i < 1000 && lostWhileSending == 0; ++i)
        rig.communicator()->sendData(payloadOf(254, 65535));
    sending = false;
    resetting->wait();
    QCOMPARE(lostWhileSending, 1);
    rig.rig.plugin->stop();
    QVERIFY(rig.start()); // and the link is as good as new
    Reader reader(rig.peer);
    rig.communicator()->sendData(payloadOfSender(1, 0));
    rig.rig.plugin->stop();
    QCOMPARE(onboardFramesIn(reader.framesUntilTheEnd()), onboardFrames(payloadOfSender(1, 0)));
}

void TestMavGroundLinkThreads::peerResetting_inAPayloadOfAWorker_doesNotHang_data()
{
    peerResetting_inTheMiddleOfAPayload_doesNotHang_data();
    QTest::newRow("turn") << QStringList{QStringLiteral("turn")};
}

void TestMavGroundLinkThreads::peerResetting_inAPayloadOfAWorker_doesNotHang()
{
    QFETCH(QStringList, actions);
    Rig rig;
    QVERIFY(rig.start());
    int lost = 0;
    connect(rig.rig.plugin->link(), &IConnection::disconnected, this, [&] {
        ++lost;
        for (const QString &action : qAsConst(actions))
            act(rig, action);
    });
    const std::unique_ptr<QThread> resetting(QThread::create([&rig] {
        rig.peer.read(20000);
        rig.peer.reset();
    }));
    resetting->start();
    const std::unique_ptr<QThread> worker(QThread::create([&rig] {
        for (int i = 0; i < 20; ++i)
            rig.communicator()->sendData(payloadOf(254, 65535));
    }));
    worker->start();
    QTRY_COMPARE_WITH_TIMEOUT(lost, 1, 20000);
    worker->wait();
    resetting->wait();
    QCoreApplication::processEvents();
    QVERIFY(!rig.rig.plugin->link()->isOpened());
}

void TestMavGroundLinkThreads::stop_besideASendingThread_doesNotHang()
{
    Rig rig;
    QVERIFY(rig.start());
    Reader reader(rig.peer);
    const std::unique_ptr<QThread> worker(QThread::create([&rig] {
        for (int number = 0; number < PayloadsPerThread; ++number) {
            rig.communicator()->sendData(payloadOfSender(1, number));
            rig.communicator()->sendData(payloadOf(7, 10));
        }
    }));
    worker->start();
    QCoreApplication::processEvents();
    rig.rig.plugin->stop();
    worker->wait();
    QCoreApplication::processEvents();
    QVERIFY(!rig.rig.plugin->isStarted());
}

// Last, as it ends the program if it fails.
void TestMavGroundLinkThreads::peerResetting_whileTheHostTurnsTheEventLoop_doesNotHang()
{
    loseTheLinkInAPayload({QStringLiteral("turn")});
}

APP_TEST_MAIN(TestMavGroundLinkThreads)
#include "tst_mavgroundlinkthreads.moc"
