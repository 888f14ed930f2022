// SPDX-License-Identifier: MIT
#include "appfixture.h"
#include "support/logcapture.h"

#include <QDir>
#include <QElapsedTimer>
#include <QSignalSpy>
#include <QSysInfo>
#include <QThread>

#include <csignal>
#include <memory>
#include <sys/resource.h>

namespace {

/// While it lives, no file of this process can be written beyond its first byte, as on a full disk.
class FullDisk
{
public:
    FullDisk()
        : previousHandler(std::signal(SIGXFSZ, SIG_IGN))
    {
        getrlimit(RLIMIT_FSIZE, &previous);
        const rlimit none{1, previous.rlim_max};
        setrlimit(RLIMIT_FSIZE, &none);
    }
    ~FullDisk()
    {
        setrlimit(RLIMIT_FSIZE, &previous);
        std::signal(SIGXFSZ, previousHandler);
    }
    FullDisk(const FullDisk &) = delete;
    FullDisk &operator=(const FullDisk &) = delete;

private:
    rlimit previous{};
    void (*previousHandler)(int);
};

void writeWithoutWaiting(SettingsFixture<> &f)
{
    QElapsedTimer time;
    time.start();
    f.load("[MAV]\nSYSTEM_ID=7\n");
    f.app.setSettingDefault("MAV", "COMPONENT_ID", 5);
    f.app.syncSettings();
    QVERIFY2(time.elapsed() < 15000, "waits half a minute for nobody");
    QCOMPARE(f.stored().value(QStringLiteral("MAV/COMPONENT_ID")).toInt(), 5);
}

} // namespace

class TestSettingsFile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void text_survivesTheFile_data();
    void text_survivesTheFile();
    void handEditedFile_keepsItsOtherValues_data();
    void handEditedFile_keepsItsOtherValues();
    void openQuote_swallowsWhatFollowsButNothingBefore();
    void crlfFile_readsLikeAnyOther();
    void duplicateSections_areOne();
    void sectionInAnotherLetterCase_isAnotherSection();
    void invalidValueInTheFile_countsAsPresentAndReadsAsNothing();
    void listValueInTheFile_readsAsEmptyTextAndStays();
    void missingFolder_isMade();
    void directoryInPlaceOfTheFile_leavesASettingsStoreInMemory();
    void fileInPlaceOfTheFolder_leavesASettingsStoreInMemory();
    void fullDisk_leavesTheFileAsItWas();
    void fullDisk_gone_theNextUpdateWritesEverything();
    void lockOfAKilledProcess_delaysNothing();
    void lockOfTwoKilledProcesses_delaysNothing();
    void lockThatIsFilledMeanwhile_stays();
    void binaryFile_loads();
};

void TestSettingsFile::text_survivesTheFile_data()
{
    QTest::addColumn<QString>("text");
    const auto row = [](const char *title, const QString &text) { QTest::newRow(title) << text; };
    row("empty", QLatin1String(""));
    row("comma", QStringLiteral("a,b"));
    row("semicolon", QStringLiteral(";a;b"));
    row("quotes", QStringLiteral("\"a\" \"b\""));
    row("one quote", QStringLiteral("\""));
    row("equals sign", QStringLiteral("=a=b"));
    row("backslashes", QStringLiteral("\\a\\x41\\\\"));
    row("form of an invalid value", QStringLiteral("@Invalid()"));
    row("form of a byte array", QStringLiteral("@ByteArray(x)"));
    row("at sign", QStringLiteral("@@"));
    row("blank", QStringLiteral(" "));
    row("blank before", QStringLiteral("  a"));
    row("blank behind", QStringLiteral("a  "));
    row("section", QStringLiteral("[MAV]"));
    row("comment", QStringLiteral("# a"));
    row("percent", QStringLiteral("%20"));
    row("lines", QStringLiteral("a\r\nSYSTEM_ID=9\n[APP]\t"));
    row("two alphabets", QString::fromUtf8("Größe Ωμέγα"));
    row("beyond 16 bits", QString::fromUtf8("\xF0\x9F\x9A\x81"));
    row("long", QString(10000, QLatin1Char('x')));
}

