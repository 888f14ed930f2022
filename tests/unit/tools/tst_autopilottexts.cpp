// SPDX-License-Identifier: MIT
#include "host/autopilottexts.h"

#include "autopilot/mavautopilot.h"
#include "host/detectedautopilot.h"
#include "host/latestvalues.h"
#include "support/logcapture.h"
#include "support/testmain.h"

#include <QCborMap>
#include <QTemporaryDir>

#include <algorithm>

class TestAutopilotTexts : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void text_isKeptWithItsSeverity();
    void longText_isPutTogether();
    void partsOfAnotherText_areNotAdded();
    void textsOfOthers_areLeftAlone();

private:
    void announce(const mavlink::Message &message, quint8 componentId = 1);
    void say(const char *text, quint16 id = 0, quint8 part = 0, quint8 componentId = 1);
    QString seen() const
    {
        return values->value(QStringLiteral("autopilotText")).toMap().value(QLatin1String("text")).toString();
    }

    QTemporaryDir scratch;
    std::unique_ptr<LogCapture> log; // the plugin tells of its detection
    std::unique_ptr<MavAutopilot> driver;
    std::unique_ptr<LatestValues> values;
    std::unique_ptr<DetectedAutopilot> autopilot;
    std::unique_ptr<AutopilotTexts> texts;
};

void TestAutopilotTexts::initTestCase()
{
    runningApp()->loadSettings(scratch.filePath(QStringLiteral("host.ini")));
}

void TestAutopilotTexts::init()
{
    log = std::make_unique<LogCapture>();
    driver = std::make_unique<MavAutopilot>();
    values = std::make_unique<LatestValues>();
    autopilot = std::make_unique<DetectedAutopilot>(driver.get());
    texts = std::make_unique<AutopilotTexts>(driver.get(), *autopilot, *values);
}

void TestAutopilotTexts::cleanup()
{
    texts.reset();
    autopilot.reset();
    values.reset();
    driver.reset();
    log->take();
    log.reset();
}

void TestAutopilotTexts::announce(const mavlink::Message &message, quint8 componentId)
{
    mavlink::mavlink_message_t wire{};
    mavlink::MsgMap map(wire);
    message.serialize(map);
    wire.sysid = 1;
    wire.compid = componentId;
    Q_EMIT driver->messageReceived(wire);
}

void TestAutopilotTexts::say(const char *text, quint16 id, quint8 part, quint8 componentId)
{
    mavlink::common::msg::STATUSTEXT status{};
    status.severity = 2;
    std::copy_n(text, qMin(size_t(qstrlen(text)), status.text.size()), status.text.begin());
    status.id = id;
    status.chunk_seq = part;
    announce(status, componentId);
}

void TestAutopilotTexts::text_isKeptWithItsSeverity()
{
    say("PreArm: no fix");
    const QCborMap expected{{QStringLiteral("text"), QStringLiteral("PreArm: no fix")},
                            {QStringLiteral("severity"), 2}};
    QCOMPARE(values->value(QStringLiteral("autopilotText")), QCborValue(expected));
}

void TestAutopilotTexts::longText_isPutTogether()
{
    const QByteArray first(50, 'x'); // without an end, as it fills its field
    say(first.constData(), 3, 0);
    say("yz", 3, 1);
    QCOMPARE(seen(), QString(QString::fromLatin1(first) + QLatin1String("yz")));
}

void TestAutopilotTexts::partsOfAnotherText_areNotAdded()
{
    say("one", 3, 0);
    say("two", 4, 1); // its beginning was lost
    QCOMPARE(seen(), QStringLiteral("two"));
    say("three", 4, 0);
    QCOMPARE(seen(), QStringLiteral("three"));
    say("four");
    say("five");
    QCOMPARE(seen(), QStringLiteral("five"));
}

void TestAutopilotTexts::textsOfOthers_areLeftAlone()
{
    mavlink::minimal::msg::HEARTBEAT heartbeat{};
    heartbeat.autopilot = static_cast<quint8>(mavlink::minimal::MAV_AUTOPILOT::ARDUPILOTMEGA);
    announce(heartbeat);
    say("ours");
    say("the camera's", 0, 0, 100);
    QCOMPARE(seen(), QStringLiteral("ours"));
}

APP_TEST_MAIN(TestAutopilotTexts)
#include "tst_autopilottexts.moc"
