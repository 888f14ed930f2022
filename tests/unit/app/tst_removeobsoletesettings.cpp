// SPDX-License-Identifier: MIT
#include "appfixture.h"
#include "support/logcapture.h"

class TestRemoveObsoleteSettings : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void key_data();
    void key();
    void obsoleteKeyAboveAKnownOne_goesAlone();
    void obsoleteKeyAboveAnObsoleteOne_goesWithIt();
    void obsoleteSectionNamedLikeAKey_goesWithoutTheReservedOnes();
    void wholeFile_losesOnlyWhatIsObsolete();
    void keyThatIsNoPath_takesNoOtherAlong_data();
    void keyThatIsNoPath_takesNoOtherAlong();
    void keyWithAnEmptyPart_comesBackAsNoOther();
    void readersOwnDefaults_survive();
};

void TestRemoveObsoleteSettings::key_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("kept");
    const auto row = [](const char *name, bool kept) {
        QTest::newRow(name) << QString::fromLatin1(name) << kept;
    };

    row("MAV/SYSTEM_ID", true);
    row("MAV/OLD_KEY", false);
    row("MAV/SYSTEM_ID_", false);
    row("MAV/SYSTEM", false);
    row("mav/system_id", false);
    row("MAV/system_id", false);
    row("FOO/BAR", false);
    // Several slashes: each stands for an underscore.
    row("GEONICS/EM/61/RAW_LOG", true);
    row("GEONICS_EM_61/RAW_LOG", true);
    row("GEONICS_EM/61_RAW/LOG", true);
    row("MAV/SYSTEM/ID", true);
    row("MAV/SYSTEM/ID/X", false);
    // Keys above the first section.
    row("APP_VERBOSE", true);
    row("VERBOSE", false);
    row("roll", true);
    row("textToGround", true);
    row("PAYLOADS", true);
    row("outputs", true);
    row("PAYLOADS_X", false);
    // Reserved groups, in any letter case.
    row("payloads/anything", true);
    row("Payloads/any/thing", true);
    row("PAYLOADS/X", true);
    row("AUTOPILOTS/DJI/MODEL", true);
    row("autoPilots/x", true);
    row("outputs/GPS", true);
    row("OUTPUT/GPS", false);
    row("OUTPUT/GPS_ADDRESS", true);
    row("PAYLOADSX/X", false);
    row("X/PAYLOADS", false);
    // Blanks at the ends are no part of a signal's name.
    row("APP_VERBOSE ", true);
    row("MAV/SYSTEM ID", false);
    row("MAV/SYSTEM_ID(int)", false);
}

void TestRemoveObsoleteSettings::key()
{
    QFETCH(QString, name);
    const LogCapture log;
    SettingsFixture<> f;
    f.load();
    f.app.settings()->setValue(name, 7);
    QVERIFY(f.stored().contains(name));

    f.app.removeObsoleteSettings();
    QTEST(f.stored().contains(name), "kept");
    QCOMPARE(f.stored().value(QStringLiteral("APP/VERBOSE")).toString(), QStringLiteral("false"));
}

void TestRemoveObsoleteSettings::obsoleteKeyAboveAKnownOne_goesAlone()
{
    SettingsFixture<> f;
    f.load("[ALTIMETER]\nFILTER=old\nFILTER\\TYPE=\"a, b\"\n[APP]\nVERBOSE=false\n");
    f.app.removeObsoleteSettings();
    const QVariantMap expected{{QStringLiteral("ALTIMETER/FILTER/TYPE"), QStringLiteral("a, b")},
                               {QStringLiteral("APP/VERBOSE"), QStringLiteral("false")}};
    QCOMPARE(f.stored(), expected);
}

void TestRemoveObsoleteSettings::obsoleteKeyAboveAnObsoleteOne_goesWithIt()
{
    SettingsFixture<> f;
    f.load("[MAV]\nOLD=1\nOLD\\OLDER=2\nOLD\\OLDER\\OLDEST=3\nOLDISH=4\n[APP]\nVERBOSE=false\n");
    f.app.removeObsoleteSettings();
    QCOMPARE(f.stored().keys(), QStringList{QStringLiteral("APP/VERBOSE")});
}