void TestSettingsFile::text_survivesTheFile()
{
    QFETCH(QString, text);
    SettingsFixture<> f;
    f.load("[MAV]\nSYSTEM_ID=7\n");
    const QSignalSpy changed(&f.app, &App::MAV_SERIAL_DEVICE);

    f.app.updateSetting("MAV", "SERIAL_DEVICE", text);
    QCOMPARE(emissions(changed), QList<QVariantList>{{text}});
    QCOMPARE(f.app.settingValue("MAV", "SERIAL_DEVICE", QString()).toString(), text);
    const QVariantMap expected{{QStringLiteral("APP/VERBOSE"), QStringLiteral("false")},
                               {QStringLiteral("MAV/SERIAL_DEVICE"), text},
                               {QStringLiteral("MAV/SYSTEM_ID"), QStringLiteral("7")}};
    QCOMPARE(f.stored(), expected);
}

void TestSettingsFile::handEditedFile_keepsItsOtherValues_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::newRow("no equals sign") << QByteArray("SERIAL_DEVICE");
    QTest::newRow("no name") << QByteArray("=value");
    QTest::newRow("comment") << QByteArray("; SERIAL_DEVICE=x");
    QTest::newRow("hash") << QByteArray("# SERIAL_DEVICE=x");
    QTest::newRow("blanks around") << QByteArray("  SERIAL_DEVICE  =  x  ");
    QTest::newRow("comma") << QByteArray("SERIAL_DEVICE=a,b");
    QTest::newRow("broken variant") << QByteArray("SERIAL_DEVICE=@Variant(\\0)");
    QTest::newRow("unknown form") << QByteArray("SERIAL_DEVICE=@Nonsense(1)");
    QTest::newRow("bare utf-8") << QByteArray("SERIAL_DEVICE=Gr\xC3\xB6\xC3\x9F"
                                              "e");
    QTest::newRow("empty section") << QByteArray("[]");
    QTest::newRow("open section") << QByteArray("[FOO");
    QTest::newRow("broken escape") << QByteArray("SERIAL%ZZDEVICE=1");
}

void TestSettingsFile::handEditedFile_keepsItsOtherValues()
{
    QFETCH(QByteArray, line);
    SettingsFixture<> f;
    f.load("[MAV]\nSYSTEM_ID=7\n" + line + "\n[payloads]\nsensor=radar\n");
    QCOMPARE(f.app.settingValue("MAV", "SYSTEM_ID", 2).toInt(), 7);
    f.app.settingValue("MAV", "SERIAL_DEVICE", QStringLiteral("/dev/ttymxc3"));
    f.app.updateSetting("MAV", "BAUD_RATE", 9600);
    f.app.removeObsoleteSettings();

    const QVariantMap values = f.stored();
    QCOMPARE(values.value(QStringLiteral("MAV/SYSTEM_ID")).toInt(), 7);
    QCOMPARE(values.value(QStringLiteral("MAV/BAUD_RATE")).toInt(), 9600);
    QCOMPARE(values.value(QStringLiteral("payloads/sensor")).toString(), QStringLiteral("radar"));
}

// The format lets a quoted value run over several lines.
void TestSettingsFile::openQuote_swallowsWhatFollowsButNothingBefore()
{
    SettingsFixture<> f;
    f.load("[MAV]\nSYSTEM_ID=7\nSERIAL_DEVICE=\"/dev\nBAUD_RATE=9600\n");
    QVERIFY(
        f.app.settingValue("MAV", "SERIAL_DEVICE", QString()).toString().startsWith(QStringLiteral("/dev")));
    f.app.updateSetting("MAV", "SERIAL_DEVICE", QStringLiteral("/dev/ttyS1"));
    QCOMPARE(f.stored().value(QStringLiteral("MAV/SYSTEM_ID")).toInt(), 7);
    QCOMPARE(f.stored().value(QStringLiteral("MAV/SERIAL_DEVICE")).toString(), QStringLiteral("/dev/ttyS1"));
}

