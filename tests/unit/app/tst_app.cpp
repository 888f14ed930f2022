// SPDX-License-Identifier: MIT
#include "appfixture.h"
#include "support/logcapture.h"

#include <QPointer>
#include <QSignalSpy>

#include <type_traits>

namespace {

static_assert(
    std::is_same_v<decltype(&App::settingNameToKey), QString (*)(const char *, const char *, const char *)>);
static_assert(std::is_same_v<decltype(&App::settings), QSettings *(App::*)()>);
static_assert(std::is_same_v<decltype(&App::settingValue),
                             QVariant (App::*)(const char *, const char *, const QVariant &)>);
static_assert(std::is_base_of_v<QCoreApplication, App>);

} // namespace

/// Lets the test look at the tables.
class OpenApp : public App
{
public:
    using App::App;
    using App::debugOptions;
    using App::objects;
};

class TestApp : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void tables_holdTheGivenNamesInOrder();
    void construction_switchesEachDebugOptionOff();
    void construction_leavesTheObjectRegistryEmpty();
    void construction_isSilentAndNotVerbose();
    void settingNameToKey_joinsGroupAndName_data();
    void settingNameToKey_joinsGroupAndName();
    void read_fromAnEmptyFile_returnsTheDefaultAndWritesIt();
    void read_again_keepsTheFirstDefault();
    void read_ofAStoredValue_ignoresTheDefault();
    void read_withAnInvalidDefault_storesItAndReadsAsNothing();
    void setSettingDefault_ofAnAbsentKey_storesIt();
    void setSettingDefault_ofAPresentKey_changesNothing();
    void settings_beforeLoading_opensTheNativeStoreWithOneCriticalLine();
    void read_beforeLoading_worksOnTheNativeStore();
    void update_beforeLoading_worksOnTheNativeStore();
    void sync_beforeLoading_opensTheNativeStore();
    void load_afterTheFallback_readsTheFileInstead();
    void load_opensAnIniFileOwnedByTheApp();
    void load_ofASecondFile_closesTheFirst();
    void load_takesVerboseFromTheFile_data();
    void load_takesVerboseFromTheFile();
    void load_ofASecondFile_takesItsVerbose();
    void verboseSignal_afterLoadingTwice_setsTheFlag();
    void verboseSignal_beforeLoading_leavesTheFlag();
    void sync_writesOutstandingDefaults();
};

void TestApp::tables_holdTheGivenNamesInOrder()
{
    QStringList options;
    for (const char *option : C::AvailabeDebugOptions)
        options << QString::fromLatin1(option);
    QCOMPARE(options.join(QLatin1Char(' ')), QStringLiteral("desktop gps yaw recording"));

    QStringList groups;
    for (const char *group : C::ReservedSettingsGroups)
        groups << QString::fromLatin1(group);
    QCOMPARE(groups.join(QLatin1Char(' ')), QStringLiteral("AUTOPILOTS PAYLOADS OUTPUTS"));
}

void TestApp::construction_switchesEachDebugOptionOff()
{
    const ApplicationFixture<OpenApp> f;
    const QHash<QString, bool> expected{{QStringLiteral("desktop"), false},
                                        {QStringLiteral("gps"), false},
                                        {QStringLiteral("yaw"), false},
                                        {QStringLiteral("recording"), false}};
    QCOMPARE(f.app.debugOptions, expected);
    QCOMPARE(f.app.availableDebugOptions(), expected);
}

void TestApp::construction_leavesTheObjectRegistryEmpty()
{
    const ApplicationFixture<OpenApp> f;
    QVERIFY(f.app.objects.isEmpty());
}

void TestApp::construction_isSilentAndNotVerbose()
{
    const LogCapture log;
    const ApplicationFixture<> f;
    QVERIFY(!f.app.isVerbose());
    QCOMPARE(QCoreApplication::instance(), &f.app);
    QCOMPARE(runningApp(), &f.app);
}

void TestApp::settingNameToKey_joinsGroupAndName_data()
{
    QTest::addColumn<QByteArray>("group");
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QByteArray>("separator");
    QTest::addColumn<QString>("key");

    QTest::newRow("file") << QByteArray("MAV") << QByteArray("SYSTEM_ID") << QByteArray("/")
                          << QStringLiteral("MAV/SYSTEM_ID");
    QTest::newRow("signal") << QByteArray("MAV") << QByteArray("SYSTEM_ID") << QByteArray("_")
                            << QStringLiteral("MAV_SYSTEM_ID");
    QTest::newRow("group of two words") << QByteArray("RADSYS_ZOND") << QByteArray("PORT") << QByteArray("/")
                                        << QStringLiteral("RADSYS_ZOND/PORT");
    QTest::newRow("empty") << QByteArray("") << QByteArray("") << QByteArray("/") << QStringLiteral("/");
    QTest::newRow("place markers") << QByteArray("%2") << QByteArray("%3") << QByteArray("%1")
                                   << QStringLiteral("%2%1%3");
}