void TestRemoveObsoleteSettings::obsoleteSectionNamedLikeAKey_goesWithoutTheReservedOnes()
{
    SettingsFixture<> f;
    f.load("MAV=1\nFOO=2\n[MAV]\nSYSTEM_ID=7\n[FOO]\nBAR=3\n[payloads]\nFOO=4\n[APP]\nVERBOSE=false\n");
    f.app.removeObsoleteSettings();
    const QVariantMap expected{{QStringLiteral("MAV/SYSTEM_ID"), QStringLiteral("7")},
                               {QStringLiteral("payloads/FOO"), QStringLiteral("4")},
                               {QStringLiteral("APP/VERBOSE"), QStringLiteral("false")}};
    QCOMPARE(f.stored(), expected);
}

void TestRemoveObsoleteSettings::wholeFile_losesOnlyWhatIsObsolete()
{
    SettingsFixture<> f;
    f.load(
        "[MAV]\nSYSTEM_ID=7\nOLD_KEY=1\nSERIAL_DEVICE=@Invalid()\n[payloads]\nsensor=radar\n[FOO]\nBAR=2\n");
    f.app.removeObsoleteSettings();
    f.app.syncSettings();
    QCOMPARE(f.text(), QByteArray("[APP]\nVERBOSE=false\n\n[MAV]\nSERIAL_DEVICE=@Invalid()\nSYSTEM_ID=7\n\n"
                                  "[payloads]\nsensor=radar\n"));
}

void TestRemoveObsoleteSettings::keyThatIsNoPath_takesNoOtherAlong_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("no name") << QByteArray("[MAV]\n=1\nSYSTEM_ID=7\n");
    QTest::newRow("slash behind") << QByteArray("MAV%2F=1\n[MAV]\nSYSTEM_ID=7\n");
    QTest::newRow("slash before") << QByteArray("%2FMAV=1\n[MAV]\nSYSTEM_ID=7\n");
    QTest::newRow("two slashes") << QByteArray("[MAV]\n\\SYSTEM=1\nSYSTEM\\ID=7\nSYSTEM_ID=7\n");
    QTest::newRow("no section") << QByteArray("=1\n[MAV]\nSYSTEM_ID=7\n");
    QTest::newRow("empty section") << QByteArray("[]\nMAV=1\n[MAV]\nSYSTEM_ID=7\n");
    QTest::newRow("slash alone") << QByteArray("%2F=1\n[MAV]\nSYSTEM_ID=7\n");
}

void TestRemoveObsoleteSettings::keyThatIsNoPath_takesNoOtherAlong()
{
    QFETCH(QByteArray, text);
    SettingsFixture<> f;
    f.load(text + "[payloads]\nsensor=radar\n");
    const bool hasPath = f.stored().contains(QStringLiteral("MAV/SYSTEM/ID"));
    f.app.removeObsoleteSettings();
    const QVariantMap values = f.stored();
    QCOMPARE(values.value(QStringLiteral("MAV/SYSTEM_ID")).toInt(), 7);
    QCOMPARE(values.contains(QStringLiteral("MAV/SYSTEM/ID")), hasPath);
    QCOMPARE(values.value(QStringLiteral("APP/VERBOSE")).toString(), QStringLiteral("false"));
    QCOMPARE(values.value(QStringLiteral("payloads/sensor")).toString(), QStringLiteral("radar"));
}

void TestRemoveObsoleteSettings::keyWithAnEmptyPart_comesBackAsNoOther()
{
    SettingsFixture<> f;
    f.load("%2F=1\n%2FFOO=2\n[MAV]\nSYSTEM_ID=7\n");
    f.app.removeObsoleteSettings();
    const QVariantMap expected{{QStringLiteral("APP/VERBOSE"), QStringLiteral("false")},
                               {QStringLiteral("MAV/SYSTEM_ID"), QStringLiteral("7")}};
    QCOMPARE(f.stored(), expected);
}

void TestRemoveObsoleteSettings::readersOwnDefaults_survive()
{
    SettingsFixture<> f;
    f.load();
    f.app.settingValue("MAV", "SYSTEM_ID", 2);
    f.app.settingValue("RADSYS_ZOND", "OFFSET_RIGHT_M_1", 0.5);
    const QVariantMap before = f.stored();
    QCOMPARE(before.size(), 3);
    f.app.removeObsoleteSettings();
    QCOMPARE(f.stored(), before);
}

APPLESS_TEST_MAIN(TestRemoveObsoleteSettings)
#include "tst_removeobsoletesettings.moc"
