// SPDX-License-Identifier: MIT
#include "autopilot/support/autopilotrig.h"
#include "support/testmain.h"

// A program of its own, since the line is written once per process.
class TestFirstHeartbeat : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void heartbeats_ofTwoDrivers_logTheFirstOneOnly();
};

void TestFirstHeartbeat::heartbeats_ofTwoDrivers_logTheFirstOneOnly()
{
    AutopilotRig rig;
    DrivenAutopilot second;
    rig.plugin->startTimers();
    second.startTimers();

    rig.plugin->fire(rig.plugin->heartbeatTimerId);
    QCOMPARE(rig.log.take(), QStringList{QStringLiteral("[AP] Dbg: First MAVLink heartbeat sent")});
    QCOMPARE(rig.log.takenTypes(), QList<QtMsgType>{QtDebugMsg});

    rig.plugin->fire(rig.plugin->heartbeatTimerId);
    second.fire(second.heartbeatTimerId);
    QCOMPARE(rig.log.take(), QStringList());
}

APP_TEST_MAIN(TestFirstHeartbeat)
#include "tst_firstheartbeat.moc"
