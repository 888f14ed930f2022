// SPDX-License-Identifier: MIT
#include "autopilot/messageoutlet.h"

#include "mavlink/messagecopy.h"
#include "support/logcapture.h"

#include <QThread>
#include <QtTest>

#include <memory>
#include <vector>

namespace {

using mavlink::common::msg::COMMAND_LONG;

COMMAND_LONG message(int number)
{
    COMMAND_LONG command{};
    command.param1 = static_cast<float>(number);
    return command;
}

int numberOf(const mavlink::Message &message)
{
    mavlink::mavlink_message_t wire{};
    mavlink::MsgMap out(wire);
    message.serialize(out);
    COMMAND_LONG command;
    mavlink::MsgMap in(static_cast<const mavlink::mavlink_message_t *>(&wire));
    command.deserialize(in);
    return static_cast<int>(command.param1);
}

} // namespace

class MessageSource : public QObject
{
    Q_OBJECT

public:
    /// Emits from a thread of its own.
    void sendFromThread(int first, int last)
    {
        const std::unique_ptr<QThread> thread(QThread::create([=] { send(first, last); }));
        thread->start();
        thread->wait();
    }

    void send(int first, int last)
    {
        for (int number = first; number <= last; ++number)
            Q_EMIT sent(message(number));
    }

Q_SIGNALS:
    void sent(const mavlink::Message &message);
};

class TestMessageOutlet : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void direct_isSentAtOnce();
    void posted_waitsForTheEventLoop();
    void posted_leavesBeforeADirectOne();
    void direct_fromInsideAPostedOne_leavesAfterThePostedOnes();
    void direct_fromInsideADirectOne_isSentAtOnce();
    void posted_whileADirectOneIsSent_leavesAfterIt();
    void direct_afterAllThat_isSentAtOnce();
    void otherObjectsEvents_areNotDeliveredBySending();
    void eventLoopTurnedInsideASend_keepsTheOrder();
    void threads_areServedOnTheMainThreadInOrder();
    void discard_forgetsWhatIsPosted();
    void destruction_forgetsWhatIsPosted();

private:
    std::unique_ptr<LogCapture> log;
    std::unique_ptr<MessageSource> source;
    std::unique_ptr<MessageOutlet> outlet;
    QList<int> sent;
    QList<QThread *> threads;
    std::function<void(int number)> onSend; // called from inside the send
};

void TestMessageOutlet::initTestCase()
{
    mavlink::MessageCopy::registerMetaType();
}

void TestMessageOutlet::init()
{
    log = std::make_unique<LogCapture>();
    source = std::make_unique<MessageSource>();
    sent.clear();
    threads.clear();
    onSend = nullptr;
    const auto send = [this](const mavlink::Message &sending) {
        sent.append(numberOf(sending));
        threads.append(QThread::currentThread());
        if (onSend)
            onSend(sent.last());
    };
    outlet = std::make_unique<MessageOutlet>(send, nullptr);
    connect(source.get(), &MessageSource::sent, outlet.get(), &MessageOutlet::send);
}

void TestMessageOutlet::cleanup()
{
    outlet.reset();
    log.reset();
}

void TestMessageOutlet::direct_isSentAtOnce()
{
    source->send(1, 3);
    QCOMPARE(sent, (QList<int>{1, 2, 3}));
}

void TestMessageOutlet::posted_waitsForTheEventLoop()
{
    source->sendFromThread(1, 3);
    QCOMPARE(sent, QList<int>());
    QCoreApplication::processEvents();
    QCOMPARE(sent, (QList<int>{1, 2, 3}));
    QCOMPARE(threads.last(), QThread::currentThread());
}

void TestMessageOutlet::posted_leavesBeforeADirectOne()
{
    source->sendFromThread(1, 3);
    source->send(4, 5);
    QCOMPARE(sent, (QList<int>{1, 2, 3, 4, 5}));
    QCoreApplication::processEvents();
    QCOMPARE(sent.size(), 5);
}

