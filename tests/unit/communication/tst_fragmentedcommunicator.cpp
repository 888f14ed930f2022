// SPDX-License-Identifier: MIT
#include "communication/fragmentedcommunicator.h"

#include "communication/onboardmessagedispatcher.h"
#include "communication/recordingcarrier.h"
#include "support/logcapture.h"
#include "support/vtable.h"

#include <QSet>
#include <QtTest>

#include <type_traits>

namespace {

static_assert(std::is_abstract_v<FragmentedCommunicator> &&
              std::is_base_of_v<ICommunicator, FragmentedCommunicator>);

using VirtualSend = void (FragmentedCommunicator::*)(QByteArray);

const QSet<int> UrgentPayloads = {4, 251, 253, 254};

} // namespace

/// What goes out, when, and in which bytes.
class TestFragmentedCommunicator : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void metaObject_hasItsSlotsInOrder();
    void virtualOperations_followThoseOfTheInterface();
    void dispatcher_isAChild();
    void payload_isSentAtOnceOrQueued();
    void sentAtOnce_isAllThereOnReturn_data();
    void sentAtOnce_isAllThereOnReturn();
    void payloadOf300Bytes_givesTheDocumentedFrames();
    void oneByte_isSentInTheseBytes();
    void queuedPayload_isTheSameInBytes();
    void payloadBeyond16Bits_isCut();
    void onboardMessage_isSentWithAFreshChecksum();
    void pong_isTheTimestampAndOurVersion_data();
    void pong_isTheTimestampAndOurVersion();
    void sendData_calledByName_sends();
};

void TestFragmentedCommunicator::metaObject_hasItsSlotsInOrder()
{
    const QMetaObject &meta = FragmentedCommunicator::staticMetaObject;
    QCOMPARE(meta.superClass(), &ICommunicator::staticMetaObject);
    QStringList methods;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        QCOMPARE(meta.method(i).methodType(), QMetaMethod::Slot);
        QCOMPARE(meta.method(i).access(), QMetaMethod::Public);
        methods.append(QLatin1String(meta.method(i).methodSignature()));
    }
    QCOMPARE(methods,
             (QStringList{QStringLiteral("sendData(CompletePayload)"),
                          QStringLiteral("startTelemetryTimer()"), QStringLiteral("startDropQueueTimer()")}));
}

void TestFragmentedCommunicator::virtualOperations_followThoseOfTheInterface()
{
    QCOMPARE(virtualSlot(&FragmentedCommunicator::start), virtualSlot(&ICommunicator::start));
    QCOMPARE(virtualSlot(&FragmentedCommunicator::stop), virtualSlot(&ICommunicator::stop));
    QCOMPARE(virtualSlot(&FragmentedCommunicator::sendPong), virtualSlot(&ICommunicator::sendPong));
    QCOMPARE(virtualSlot(&FragmentedCommunicator::sendData), virtualSlot(&ICommunicator::sendData));
    const VirtualSend send = &FragmentedCommunicator::sendFragment;
    QCOMPARE(virtualSlot(send), virtualSlot(&ICommunicator::sendData) + 1);
}

void TestFragmentedCommunicator::dispatcher_isAChild()
{
    const LogCapture log;
    const RecordingCarrier carrier;
    QCOMPARE(carrier.findChildren<OnboardMessageDispatcher *>().size(), 1);
    QVERIFY(carrier.timers().isEmpty());
}

void TestFragmentedCommunicator::payload_isSentAtOnceOrQueued()
{
    const LogCapture log;
    RecordingCarrier carrier;
    carrier.start();
    for (int payloadId = 0; payloadId < 256; ++payloadId)
        for (const int messageId : {0, 1, 255}) {
            const CompletePayload payload = payloadOf(payloadId, 10, 1, messageId);
            const bool urgent = UrgentPayloads.contains(payloadId) || (payloadId == 1 && messageId == 0);
            const QByteArray which = QByteArray::number(payloadId) + '/' + QByteArray::number(messageId);
            carrier.sendData(payload);
            QVERIFY2(carrier.take() == (urgent ? onboardFrames(payload) : QList<QByteArray>()), which);
            carrier.tick();
            QVERIFY2(carrier.take() == (urgent ? QList<QByteArray>() : onboardFrames(payload)), which);
        }
}

void TestFragmentedCommunicator::sentAtOnce_isAllThereOnReturn_data()
{
    QTest::addColumn<int>("size");
    QTest::addColumn<int>("frames");
    QTest::newRow("0") << 0 << 0;
    QTest::newRow("1") << 1 << 1;
    QTest::newRow("84") << 84 << 1;
    QTest::newRow("85") << 85 << 1;
    QTest::newRow("88") << 88 << 1;
    QTest::newRow("89") << 89 << 2;
    QTest::newRow("176") << 176 << 2;
    QTest::newRow("177") << 177 << 3;
    QTest::newRow("65473") << 65473 << 745;
    QTest::newRow("65535") << 65535 << 745;
}