void TestApp::settingNameToKey_joinsGroupAndName()
{
    QFETCH(QByteArray, group);
    QFETCH(QByteArray, name);
    QFETCH(QByteArray, separator);
    QTEST(App::settingNameToKey(group.constData(), name.constData(), separator.constData()), "key");
}

void TestApp::read_fromAnEmptyFile_returnsTheDefaultAndWritesIt()
{
    const LogCapture log;
    SettingsFixture<> f;
    f.load();
    QCOMPARE(f.app.settingValue("MAV", "SYSTEM_ID", 2), QVariant(2));
    f.app.syncSettings();
    QCOMPARE(f.text(), QByteArray("[APP]\nVERBOSE=false\n\n[MAV]\nSYSTEM_ID=2\n"));
}

void TestApp::read_again_keepsTheFirstDefault()
{
    SettingsFixture<> f;
    f.load();
    f.app.settingValue("MAV", "SYSTEM_ID", 2);
    QCOMPARE(f.app.settingValue("MAV", "SYSTEM_ID", 9).toInt(), 2);
    QCOMPARE(f.stored().value(QStringLiteral("MAV/SYSTEM_ID")).toInt(), 2);
}

void TestApp::read_ofAStoredValue_ignoresTheDefault()
{
    SettingsFixture<> f;
    f.load("[MAV]\nSYSTEM_ID=7\n");
    QCOMPARE(f.app.settingValue("MAV", "SYSTEM_ID", 2).toInt(), 7);
}

void TestApp::read_withAnInvalidDefault_storesItAndReadsAsNothing()
{
    const LogCapture log;
    SettingsFixture<> f;
    f.load();
    for (int reading = 0; reading < 2; ++reading) {
        const QVariant value = f.app.settingValue("MAV", "BAUD_RATE", QVariant());
        QCOMPARE(value.toInt(), 0);
        QCOMPARE(value.toBool(), false);
        QCOMPARE(value.toString(), QString());
    }
    f.app.syncSettings();
    QVERIFY2(f.text().contains("[MAV]\nBAUD_RATE=@Invalid()\n"), f.text().constData());
    QCOMPARE(f.app.settingValue("MAV", "BAUD_RATE", 57600).toInt(), 0);
}

void TestApp::setSettingDefault_ofAnAbsentKey_storesIt()
{
    SettingsFixture<> f;
    f.load();
    f.app.setSettingDefault("MAV", "SERIAL_DEVICE", QStringLiteral("/dev/ttymxc3"));
    QCOMPARE(f.stored().value(QStringLiteral("MAV/SERIAL_DEVICE")).toString(),
             QStringLiteral("/dev/ttymxc3"));
}

void TestApp::setSettingDefault_ofAPresentKey_changesNothing()
{
    SettingsFixture<> f;
    f.load("[MAV]\nSERIAL_DEVICE=\n");
    f.app.setSettingDefault("MAV", "SERIAL_DEVICE", QStringLiteral("/dev/ttymxc3"));
    QCOMPARE(f.stored().value(QStringLiteral("MAV/SERIAL_DEVICE")).toString(), QString());
}

void TestApp::settings_beforeLoading_opensTheNativeStoreWithOneCriticalLine()
{
    LogCapture log;
    ApplicationFixture<> f;
    f.app.setOrganizationName(QStringLiteral("fleet"));
    f.app.setApplicationName(QStringLiteral("host"));

    QSettings *settings = f.app.settings();
    QCOMPARE(log.take(), QStringList{QStringLiteral("CRIT: Using settings before initialization")});
    QCOMPARE(log.takenTypes(), QList<QtMsgType>{QtCriticalMsg});
    QCOMPARE(settings->format(), QSettings::NativeFormat);
    QCOMPARE(settings->organizationName(), QStringLiteral("fleet"));
    QCOMPARE(settings->applicationName(), QStringLiteral("host"));
    QCOMPARE(settings->parent(), &f.app);
    QCOMPARE(f.app.settings(), settings);
}

void TestApp::read_beforeLoading_worksOnTheNativeStore()
{
    LogCapture log;
    ApplicationFixture<> f;
    f.app.setOrganizationName(QStringLiteral("fleet"));
    f.app.setApplicationName(QStringLiteral("reader"));

    QCOMPARE(f.app.settingValue("MAV", "SYSTEM_ID", 2).toInt(), 2);
    QCOMPARE(f.app.settingValue("MAV", "SYSTEM_ID", 3).toInt(), 2);
    QCOMPARE(log.take(), QStringList{QStringLiteral("CRIT: Using settings before initialization")});
}

