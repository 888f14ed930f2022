// SPDX-License-Identifier: MIT
#include "host/groundpayloads.h"

#include "autopilot/mavautopilot.h"
#include "communication/mavcommunicator.h"
#include "host/detectedautopilot.h"
#include "support/logcapture.h"
#include "support/testmain.h"

#include <QTemporaryDir>

using mavlink::minimal::MAV_AUTOPILOT;

namespace {

constexpr MessageId Message{3};
constexpr PayloadId AtOnce{254};

/// Says that its link is open, or not, as told.
class FakeDriver : public MavAutopilot
{
public:
    bool isStarted() const override { return open; }

    bool open = true;
};

} // namespace

class TestGroundPayloads : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void payloads_getIdsInARow();
    void payloads_areSentByTheCommunicator();
    void hints_data();
    void hints();
    void px4WithDataMessages_isHintedAtOnce();
    void px4WithDataMessagesLater_isHinted();
    void closedLink_isHinted();
    void forwardedPayloads_areNotCommentedOn();

private:
    static void useV2Extension(bool on) { runningApp()->updateSetting("MAV", "V2_EXTENSION", on); }
    void hear(MAV_AUTOPILOT kind);

    QTemporaryDir scratch;
    std::unique_ptr<LogCapture> log; // the plugin detects the autopilot too, and says so
    std::unique_ptr<FakeDriver> driver;
    std::unique_ptr<DetectedAutopilot> autopilot;
    std::unique_ptr<GroundPayloads> payloads;
    QStringList heard; // hints
};

void TestGroundPayloads::initTestCase()
{
    runningApp()->loadSettings(scratch.filePath(QStringLiteral("host.ini")));
}

void TestGroundPayloads::init()
{
    log = std::make_unique<LogCapture>();
    useV2Extension(false);
    driver = std::make_unique<FakeDriver>();
    autopilot = std::make_unique<DetectedAutopilot>(driver.get());
    payloads = std::make_unique<GroundPayloads>(*runningApp(), *driver, *autopilot);
    heard.clear();
    connect(payloads.get(), &GroundPayloads::hint, this, [this](const QString &text) { heard.append(text); });
}

void TestGroundPayloads::cleanup()
{
    payloads.reset();
    autopilot.reset();
    driver.reset();
    log->take();
    log.reset();
}

void TestGroundPayloads::hear(MAV_AUTOPILOT kind)
{
    mavlink::minimal::msg::HEARTBEAT heartbeat{};
    heartbeat.autopilot = static_cast<quint8>(kind);
    mavlink::mavlink_message_t message{};
    message.sysid = 1;
    message.compid = 1;
    mavlink::MsgMap map(message);
    heartbeat.serialize(map);
    Q_EMIT driver->messageReceived(message);
}

void TestGroundPayloads::payloads_getIdsInARow()
{
    QCOMPARE(payloads->send(Message, AtOnce, "a").id, quint16(0));
    payloads->forward(Message, AtOnce, "b");
    QCOMPARE(payloads->send(Message, AtOnce, "c").id, quint16(2));
}

void TestGroundPayloads::payloads_areSentByTheCommunicator()
{
    auto *carrier = qobject_cast<MavCommunicator *>(driver->communicator());
    QVERIFY(carrier);
    QList<QByteArray> frames;
    connect(carrier, &MavCommunicator::sendMavlinkMessage, this, [&](const mavlink::Message &message) {
        const auto &data = dynamic_cast<const mavlink::ardupilotmega::msg::DATA32 &>(message);
        frames.append(QByteArray(reinterpret_cast<const char *>(data.data.data()), data.len));
    });
    payloads->send(Message, AtOnce, "hello");
    payloads->forward(Message, AtOnce, "again");
    QCOMPARE(frames.size(), 2);
    QCOMPARE(frames[0].left(15), QByteArray::fromHex("020d0500000000"
                                                     "0003fe") +
                                     "hello");
    QCOMPARE(frames[1].left(15), QByteArray::fromHex("020d0500010000"
                                                     "0003fe") +
                                     "again");
}

void TestGroundPayloads::hints_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<bool>("v2Extension");
    QTest::addColumn<int>("size");
    QTest::addColumn<QString>("hint");
    const int px4 = int(MAV_AUTOPILOT::PX4);
    const int arduPilot = int(MAV_AUTOPILOT::ARDUPILOTMEGA);
    const QString throughPx4 = QStringLiteral(
        "through a PX4 only payloads of up to 176 bytes arrive whole, this one has %1: it forwards two "
        "messages of a burst and drops the rest");
    const QString inData = QStringLiteral(
        "in DATA messages only payloads of up to 84 bytes arrive whole, this one has %1; turn V2_EXTENSION "
        "on: set MAV V2_EXTENSION true");
    QTest::newRow("ArduPilot, V2, largest") << arduPilot << true << 65535 << QString();
    QTest::newRow("ArduPilot, DATA, fits") << arduPilot << false << 84 << QString();
    QTest::newRow("ArduPilot, DATA, too long") << arduPilot << false << 85 << inData.arg(85);
    QTest::newRow("PX4, V2, two fragments") << px4 << true << 176 << QString();
    QTest::newRow("PX4, V2, three fragments") << px4 << true << 177 << throughPx4.arg(177);
    QTest::newRow("PX4, DATA, too long") << px4 << false << 177 << inData.arg(177);
}

void TestGroundPayloads::hints()
{
    QFETCH(int, kind);
    QFETCH(bool, v2Extension);
    QFETCH(int, size);
    QFETCH(QString, hint);
    hear(static_cast<MAV_AUTOPILOT>(kind));
    useV2Extension(v2Extension);
    heard.clear();
    payloads->send(Message, AtOnce, QByteArray(size, 'x'));
    QCOMPARE(heard, hint.isEmpty() ? QStringList() : QStringList{hint});
}

void TestGroundPayloads::px4WithDataMessages_isHintedAtOnce()
{
    QVERIFY(heard.isEmpty());
    hear(MAV_AUTOPILOT::PX4);
    QCOMPARE(heard, QStringList{QStringLiteral(
                        "a PX4 does not relay DATA messages, so nothing reaches the ground station; turn "
                        "V2_EXTENSION on: set MAV V2_EXTENSION true")});
    useV2Extension(true);
    useV2Extension(false);
    QCOMPARE(heard.size(), 1);
}

void TestGroundPayloads::px4WithDataMessagesLater_isHinted()
{
    useV2Extension(true);
    hear(MAV_AUTOPILOT::PX4);
    QVERIFY(heard.isEmpty());
    useV2Extension(false);
    QCOMPARE(heard.size(), 1);
}

void TestGroundPayloads::closedLink_isHinted()
{
    driver->open = false;
    payloads->send(Message, AtOnce, "a");
    QCOMPARE(heard, QStringList{QStringLiteral("the link is not open: a payload that leaves at once is lost, "
                                               "another waits for the next 5 s at most")});
}

void TestGroundPayloads::forwardedPayloads_areNotCommentedOn()
{
    useV2Extension(false);
    payloads->forward(Message, AtOnce, QByteArray(65535, 'x'));
    QVERIFY(heard.isEmpty());
}

APP_TEST_MAIN(TestGroundPayloads)
#include "tst_groundpayloads.moc"