void TestMessageOutlet::direct_fromInsideAPostedOne_leavesAfterThePostedOnes()
{
    onSend = [this](int number) {
        if (number == 1)
            source->send(4, 5);
    };
    source->sendFromThread(1, 3);
    QTRY_COMPARE(sent.size(), 5);
    QCOMPARE(sent, (QList<int>{1, 2, 3, 4, 5}));
}

void TestMessageOutlet::direct_fromInsideADirectOne_isSentAtOnce()
{
    onSend = [this](int number) {
        if (number == 1)
            source->send(10, 10);
    };
    source->send(1, 2);
    QCOMPARE(sent, (QList<int>{1, 10, 2}));
}

void TestMessageOutlet::posted_whileADirectOneIsSent_leavesAfterIt()
{
    onSend = [this](int number) {
        if (number == 1)
            source->sendFromThread(2, 3);
    };
    source->send(1, 1);
    QCOMPARE(sent, QList<int>{1});
    source->send(4, 4);
    QCOMPARE(sent, (QList<int>{1, 2, 3, 4}));
}

void TestMessageOutlet::direct_afterAllThat_isSentAtOnce()
{
    onSend = [this](int number) {
        if (number == 1)
            source->send(3, 3);
    };
    source->sendFromThread(1, 2);
    source->send(4, 4); // delivers 1 and 2, whose answer waits for its turn
    QCOMPARE(sent.mid(0, 2), (QList<int>{1, 2}));
    QVERIFY(sent.contains(4));
    QTRY_COMPARE(sent.size(), 4);
    source->send(5, 5);
    QCOMPARE(sent.last(), 5);
}

void TestMessageOutlet::otherObjectsEvents_areNotDeliveredBySending()
{
    bool called = false;
    QObject other;
    QMetaObject::invokeMethod(
        &other, [&] { called = true; }, Qt::QueuedConnection);
    source->sendFromThread(1, 1);
    source->send(2, 2);
    QCOMPARE(sent, (QList<int>{1, 2}));
    QVERIFY(!called);
    QCoreApplication::processEvents();
    QVERIFY(called);
}

void TestMessageOutlet::eventLoopTurnedInsideASend_keepsTheOrder()
{
    onSend = [](int) { QCoreApplication::processEvents(); };
    source->sendFromThread(1, 3);
    source->send(4, 5);
    QCoreApplication::processEvents();
    QCOMPARE(sent, (QList<int>{1, 2, 3, 4, 5}));
}

void TestMessageOutlet::threads_areServedOnTheMainThreadInOrder()
{
    constexpr int threadCount = 8;
    constexpr int perThread = 500;
    std::vector<std::unique_ptr<QThread>> workers;
    for (int i = 0; i < threadCount; ++i) {
        workers.emplace_back(
            QThread::create([this, i] { source->send(i * perThread, (i + 1) * perThread - 1); }));
        workers.back()->start();
    }
    source->send(100000, 100000 + perThread - 1);
    for (const auto &worker : workers)
        QVERIFY(worker->wait(10000));
    QCoreApplication::processEvents();

    QCOMPARE(sent.size(), (threadCount + 1) * perThread);
    QMap<int, int> last;
    for (const int number : qAsConst(sent)) {
        const int from = number / perThread;
        QCOMPARE(number, last.value(from, from * perThread - 1) + 1);
        last[from] = number;
    }
    for (QThread *thread : qAsConst(threads))
        QCOMPARE(thread, QThread::currentThread());
}

void TestMessageOutlet::discard_forgetsWhatIsPosted()
{
    source->sendFromThread(1, 3);
    outlet->discard();
    QCoreApplication::processEvents();
    QCOMPARE(sent, QList<int>());
    source->sendFromThread(4, 4);
    QCoreApplication::processEvents();
    QCOMPARE(sent, QList<int>{4});
}

void TestMessageOutlet::destruction_forgetsWhatIsPosted()
{
    source->sendFromThread(1, 3);
    outlet.reset();
    QCoreApplication::processEvents();
    QCOMPARE(sent, QList<int>());
}

QTEST_GUILESS_MAIN(TestMessageOutlet)
#include "tst_messageoutlet.moc"
