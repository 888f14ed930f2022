// SPDX-License-Identifier: MIT
#include "autopilot/support/autopilotrig.h"
#include "autopilot/support/frames.h"
#include "autopilot/support/goldenframes.h"
#include "support/testmain.h"

#include <ctime>

namespace {

namespace msg = mavlink::common::msg;

constexpr quint64 GoldenTimeUs = 1709795102987654; // 2024-03-07 07:05:02 UTC

msg::GPS_RAW_INT satellites(quint8 count)
{
    msg::GPS_RAW_INT gps{};
    gps.satellites_visible = count;
    return gps;
}

msg::SYSTEM_TIME timeOf(quint64 unixTimeUs)
{
    msg::SYSTEM_TIME time{};
    time.time_unix_usec = unixTimeUs;
    time.time_boot_ms = 1000;
    return time;
}

QString debugLine(int health, quint64 unixTimeUs, const char *set)
{
    return QStringLiteral("[AP] Dbg: Systime msg received health: %1  time: %2  time set: %3")
        .arg(health)
        .arg(unixTimeUs)
        .arg(QLatin1String(set));
}

void setTimeZone(const char *zone)
{
    qputenv("TZ", zone);
    tzset();
}

} // namespace

class TestMavClock : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void time_withSatellites_setsTheClock();
    void time_isTheLocalOne_data();
    void time_isTheLocalOne();
    void time_again_setsNothing();
    void time_withoutSatellites_setsNothing_howeverOften();
    void time_ofZero_setsNothing();
    void satellitesUnknown_countAsNone();
    void satellitesLost_blockTheClock();
    void failingCommand_countsAsSet();
    void satelliteLine_showsWhatWasReceived();
};

void TestMavClock::init()
{
    setTimeZone("EET-2");
}

void TestMavClock::time_withSatellites_setsTheClock()
{
    AutopilotRig rig;
    rig.plugin->feed(Golden::GpsRawInt);
    rig.log.take();
    rig.plugin->feed(Golden::SystemTime);
    QCOMPARE(rig.log.take(),
             (QStringList{debugLine(12, GoldenTimeUs, "false"),
                          QStringLiteral("[AP] \"date --set 2024.03.07-09:05:02\" -> 0"),
                          QStringLiteral("timeIsSet true"),
                          QStringLiteral("textToGround 0 [AP] New system date/time: 2024.03.07-09:05:02")}));
    QCOMPARE(takeStandInCalls(), QStringList{QStringLiteral("date --set 2024.03.07-09:05:02")});
}

void TestMavClock::time_isTheLocalOne_data()
{
    QTest::addColumn<QByteArray>("zone");
    QTest::addColumn<quint64>("unixTimeUs");
    QTest::addColumn<QString>("command");
    QTest::newRow("UTC") << QByteArray("UTC0") << GoldenTimeUs
                         << QStringLiteral("date --set 2024.03.07-07:05:02");
    QTest::newRow("west, the day before")
        << QByteArray("PST8") << GoldenTimeUs << QStringLiteral("date --set 2024.03.06-23:05:02");
    QTest::newRow("half an hour off")
        << QByteArray("IST-5:30") << GoldenTimeUs << QStringLiteral("date --set 2024.03.07-12:35:02");
    QTest::newRow("two digits everywhere") << QByteArray("UTC0") << Q_UINT64_C(1735689599999999)
                                           << QStringLiteral("date --set 2024.12.31-23:59:59");
    QTest::newRow("first millisecond")
        << QByteArray("UTC0") << Q_UINT64_C(1999) << QStringLiteral("date --set 1970.01.01-00:00:00");
    QTest::newRow("five digits of a year") << QByteArray("UTC0") << Q_UINT64_C(253402300800000000)
                                           << QStringLiteral("date --set 10000.01.01-00:00:00");
}

void TestMavClock::time_isTheLocalOne()
{
    QFETCH(QByteArray, zone);
    QFETCH(quint64, unixTimeUs);
    QFETCH(QString, command);
    setTimeZone(zone.constData());
    AutopilotRig rig;
    rig.plugin->feed(satellites(1));
    rig.plugin->feed(timeOf(unixTimeUs));
    rig.log.take();
    QCOMPARE(takeStandInCalls(), QStringList{command});
}