void TestSettingsFile::crlfFile_readsLikeAnyOther()
{
    SettingsFixture<> f;
    f.load("[MAV]\r\nSYSTEM_ID=7\r\nSERIAL_DEVICE=/dev/ttyS1\r\n\r\n[APP]\r\nVERBOSE=true\r\n");
    QVERIFY(f.app.isVerbose());
    QCOMPARE(f.app.settingValue("MAV", "SERIAL_DEVICE", QString()).toString(), QStringLiteral("/dev/ttyS1"));
    f.app.updateSetting("MAV", "BAUD_RATE", 9600);
    QCOMPARE(f.stored().size(), 4);
    QCOMPARE(f.stored().value(QStringLiteral("MAV/SYSTEM_ID")).toString(), QStringLiteral("7"));
}

void TestSettingsFile::duplicateSections_areOne()
{
    SettingsFixture<> f;
    f.load("[MAV]\nSYSTEM_ID=7\nBAUD_RATE=1\n[APP]\nVERBOSE=true\n[MAV]\nCOMPONENT_ID=8\nBAUD_RATE=2\n");
    QCOMPARE(f.app.settingValue("MAV", "SYSTEM_ID", 2).toInt(), 7);
    QCOMPARE(f.app.settingValue("MAV", "COMPONENT_ID", 5).toInt(), 8);
    QCOMPARE(f.app.settingValue("MAV", "BAUD_RATE", 57600).toInt(), 2);
    f.app.removeObsoleteSettings();
    QCOMPARE(f.stored().size(), 4);
}

void TestSettingsFile::sectionInAnotherLetterCase_isAnotherSection()
{
    SettingsFixture<> f;
    f.load("[mav]\nSYSTEM_ID=7\n");
    QCOMPARE(f.app.settingValue("MAV", "SYSTEM_ID", 2).toInt(), 2);
    QCOMPARE(f.stored().value(QStringLiteral("mav/SYSTEM_ID")).toInt(), 7);
    QCOMPARE(f.stored().value(QStringLiteral("MAV/SYSTEM_ID")).toInt(), 2);
}

void TestSettingsFile::invalidValueInTheFile_countsAsPresentAndReadsAsNothing()
{
    SettingsFixture<> f;
    f.load("[MAV]\nBAUD_RATE=@Invalid()\n");
    QCOMPARE(f.app.settingValue("MAV", "BAUD_RATE", 57600).toInt(), 0);
    f.app.syncSettings();
    QVERIFY2(f.text().contains("BAUD_RATE=@Invalid()\n"), f.text().constData());
}

void TestSettingsFile::listValueInTheFile_readsAsEmptyTextAndStays()
{
    SettingsFixture<> f;
    f.load("[MAV]\nSERIAL_DEVICE=a, b\n");
    const QVariant value = f.app.settingValue("MAV", "SERIAL_DEVICE", QStringLiteral("/dev/ttymxc3"));
    QCOMPARE(value.toString(), QString());
    const QStringList expected{QStringLiteral("a"), QStringLiteral("b")};
    QCOMPARE(f.stored().value(QStringLiteral("MAV/SERIAL_DEVICE")).toStringList(), expected);
}

void TestSettingsFile::missingFolder_isMade()
{
    const LogCapture log;
    SettingsFixture<> f;
    f.path = f.filePath(QStringLiteral("new/folder/host.ini"));
    f.load();
    f.app.settingValue("MAV", "SYSTEM_ID", 2);
    QCOMPARE(f.stored().value(QStringLiteral("MAV/SYSTEM_ID")).toInt(), 2);
}

void TestSettingsFile::directoryInPlaceOfTheFile_leavesASettingsStoreInMemory()
{
    LogCapture log;
    SettingsFixture<> f;
    QVERIFY(QDir().mkpath(f.path + QStringLiteral("/inside")));
    f.load();
    const QSignalSpy changed(&f.app, &App::MAV_BAUD_RATE);
    QCOMPARE(f.app.settingValue("MAV", "BAUD_RATE", 2).toInt(), 2);
    f.app.updateSetting("MAV", "BAUD_RATE", 3);
    f.app.removeObsoleteSettings();
    QCOMPARE(changed.count(), 1);
    QCOMPARE(f.app.settingValue("MAV", "BAUD_RATE", 2).toInt(), 3);
    QCOMPARE(f.app.settings()->status(), QSettings::AccessError);
    QVERIFY(QDir(f.path).exists(QStringLiteral("inside")));
    QCOMPARE(log.take(), QStringList{QStringLiteral("Updated: MAV/BAUD_RATE=3")});
}

