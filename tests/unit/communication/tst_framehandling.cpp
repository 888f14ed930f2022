// SPDX-License-Identifier: MIT
#include "communication/onboardmessagedispatcher.h"
#include "communication/recordingcarrier.h"
#include "support/logcapture.h"

#include <QtTest>

#include <memory>

namespace {

const QByteArray Timestamp = QByteArray::fromHex("0102030405060708");

/// What a dispatcher makes of frames: a line for each call, "ping 254 72623859790382849", "payload 252 7
/// data".
class Handler
{
public:
    bool handle(int type, const QByteArray &body)
    {
        // Gone when the payload is looked at: nothing may be left pointing into the frame.
        const auto frame = std::make_unique<OnboardMessage>(onboardFrame(type, body));
        return dispatcher.handle(
            *frame,
            [this](OnboardMessageId by, qint64 timestamp) {
                calls.append(QStringLiteral("ping %1 %2").arg(by).arg(timestamp));
            },
            [this](OnboardMessageId by, const CompletePayload &payload) {
                calls.append(QStringLiteral("payload %1 %2 %3")
                                 .arg(by)
                                 .arg(payload.id)
                                 .arg(QString::fromLatin1(payload.data)));
            });
    }

    QStringList calls;

private:
    OnboardMessageDispatcher dispatcher;
};

} // namespace

/// OnboardMessageDispatcher::handle().
class TestFrameHandling : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void fragment_ofEitherKind_goesToThePayloads_data();
    void fragment_ofEitherKind_goesToThePayloads();
    void shortBody_isRefused_data();
    void shortBody_isRefused();
    void fragmentWithoutData_isTaken();
    void fragments_ofBothTypes_makeOnePayload();
    void shortFragment_leavesThePayloadsAlone();
    void fragmentData_survivesItsFrame();
    void rejectedFragment_isHandledAllTheSame();
    void ping_handsOnTheTimestamp_data();
    void ping_handsOnTheTimestamp();
    void otherTypes_areHandledWithoutACall();
};

void TestFrameHandling::initTestCase()
{
    // The first one of the process writes a line, which is another test's business.
    LogCapture log;
    Handler().handle(OnboardPong, Timestamp);
    log.take();
}

void TestFrameHandling::fragment_ofEitherKind_goesToThePayloads_data()
{
    QTest::addColumn<int>("type");
    QTest::newRow("telemetry") << 2;
    QTest::newRow("data") << 252;
}

void TestFrameHandling::fragment_ofEitherKind_goesToThePayloads()
{
    QFETCH(int, type);
    const LogCapture log;
    Handler handler;
    QVERIFY(handler.handle(type, QByteArray::fromHex("0400070000000104") + "data"));
    QCOMPARE(handler.calls, QStringList{QStringLiteral("payload %1 7 data").arg(type)});
}

void TestFrameHandling::shortBody_isRefused_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("size");
    for (const int type : {2, 252, 254, 4})
        for (const int size : {0, 1, 2, 6, 7})
            QTest::addRow("type %d, %d bytes", type, size) << type << size;
}

void TestFrameHandling::shortBody_isRefused()
{
    QFETCH(int, type);
    QFETCH(int, size);
    const LogCapture log;
    Handler handler;
    QVERIFY(!handler.handle(type, QByteArray(size, '\0')));
    QCOMPARE(handler.calls, QStringList());
}

void TestFrameHandling::fragmentWithoutData_isTaken()
{
    const LogCapture log;
    Handler handler;
    QVERIFY(handler.handle(252, QByteArray::fromHex("0000070000000104")));
    QCOMPARE(handler.calls, QStringList{QStringLiteral("payload 252 7 ")});
}