void TestApp::update_beforeLoading_worksOnTheNativeStore()
{
    LogCapture log;
    ApplicationFixture<> f;
    f.app.setOrganizationName(QStringLiteral("fleet"));
    f.app.setApplicationName(QStringLiteral("writer"));
    const QSignalSpy changed(&f.app, &App::MAV_BAUD_RATE);

    f.app.updateSetting("MAV", "BAUD_RATE", 4);
    QCOMPARE(changed.count(), 1);
    QCOMPARE(f.app.settings()->value(QStringLiteral("MAV/BAUD_RATE")).toInt(), 4);
    const QStringList expected{QStringLiteral("CRIT: Using settings before initialization"),
                               QStringLiteral("Updated: MAV/BAUD_RATE=4")};
    QCOMPARE(log.take(), expected);
}

void TestApp::sync_beforeLoading_opensTheNativeStore()
{
    LogCapture log;
    ApplicationFixture<> f;
    f.app.setOrganizationName(QStringLiteral("fleet"));
    f.app.setApplicationName(QStringLiteral("writer"));

    f.app.syncSettings();
    QCOMPARE(log.take(), QStringList{QStringLiteral("CRIT: Using settings before initialization")});
    QCOMPARE(f.app.settings()->format(), QSettings::NativeFormat);
}

void TestApp::load_afterTheFallback_readsTheFileInstead()
{
    LogCapture log;
    SettingsFixture<> f;
    const QPointer<QSettings> fallback = f.app.settings();
    log.take();
    f.load("[MAV]\nSYSTEM_ID=7\n");
    QVERIFY(!fallback);
    QCOMPARE(f.app.settingValue("MAV", "SYSTEM_ID", 2).toInt(), 7);
}

void TestApp::load_opensAnIniFileOwnedByTheApp()
{
    const LogCapture log;
    SettingsFixture<> f;
    f.load();
    QCOMPARE(f.app.settings()->format(), QSettings::IniFormat);
    QCOMPARE(f.app.settings()->fileName(), f.path);
    QCOMPARE(f.app.settings()->parent(), &f.app);
}

void TestApp::load_ofASecondFile_closesTheFirst()
{
    SettingsFixture<> f;
    f.load();
    f.app.settingValue("MAV", "SYSTEM_ID", 2);
    const QPointer<QSettings> first = f.app.settings();
    f.app.loadSettings(f.filePath(QStringLiteral("second.ini")));
    QVERIFY(!first);
    QVERIFY2(f.text().contains("SYSTEM_ID=2"), f.text().constData());
    QCOMPARE(f.app.settingValue("MAV", "SYSTEM_ID", 3).toInt(), 3);
}

void TestApp::load_takesVerboseFromTheFile_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<bool>("verbose");
    QTest::newRow("no file") << QByteArray() << false;
    QTest::newRow("true") << QByteArray("[APP]\nVERBOSE=true\n") << true;
    QTest::newRow("one") << QByteArray("[APP]\nVERBOSE=1\n") << true;
    QTest::newRow("any other text") << QByteArray("[APP]\nVERBOSE=yes\n") << true;
    QTest::newRow("false") << QByteArray("[APP]\nVERBOSE=false\n") << false;
    QTest::newRow("nought") << QByteArray("[APP]\nVERBOSE=0\n") << false;
    QTest::newRow("nothing") << QByteArray("[APP]\nVERBOSE=\n") << false;
}

void TestApp::load_takesVerboseFromTheFile()
{
    QFETCH(QByteArray, text);
    SettingsFixture<> f;
    if (text.isEmpty())
        f.load();
    else
        f.load(text);
    QTEST(f.app.isVerbose(), "verbose");
}

void TestApp::load_ofASecondFile_takesItsVerbose()
{
    SettingsFixture<> f;
    f.load("[APP]\nVERBOSE=true\n");
    f.app.loadSettings(f.filePath(QStringLiteral("second.ini")));
    QVERIFY(!f.app.isVerbose());
}

void TestApp::verboseSignal_afterLoadingTwice_setsTheFlag()
{
    SettingsFixture<> f;
    f.load();
    f.load();
    Q_EMIT f.app.APP_VERBOSE(true);
    QVERIFY(f.app.isVerbose());
    Q_EMIT f.app.APP_VERBOSE(false);
    QVERIFY(!f.app.isVerbose());
}

void TestApp::verboseSignal_beforeLoading_leavesTheFlag()
{
    ApplicationFixture<> f;
    Q_EMIT f.app.APP_VERBOSE(true);
    QVERIFY(!f.app.isVerbose());
}

void TestApp::sync_writesOutstandingDefaults()
{
    SettingsFixture<> f;
    f.load();
    f.app.setSettingDefault("MAV", "BAUD_RATE", 57600);
    f.app.syncSettings();
    QVERIFY2(f.text().contains("[MAV]\nBAUD_RATE=57600\n"), f.text().constData());
}

APPLESS_TEST_MAIN(TestApp)
#include "tst_app.moc"