void TestSettingsFile::fileInPlaceOfTheFolder_leavesASettingsStoreInMemory()
{
    LogCapture log;
    SettingsFixture<> f;
    QFile file(f.path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("kept");
    file.close();
    f.app.loadSettings(f.path + QStringLiteral("/host.ini"));
    f.app.updateSetting("MAV", "BAUD_RATE", 3);
    QCOMPARE(f.app.settingValue("MAV", "BAUD_RATE", 2).toInt(), 3);
    QCOMPARE(f.app.settings()->status(), QSettings::AccessError);
    QCOMPARE(f.text(), QByteArray("kept"));
    QCOMPARE(log.take(), QStringList{QStringLiteral("Updated: MAV/BAUD_RATE=3")});
}

void TestSettingsFile::fullDisk_leavesTheFileAsItWas()
{
    SettingsFixture<> f;
    f.load("[APP]\nVERBOSE=true\n\n[MAV]\nSYSTEM_ID=7\n");
    const QByteArray before = f.text();
    QSettings::Status status = QSettings::NoError;
    {
        const FullDisk full;
        f.app.updateSetting("MAV", "SYSTEM_ID", 3);
        status = f.app.settings()->status();
    }
    QCOMPARE(status, QSettings::AccessError);
    QCOMPARE(f.text(), before);
    QCOMPARE(f.app.settingValue("MAV", "SYSTEM_ID", 2).toInt(), 3);
}

void TestSettingsFile::fullDisk_gone_theNextUpdateWritesEverything()
{
    SettingsFixture<> f;
    f.load("[APP]\nVERBOSE=true\n");
    {
        const FullDisk full;
        f.app.updateSetting("MAV", "SYSTEM_ID", 3);
    }
    f.app.updateSetting("MAV", "COMPONENT_ID", 4);
    QCOMPARE(f.text(), QByteArray("[APP]\nVERBOSE=true\n\n[MAV]\nCOMPONENT_ID=4\nSYSTEM_ID=3\n"));
}

void TestSettingsFile::lockOfAKilledProcess_delaysNothing()
{
    const LogCapture log;
    SettingsFixture<> f;
    QFile lock(f.path + QStringLiteral(".lock"));
    QVERIFY(lock.open(QIODevice::WriteOnly)); // killed before it wrote whose it is
    writeWithoutWaiting(f);
}

// The second was killed when it was about to remove the first one's, for which it takes a lock too.
void TestSettingsFile::lockOfTwoKilledProcesses_delaysNothing()
{
    const LogCapture log;
    SettingsFixture<> f;
    QFile lock(f.path + QStringLiteral(".lock"));
    QVERIFY(lock.open(QIODevice::WriteOnly));
    lock.write("2147483647\nnobody\n" + QSysInfo::machineHostName().toUtf8() + "\n");
    lock.close();
    QFile lockOfTheLock(f.path + QStringLiteral(".lock.rmlock"));
    QVERIFY(lockOfTheLock.open(QIODevice::WriteOnly));
    writeWithoutWaiting(f);
}

void TestSettingsFile::lockThatIsFilledMeanwhile_stays()
{
    SettingsFixture<> f;
    QFile lock(f.path + QStringLiteral(".lock"));
    QVERIFY(lock.open(QIODevice::WriteOnly));
    const std::unique_ptr<QThread> owner(QThread::create([&lock] {
        lock.write("1\nsomebody\nsomewhere\n");
        lock.flush();
    }));
    owner->start();
    f.load();
    owner->wait();
    QVERIFY(lock.exists());
    QVERIFY(lock.remove()); // nobody waits for it at the end
}

void TestSettingsFile::binaryFile_loads()
{
    QByteArray noise;
    for (int i = 0; i < 4096; ++i)
        noise.append(static_cast<char>((i * 73 + (i >> 3) * 31) & 0xFF));
    SettingsFixture<> f;
    f.load(noise);
    QCOMPARE(f.app.settingValue("MAV", "SYSTEM_ID", 2).toInt(), 2);
    f.app.removeObsoleteSettings();
    QCOMPARE(f.stored().value(QStringLiteral("MAV/SYSTEM_ID")).toInt(), 2);
}

APPLESS_TEST_MAIN(TestSettingsFile)
#include "tst_settingsfile.moc"