void TestFrameHandling::fragments_ofBothTypes_makeOnePayload()
{
    const LogCapture log;
    Handler handler;
    QVERIFY(handler.handle(2, QByteArray::fromHex("0400070000000104") + "da"));
    QCOMPARE(handler.calls, QStringList());
    QVERIFY(handler.handle(252, QByteArray::fromHex("0400070002000104") + "ta"));
    QCOMPARE(handler.calls, QStringList{QStringLiteral("payload 252 7 data")});
}

// Seven bytes of a header that would contradict the payload under reassembly.
void TestFrameHandling::shortFragment_leavesThePayloadsAlone()
{
    const LogCapture log;
    Handler handler;
    QVERIFY(handler.handle(252, QByteArray::fromHex("0400070000000104") + "da"));
    QVERIFY(!handler.handle(252, QByteArray::fromHex("FFFF0700000001")));
    QVERIFY(handler.handle(252, QByteArray::fromHex("0400070002000104") + "ta"));
    QCOMPARE(handler.calls, QStringList{QStringLiteral("payload 252 7 data")});
}

void TestFrameHandling::fragmentData_survivesItsFrame()
{
    const LogCapture log;
    Handler handler;
    const CompletePayload payload = payloadOf(4, 60000, 7);
    QByteArray received;
    OnboardMessageDispatcher dispatcher;
    for (const QByteArray &bytes : onboardFrames(payload, 252)) {
        OnboardMessage frame(bytes);
        QVERIFY(dispatcher.handle(
            frame, [](OnboardMessageId, qint64) {},
            [&](OnboardMessageId, const CompletePayload &complete) { received = complete.data; }));
        std::fill(frame.data, frame.data + frame.length, '\0');
    }
    QCOMPARE(received, payload.data);
}

void TestFrameHandling::rejectedFragment_isHandledAllTheSame()
{
    const LogCapture log;
    Handler handler;
    const QByteArray fragment = QByteArray::fromHex("0400070000000104") + "da";
    QVERIFY(handler.handle(252, fragment));
    QVERIFY(handler.handle(252, fragment)); // a repeat
    QVERIFY(handler.handle(252, QByteArray::fromHex("0400070002000104") + "ta"));
    QCOMPARE(handler.calls, QStringList());
}

void TestFrameHandling::ping_handsOnTheTimestamp_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<qint64>("timestamp");
    const auto row = [](const char *title, const QByteArray &body, qint64 timestamp) {
        for (const int type : {254, 4})
            QTest::addRow("%d %s", type, title) << type << body << timestamp;
    };
    row("timestamp only", Timestamp, 0x0807060504030201);
    row("major", Timestamp + '\x01', 0x0807060504030201);
    row("major and minor", Timestamp + "\x01\x02", 0x0807060504030201);
    row("more", Timestamp + QByteArray(240, 'x'), 0x0807060504030201);
    row("zero", QByteArray(8, '\0'), 0);
    row("negative", QByteArray(8, '\xFF'), -1);
    row("smallest", QByteArray(7, '\0') + '\x80', std::numeric_limits<qint64>::min());
}

void TestFrameHandling::ping_handsOnTheTimestamp()
{
    QFETCH(int, type);
    QFETCH(QByteArray, body);
    QFETCH(qint64, timestamp);
    const LogCapture log;
    Handler handler;
    QVERIFY(handler.handle(type, body));
    QCOMPARE(handler.calls, QStringList{QStringLiteral("ping %1 %2").arg(type).arg(timestamp)});
}

void TestFrameHandling::otherTypes_areHandledWithoutACall()
{
    const LogCapture log;
    Handler handler;
    for (int type = 0; type < 256; ++type) {
        if (type == 2 || type == 4 || type == 252 || type == 254)
            continue;
        for (const int size : {0, 7, 8, 10, 96, 255})
            QVERIFY2(handler.handle(type, QByteArray(size, '\0')), qPrintable(QString::number(type)));
    }
    QCOMPARE(handler.calls, QStringList());
}

QTEST_GUILESS_MAIN(TestFrameHandling)
#include "tst_framehandling.moc"
