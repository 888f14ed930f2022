// SPDX-License-Identifier: MIT
#include "support/logcapture.h"
#include "support/vtable.h"

#include "communication/icommunicator.h"

#include <QSignalSpy>
#include <QThread>
#include <QtTest>

#include <type_traits>

namespace {

static_assert(std::is_same_v<std::underlying_type_t<MessageId>, quint8>);
static_assert(std::is_same_v<std::underlying_type_t<PayloadId>, quint8>);
static_assert(!std::is_convertible_v<MessageId, int> && !std::is_convertible_v<PayloadId, int>);
static_assert(std::is_aggregate_v<CompletePayload> && std::is_copy_assignable_v<CompletePayload>);
static_assert(std::is_same_v<decltype(CompletePayload::id), quint16>);
static_assert(std::is_abstract_v<ICommunicator> && std::is_base_of_v<IBase, ICommunicator>);

class FakeCommunicator : public ICommunicator
{
public:
    using ICommunicator::ICommunicator;
    void start() override {}
    void stop() override {}
    void sendPong(qint64) override {}
    void sendData(const CompletePayload &payload) override { sent.append(payload); }

    QList<CompletePayload> sent;
};

CompletePayload samplePayload()
{
    return {65535, MessageId(1), PayloadId(4), QByteArrayLiteral("\x00\xFF")};
}

} // namespace

/// Takes payloads, and notes on which thread they came.
class PayloadReceiver : public QObject
{
    Q_OBJECT

public:
    QList<CompletePayload> received;
    QThread *thread = nullptr;

public Q_SLOTS:
    void take(const CompletePayload &payload)
    {
        received.append(payload);
        thread = QThread::currentThread();
    }
};

class TestICommunicator : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void metaObject_hasTheSignalThenTheSlot();
    void virtualOperations_followThoseOfQObjectInOrder();
    void payload_bindsInFieldOrder();
    void payload_copiedAndChanged_leavesTheOriginal();
    void metaTypes_carryTheNamesOfTheTypes();
    void sendData_calledByName_reachesTheImplementation();
    void receivedData_reachesAnotherThread();
    void communicator_diesWithItsParent();
};

void TestICommunicator::metaObject_hasTheSignalThenTheSlot()
{
    const QMetaObject &meta = ICommunicator::staticMetaObject;
    QCOMPARE(QByteArray(meta.className()), QByteArray("ICommunicator"));
    QCOMPARE(meta.superClass(), &IBase::staticMetaObject);
    QCOMPARE(meta.methodCount() - meta.methodOffset(), 2);
    const QMetaMethod signal = meta.method(meta.methodOffset());
    QCOMPARE(signal.methodSignature(), QByteArray("receivedData(CompletePayload)"));
    QCOMPARE(signal.methodType(), QMetaMethod::Signal);
    const QMetaMethod slot = meta.method(meta.methodOffset() + 1);
    QCOMPARE(slot.methodSignature(), QByteArray("sendData(CompletePayload)"));
    QCOMPARE(slot.methodType(), QMetaMethod::Slot);
    QCOMPARE(slot.access(), QMetaMethod::Public);
}

void TestICommunicator::virtualOperations_followThoseOfQObjectInOrder()
{
    const int first = lastSlotOfQObject() + 1;
    QCOMPARE(virtualSlot(&ICommunicator::start), first);
    QCOMPARE(virtualSlot(&ICommunicator::stop), first + 1);
    QCOMPARE(virtualSlot(&ICommunicator::sendPong), first + 2);
    QCOMPARE(virtualSlot(&ICommunicator::sendData), first + 3);
}

void TestICommunicator::payload_bindsInFieldOrder()
{
    const CompletePayload payload = samplePayload();
    const auto &[id, messageId, payloadId, data] = payload;
    QCOMPARE(id, quint16(65535));
    QCOMPARE(messageId, MessageId(1));
    QCOMPARE(payloadId, PayloadId(4));
    QCOMPARE(data, QByteArrayLiteral("\x00\xFF"));

    const CompletePayload empty;
    QCOMPARE(empty.id, quint16(0));
    QCOMPARE(empty.messageId, MessageId(0));
    QCOMPARE(empty.payloadId, PayloadId(0));
    QVERIFY(empty.data.isEmpty());
}

void TestICommunicator::payload_copiedAndChanged_leavesTheOriginal()
{
    const CompletePayload payload = samplePayload();
    CompletePayload copy = payload;
    copy.data[0] = 'x';
    QCOMPARE(payload.data, QByteArrayLiteral("\x00\xFF"));
}

void TestICommunicator::metaTypes_carryTheNamesOfTheTypes()
{
    QCOMPARE(QByteArray(QMetaType::typeName(qMetaTypeId<MessageId>())), QByteArray("MessageId"));
    QCOMPARE(QByteArray(QMetaType::typeName(qMetaTypeId<PayloadId>())), QByteArray("PayloadId"));
    QCOMPARE(QByteArray(QMetaType::typeName(qMetaTypeId<CompletePayload>())), QByteArray("CompletePayload"));
}

void TestICommunicator::sendData_calledByName_reachesTheImplementation()
{
    const LogCapture log;
    FakeCommunicator communicator;
    const CompletePayload payload = samplePayload();
    QVERIFY(QMetaObject::invokeMethod(&communicator, "sendData", Q_ARG(CompletePayload, payload)));
    QCOMPARE(communicator.sent.size(), 1);
    QCOMPARE(communicator.sent.first().id, quint16(65535));
    QCOMPARE(communicator.sent.first().data, payload.data);
}

void TestICommunicator::receivedData_reachesAnotherThread()
{
    const LogCapture log;
    FakeCommunicator communicator;
    QThread thread;
    PayloadReceiver receiver;
    receiver.moveToThread(&thread);
    connect(&communicator, &ICommunicator::receivedData, &receiver, &PayloadReceiver::take,
            Qt::QueuedConnection);
    thread.start();
    Q_EMIT communicator.receivedData(samplePayload());
    QMetaObject::invokeMethod(
        &receiver, [] {}, Qt::BlockingQueuedConnection); // what was posted before has run
    thread.quit();
    thread.wait();
    QCOMPARE(receiver.thread, &thread);
    QCOMPARE(receiver.received.size(), 1);
    QCOMPARE(receiver.received.first().id, quint16(65535));
    QCOMPARE(receiver.received.first().messageId, MessageId(1));
    QCOMPARE(receiver.received.first().payloadId, PayloadId(4));
    QCOMPARE(receiver.received.first().data, samplePayload().data);
}

void TestICommunicator::communicator_diesWithItsParent()
{
    auto *parent = new QObject;
    const QPointer<ICommunicator> communicator = new FakeCommunicator(parent);
    delete parent;
    QVERIFY(!communicator);
}

QTEST_GUILESS_MAIN(TestICommunicator)
#include "tst_icommunicator.moc"