void TestFragmentedCommunicator::sentAtOnce_isAllThereOnReturn()
{
    QFETCH(int, size);
    QFETCH(int, frames);
    const LogCapture log;
    RecordingCarrier carrier; // not started: that makes no difference here
    const CompletePayload payload = payloadOf(254, size, 65535);
    carrier.sendData(payload);
    const QList<QByteArray> sent = carrier.take();
    QCOMPARE(sent.size(), frames);
    QCOMPARE(sent, onboardFrames(payload));
}

void TestFragmentedCommunicator::payloadOf300Bytes_givesTheDocumentedFrames()
{
    const LogCapture log;
    RecordingCarrier carrier;
    carrier.sendData(payloadOf(254, 300, 0x1234, 5));
    const QList<QByteArray> frames = carrier.take();
    QCOMPARE(frames.size(), 4);
    QCOMPARE(frames[0].left(10).toHex(), QByteArray("02602c0134120000") + "05fe");
    QCOMPARE(frames[1].left(10).toHex(), QByteArray("02602c0134125800") + "05fe");
    QCOMPARE(frames[2].left(10).toHex(), QByteArray("02602c013412b000") + "05fe");
    QCOMPARE(frames[3].left(10).toHex(), QByteArray("022c2c0134120801") + "05fe");
    QCOMPARE(frames[0].size(), 100);
    QCOMPARE(frames[3].size(), 48);
}

// The checksum is from pymavlink.
void TestFragmentedCommunicator::oneByte_isSentInTheseBytes()
{
    const LogCapture log;
    RecordingCarrier carrier;
    carrier.sendData({0x0102, MessageId(3), PayloadId(4), QByteArray("\x55")});
    QCOMPARE(carrier.take().value(0).toHex(), QByteArray("0209010002010000030455"
                                                         "46ed"));
}

void TestFragmentedCommunicator::queuedPayload_isTheSameInBytes()
{
    const LogCapture log;
    RecordingCarrier carrier;
    carrier.start();
    const CompletePayload payload = payloadOf(7, 65535, 9);
    carrier.sendData(payload);
    carrier.tick();
    QCOMPARE(carrier.take(), onboardFrames(payload));
}

void TestFragmentedCommunicator::payloadBeyond16Bits_isCut()
{
    const LogCapture log;
    RecordingCarrier carrier;
    carrier.sendData(payloadOf(4, 65536));
    QCOMPARE(carrier.take(), QList<QByteArray>());
    CompletePayload payload = payloadOf(4, 65536 + 89);
    carrier.sendData(payload);
    payload.data.truncate(89);
    QCOMPARE(carrier.take(), onboardFrames(payload));
}

void TestFragmentedCommunicator::onboardMessage_isSentWithAFreshChecksum()
{
    const LogCapture log;
    RecordingCarrier carrier;
    OnboardMessage frame(200, 2);
    frame.data[0] = 'h';
    frame.data[1] = 'i';
    carrier.sendFragment(frame);
    QCOMPARE(carrier.take(), QList<QByteArray>{onboardFrame(200, "hi")});
}

void TestFragmentedCommunicator::pong_isTheTimestampAndOurVersion_data()
{
    QTest::addColumn<qint64>("timestamp");
    QTest::addColumn<QByteArray>("body");
    QTest::newRow("zero") << qint64(0) << QByteArray("00000000000000000002");
    QTest::newRow("time") << qint64(0x0000018E16A5F123) << QByteArray("23f1a5168e0100000002");
    QTest::newRow("negative") << qint64(-2) << QByteArray("feffffffffffffff0002");
}

void TestFragmentedCommunicator::pong_isTheTimestampAndOurVersion()
{
    QFETCH(qint64, timestamp);
    QFETCH(QByteArray, body);
    const LogCapture log;
    RecordingCarrier carrier;
    carrier.sendPong(timestamp);
    const QList<QByteArray> frames = carrier.take();
    QCOMPARE(frames.size(), 1);
    QCOMPARE(frames[0].left(12).toHex(), "040a" + body);
    QCOMPARE(frames[0], onboardFrame(4, QByteArray::fromHex(body)));
}

void TestFragmentedCommunicator::sendData_calledByName_sends()
{
    const LogCapture log;
    RecordingCarrier carrier;
    const CompletePayload payload = payloadOf(4, 100);
    QVERIFY(QMetaObject::invokeMethod(&carrier, "sendData", Q_ARG(CompletePayload, payload)));
    QCOMPARE(carrier.take(), onboardFrames(payload));
}

QTEST_GUILESS_MAIN(TestFragmentedCommunicator)
#include "tst_fragmentedcommunicator.moc"