void TestMavClock::time_again_setsNothing()
{
    AutopilotRig rig;
    rig.plugin->feed(satellites(8));
    rig.plugin->feed(timeOf(GoldenTimeUs));
    rig.log.take();
    takeStandInCalls();
    rig.plugin->feed(timeOf(GoldenTimeUs + 3600000000U));
    QCOMPARE(rig.log.take(), QStringList{debugLine(8, GoldenTimeUs + 3600000000U, "true")});
    QCOMPARE(takeStandInCalls(), QStringList());
}

void TestMavClock::time_withoutSatellites_setsNothing_howeverOften()
{
    AutopilotRig rig;
    for (int i = 0; i < 3; ++i) {
        rig.plugin->feed(timeOf(GoldenTimeUs));
        QCOMPARE(rig.log.take(), QStringList{debugLine(0, GoldenTimeUs, "false")});
    }
    QCOMPARE(takeStandInCalls(), QStringList());
}

void TestMavClock::time_ofZero_setsNothing()
{
    AutopilotRig rig;
    rig.plugin->feed(satellites(8));
    rig.log.take();
    rig.plugin->feed(timeOf(0));
    QCOMPARE(rig.log.take(), QStringList{debugLine(8, 0, "false")});
    rig.plugin->feed(timeOf(GoldenTimeUs));
    rig.log.take();
    QCOMPARE(takeStandInCalls(), QStringList{QStringLiteral("date --set 2024.03.07-09:05:02")});
}

void TestMavClock::satellitesUnknown_countAsNone()
{
    AutopilotRig rig;
    rig.plugin->feed(satellites(255));
    QCOMPARE(rig.log.take(), QStringList{QStringLiteral("[AP] Dbg: GpsRawInf msg received sat: 255")});
    rig.plugin->feed(timeOf(GoldenTimeUs));
    QCOMPARE(rig.log.take(), QStringList{debugLine(0, GoldenTimeUs, "false")});
    QCOMPARE(takeStandInCalls(), QStringList());
}

void TestMavClock::satellitesLost_blockTheClock()
{
    AutopilotRig rig;
    rig.plugin->feed(satellites(8));
    rig.plugin->feed(satellites(255));
    rig.plugin->feed(timeOf(GoldenTimeUs));
    rig.plugin->feed(satellites(8));
    rig.plugin->feed(satellites(0));
    rig.plugin->feed(timeOf(GoldenTimeUs));
    rig.log.take();
    QCOMPARE(takeStandInCalls(), QStringList());
}

void TestMavClock::failingCommand_countsAsSet()
{
    AutopilotRig rig;
    rig.plugin->feed(satellites(8));
    rig.log.take();
    qputenv("NOFLAILSTEN_STANDIN_STATUS", "1");
    rig.plugin->feed(timeOf(GoldenTimeUs));
    qunsetenv("NOFLAILSTEN_STANDIN_STATUS");
    QCOMPARE(rig.log.take(),
             (QStringList{debugLine(8, GoldenTimeUs, "false"),
                          QStringLiteral("[AP] \"date --set 2024.03.07-09:05:02\" -> 256"),
                          QStringLiteral("timeIsSet true"),
                          QStringLiteral("textToGround 0 [AP] New system date/time: 2024.03.07-09:05:02")}));
    rig.plugin->feed(timeOf(GoldenTimeUs));
    QCOMPARE(rig.log.take(), QStringList{debugLine(8, GoldenTimeUs, "true")});
}

void TestMavClock::satelliteLine_showsWhatWasReceived()
{
    AutopilotRig rig;
    rig.plugin->feed(satellites(254));
    QCOMPARE(rig.log.take(), QStringList{QStringLiteral("[AP] Dbg: GpsRawInf msg received sat: 254")});
    QCOMPARE(rig.log.takenTypes(), QList<QtMsgType>{QtDebugMsg});
    rig.plugin->feed(timeOf(0));
    QCOMPARE(rig.log.take(), QStringList{debugLine(254, 0, "false")});
}

APP_TEST_MAIN(TestMavClock)
#include "tst_mavclock.moc"
