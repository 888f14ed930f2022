// SPDX-License-Identifier: MIT
#include "autopilot/support/autopilotrig.h"
#include "autopilot/support/frames.h"
#include "autopilot/support/goldenframes.h"
#include "navigation/ivirtualstick.h"
#include "support/testmain.h"

#include <QLoggingCategory>

namespace {

// Every log line asks its object for the tag when it is begun.
class LineCounter : public MavAutopilot
{
public:
    QString id() const override
    {
        ++lines;
        return MavAutopilot::id();
    }

    mutable int lines = 0;
};

// Whether debug lines of the default category are written, for as long as it lives.
class DebugLines
{
public:
    explicit DebugLines(bool on)
    {
        QLoggingCategory::setFilterRules(on ? QStringLiteral("default.debug=true")
                                            : QStringLiteral("default.debug=false"));
    }
    ~DebugLines() { QLoggingCategory::setFilterRules(QString()); }
};

// It writes a line of its own for the first position.
void leaveOutTheStick(MavAutopilot &plugin)
{
    QObject::disconnect(&plugin, &MavAutopilot::messageReceived, plugin.virtualStick(), nullptr);
}

void addHandledMessages()
{
    QTest::addColumn<QByteArray>("frame");
    QTest::newRow("SYSTEM_TIME") << QByteArray::fromHex(Golden::SystemTime);
    QTest::newRow("GPS_RAW_INT") << QByteArray::fromHex(Golden::GpsRawInt);
    QTest::newRow("ATTITUDE") << QByteArray::fromHex(Golden::Attitude);
    QTest::newRow("GLOBAL_POSITION_INT") << QByteArray::fromHex(Golden::GlobalPositionInt);
}

} // namespace

class TestMavDebugLines : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void handledMessage_withDebugOn_writesItsLine_data() { addHandledMessages(); }
    void handledMessage_withDebugOn_writesItsLine();
    void handledMessage_withDebugOff_beginsNoLine_data() { addHandledMessages(); }
    void handledMessage_withDebugOff_beginsNoLine();
};

void TestMavDebugLines::handledMessage_withDebugOn_writesItsLine()
{
    QFETCH(QByteArray, frame);
    const DebugLines on(true);
    LogCapture log;
    loadFreshSettings({});
    resetChannel();
    LineCounter plugin;
    leaveOutTheStick(plugin);
    plugin.dispatchReceivedData(frame);
    QCOMPARE(plugin.lines, 1);
    QCOMPARE(log.take().size(), 1);
    QCOMPARE(log.takenTypes(), QList<QtMsgType>{QtDebugMsg});
}

void TestMavDebugLines::handledMessage_withDebugOff_beginsNoLine()
{
    QFETCH(QByteArray, frame);
    const DebugLines off(false);
    LogCapture log;
    loadFreshSettings({});
    resetChannel();
    LineCounter plugin;
    leaveOutTheStick(plugin);
    plugin.dispatchReceivedData(frame);
    QCOMPARE(plugin.lines, 0);
    QCOMPARE(log.take(), QStringList());
    QCOMPARE(channelStatus().packet_rx_success_count, quint16(1)); // it was handled all the same
}

APP_TEST_MAIN(TestMavDebugLines)
#include "tst_mavdebuglines.moc"
