// SPDX-License-Identifier: MIT
#include "app/settingsstore.h"
#include "appfixture.h"
#include "support/logcapture.h"

#include <QDateTime>
#include <QDir>
#include <QElapsedTimer>
#include <QPoint>
#include <QRect>
#include <QSignalSpy>
#include <QSysInfo>
#include <QThread>
#include <QUrl>
#include <QUuid>

#include <cerrno>
#include <climits>
#include <csignal>
#include <fcntl.h>
#include <limits>
#include <memory>
#include <random>
#include <sys/resource.h>
#include <vector>

namespace {

struct Reservation
{
    QString folder;
    qint64 end = 0;
};

/// What the library has tried to reserve since a test has cleared it.
std::vector<Reservation> reservations;
/// What each of these comes to, if not 0.
int reservationError = 0;

} // namespace

// Taken for the C library's by everything in this process.
extern "C" __attribute__((visibility("default"))) int posix_fallocate(int file, off_t offset, off_t length)
{
    const QString path = QFile::symLinkTarget(QStringLiteral("/proc/self/fd/%1").arg(file));
    reservations.push_back({QFileInfo(path).path(), qint64(offset) + length});
    if (reservationError != 0)
        return reservationError;
    return ::fallocate(file, 0, offset, length) == 0 ? 0 : errno;
}

namespace {

/// While it lives, no file of this process gets longer, as after `ulimit -f`.
class FileLimit
{
public:
    explicit FileLimit(rlim_t bytes)
    {
        getrlimit(RLIMIT_FSIZE, &previous);
        const rlimit limit{bytes, previous.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileLimit() { setrlimit(RLIMIT_FSIZE, &previous); }
    FileLimit(const FileLimit &) = delete;
    FileLimit &operator=(const FileLimit &) = delete;

private:
    rlimit previous{};
};

/// While it lives, no file of this process can be written beyond its first byte, as on a full disk.
class FullDisk
{
public:
    FullDisk()
        : previousHandler(std::signal(SIGXFSZ, SIG_IGN))
    {}
    ~FullDisk() { std::signal(SIGXFSZ, previousHandler); }
    FullDisk(const FullDisk &) = delete;
    FullDisk &operator=(const FullDisk &) = delete;

private:
    void (*previousHandler)(int);
    FileLimit none{1};
};

/// Keys and values at random, the same ones in each run: many that take a lot more bytes in the file than in
/// memory.
class AnySettings
{
public:
    void fill(QSettings &settings)
    {
        const int count = 1 + below(6);
        for (int i = 0; i < count; ++i)
            settings.setValue(text(200) + QLatin1Char('/') + text(200) + QLatin1Char('k'), value(2));
    }

private:
    int below(int limit) { return static_cast<int>(numbers() % static_cast<unsigned>(limit)); }

    QString text(int longest)
    {
        static const QString alphabets[] = {QStringLiteral("0123456789abcdefABCDEF"),
                                            QString(1, QChar(0)),
                                            QStringLiteral("@"),
                                            QString::fromUtf8("\u00e9"),
                                            QString::fromUtf8("\u03a9\uffff"),
                                            QStringLiteral("\"\\\n\x1f"),
                                            QStringLiteral(" ,;="),
                                            QStringLiteral("/%[]#"),
                                            QStringLiteral("general")};
        QString text;
        const int parts = below(4);
        for (int part = 0; part < parts; ++part) {
            const QString &alphabet = alphabets[below(int(std::size(alphabets)))];
            const int length = below(longest);
            for (int i = 0; i < length; ++i)
                text += alphabet.at(below(alphabet.size()));
        }
        return text;
    }

    QByteArray bytes()
    {
        QByteArray bytes;
        const int length = below(600);
        for (int i = 0; i < length; ++i)
            bytes += static_cast<char>(below(2) == 0 ? 0xf0 + below(16) : 'a' + below(6));
        return bytes;
    }

    QVariant number()
    {
        switch (below(6)) {
        case 0:
            return std::numeric_limits<int>::min();
        case 1:
            return std::numeric_limits<quint64>::max();
        case 2:
            return -std::numeric_limits<double>::denorm_min();
        case 3:
            return std::numeric_limits<float>::max();
        case 4:
            return below(2) == 0;
        default:
            return below(10);
        }
    }

    QVariant record()
    {
        switch (below(7)) {
        case 0:
            return QDateTime(QDate(2026, 1, 1 + below(28)), QTime(1, 2), Qt::OffsetFromUTC, 3600);
        case 1:
            return QRect(QPoint(INT_MIN, INT_MIN), QSize(INT_MAX, INT_MAX));
        case 2:
            return QPoint(INT_MIN, INT_MIN);
        case 3:
            return QSize(INT_MIN, INT_MIN);
        case 4:
            return QUuid::createUuidV5(QUuid(), bytes());
        case 5:
            return QUrl(text(9));
        default:
            return QVariant();
        }
    }

    QVariant collection(int depth)
    {
        QStringList texts;
        QVariantList values;
        QVariantMap map;
        const int count = below(5);
        for (int i = 0; i < count; ++i) {
            texts += text(9);
            values += value(depth);
            map.insert(text(9), value(depth));
        }
        const QVariant all[] = {texts, values, map};
        return all[below(int(std::size(all)))];
    }

    QVariant value(int depth)
    {
        switch (below(depth > 0 ? 6 : 4)) {
        case 0:
            return text(2000);
        case 1:
            return bytes();
        case 2:
            return number();
        case 3:
            return record();
        default:
            return collection(depth - 1);
        }
    }

    std::mt19937 numbers{20261121};
};

QString longLines(int count)
{
    QString lines = QStringLiteral("[PAYLOADS]\n");
    for (int i = 0; i < count; ++i)
        lines += QStringLiteral("KEPT_%1=%2\n").arg(i).arg(QString(60, QLatin1Char('x')));
    return lines;
}

void writeFile(const QString &path, const QByteArray &text)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(text), qint64(text.size()));
}

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

using Change = void (*)(QSettings &);

} // namespace

Q_DECLARE_METATYPE(Change)

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
    void space_isTakenWhereTheFileIsWritten_data();
    void space_isTakenWhereTheFileIsWritten();
    void space_isTakenForAnyChange_data();
    void space_isTakenForAnyChange();
    void space_isTakenForWhatIsWrittenAtTheEnd();
    void space_isNotTakenWhenNothingIsToBeWritten();
    void space_isTakenUntilEverythingIsWritten();
    void othersChange_isReadWithoutOneOfOurOwn();
    void fileLimit_letsThroughAFileThatFits();
    void fileLimitOfTheFileSystem_isNoFullDisk();
    void largestFile_isNoLessThanTheFile_data();
    void largestFile_isNoLessThanTheFile();
    void largestFile_isNoLessThanAnyFile();
    void largestFile_countsWhatOthersWrote_data();
    void largestFile_countsWhatOthersWrote();
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

void TestSettingsFile::space_isTakenWhereTheFileIsWritten_data()
{
    QTest::addColumn<QStringList>("links"); // each leads to the next, the last one to the file
    QTest::addColumn<bool>("exists");
    const QString file = QStringLiteral("file/host.ini");
    const QString relative = QStringLiteral("../") + file;
    QTest::newRow("no link") << QStringList{file} << true;
    QTest::newRow("link") << QStringList{QStringLiteral("links/a.ini"), QStringLiteral("%1/") + file} << true;
    QTest::newRow("relative") << QStringList{QStringLiteral("links/a.ini"), relative} << true;
    QTest::newRow("chain") << QStringList{QStringLiteral("links/a.ini"), QStringLiteral("../more/b.ini"),
                                          QStringLiteral("c.ini"), relative}
                           << true;
    QTest::newRow("no file yet") << QStringList{QStringLiteral("links/a.ini"), relative} << false;
}

void TestSettingsFile::space_isTakenWhereTheFileIsWritten()
{
    QFETCH(QStringList, links);
    QFETCH(bool, exists);
    SettingsFixture<> f;
    const QString root = QFileInfo(f.path).path() + QLatin1Char('/');
    for (const char *folder : {"file", "links", "more"})
        QVERIFY(QDir(root).mkpath(QLatin1String(folder)));
    const QString file = root + QStringLiteral("file/host.ini");
    if (exists)
        writeFile(file, "[APP]\nVERBOSE=true\n");
    f.path = QDir::cleanPath(root + links.first());
    QString link = f.path;
    for (int i = 1; i < links.size(); ++i) {
        const QString target = links.at(i).startsWith(QLatin1Char('%')) ? links.at(i).arg(root) : links.at(i);
        QVERIFY(QFile::link(target, link));
        link = QDir::cleanPath(QFileInfo(link).dir().absoluteFilePath(target));
    }
    f.load();

    reservations.clear();
    f.app.updateSetting("MAV", "SYSTEM_ID", 3);
    const QString folder = QFileInfo(file).canonicalPath();
    QVERIFY(!reservations.empty());
    for (const Reservation &reservation : reservations)
        QCOMPARE(reservation.folder, folder);
    QCOMPARE(QFileInfo(f.app.settings()->fileName()).canonicalPath(), folder); // the lock is beside that
    QCOMPARE(QSettings(file, QSettings::IniFormat).value(QStringLiteral("MAV/SYSTEM_ID")).toInt(), 3);
}

void TestSettingsFile::space_isTakenForAnyChange_data()
{
    QTest::addColumn<Change>("change");
    const auto row = [](const char *title, Change change) { QTest::newRow(title) << change; };
    row("set", [](QSettings &settings) { settings.setValue(QStringLiteral("MAV/SYSTEM_ID"), 3); });
    row("set as it was", [](QSettings &settings) {
        settings.setValue(QStringLiteral("APP/VERBOSE"), QStringLiteral("true"));
    });
    row("remove", [](QSettings &settings) { settings.remove(QStringLiteral("APP/VERBOSE")); });
    row("clear", [](QSettings &settings) { settings.clear(); });
}

void TestSettingsFile::space_isTakenForAnyChange()
{
    QFETCH(Change, change);
    SettingsFixture<> f;
    f.load("[APP]\nVERBOSE=true\n");
    for (int i = 0; i < 2; ++i) {
        change(*f.app.settings());
        reservations.clear();
        f.app.syncSettings();
        QVERIFY(!reservations.empty());
    }
    change(*f.app.settings());
    reservations.clear();
    QCoreApplication::processEvents();
    QVERIFY(!reservations.empty());
}

void TestSettingsFile::space_isTakenForWhatIsWrittenAtTheEnd()
{
    const QTemporaryDir folder;
    auto f = std::make_unique<ApplicationFixture<>>();
    f->app.loadSettings(folder.filePath(QStringLiteral("host.ini")));
    f->app.setSettingDefault("MAV", "SYSTEM_ID", 3);
    reservations.clear();
    f.reset();
    QVERIFY(!reservations.empty());
}

void TestSettingsFile::space_isNotTakenWhenNothingIsToBeWritten()
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("host.ini"));
    writeFile(path, "[APP]\nVERBOSE=true\n");
    auto f = std::make_unique<ApplicationFixture<>>();
    reservations.clear();
    f->app.loadSettings(path);
    f->app.syncSettings();
    QVERIFY(reservations.empty());

    f->app.updateSetting("MAV", "SYSTEM_ID", 3);
    reservations.clear();
    f->app.syncSettings();
    QCoreApplication::processEvents();
    f.reset();
    QVERIFY(reservations.empty());
}

void TestSettingsFile::space_isTakenUntilEverythingIsWritten()
{
    SettingsFixture<> f;
    f.load("[APP]\nVERBOSE=true\n");
    {
        const FullDisk full;
        f.app.updateSetting("MAV", "SYSTEM_ID", 3);
    }
    reservations.clear();
    f.app.syncSettings();
    QVERIFY(!reservations.empty());
    QCOMPARE(f.text(), QByteArray("[APP]\nVERBOSE=true\n\n[MAV]\nSYSTEM_ID=3\n"));

    reservations.clear();
    f.app.syncSettings();
    QVERIFY(reservations.empty());
}

void TestSettingsFile::othersChange_isReadWithoutOneOfOurOwn()
{
    SettingsFixture<> f;
    f.load("[APP]\nVERBOSE=true\n");
    writeFile(f.path, "[APP]\nVERBOSE=true\n\n[MAV]\nSYSTEM_ID=9\n");
    f.app.syncSettings();
    QCOMPARE(f.app.settingValue("MAV", "SYSTEM_ID", 2).toInt(), 9);
}

// Whoever exceeds the limit is ended by a signal.
void TestSettingsFile::fileLimit_letsThroughAFileThatFits()
{
    constexpr rlim_t Limit = 12288;
    SettingsFixture<> f;
    f.load(longLines(95).toLatin1());
    QVERIFY(QFileInfo(f.path).size() < qint64(Limit));
    reservations.clear();
    {
        const FileLimit limit(Limit);
        f.app.updateSetting("MAV", "SYSTEM_ID", 3);
    }
    QVERIFY(!reservations.empty());
    for (const Reservation &reservation : reservations)
        QVERIFY(reservation.end <= qint64(Limit));
    QCOMPARE(f.stored().value(QStringLiteral("MAV/SYSTEM_ID")).toInt(), 3);
    QCOMPARE(f.stored().size(), 97);
}

void TestSettingsFile::fileLimitOfTheFileSystem_isNoFullDisk()
{
    SettingsFixture<> f;
    f.load("[APP]\nVERBOSE=true\n");
    reservations.clear();
    reservationError = EFBIG;
    f.app.updateSetting("MAV", "SYSTEM_ID", 3);
    reservationError = 0;
    QCOMPARE(reservations.size(), size_t(2)); // the lock's and the file's, and no more to fill the disk
    QCOMPARE(f.stored().value(QStringLiteral("MAV/SYSTEM_ID")).toInt(), 3);
}

void TestSettingsFile::largestFile_isNoLessThanTheFile_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QVariant>("value");
    const QString key = QStringLiteral("PAYLOADS/TEXT");
    const QString digits = QStringLiteral("0123456789abcdefABCD").repeated(500);
    const auto row = [&key](const char *title, const QVariant &value) {
        QTest::newRow(title) << key << value;
    };
    row("digits after an escape", QString(QChar(0xe9)) + digits);
    row("digits after NUL", QString(QChar(0)) + digits);
    row("Greek", QString(10000, QChar(0x3a9)));
    row("quotes", QString(10000, QLatin1Char('"')));
    row("list of digits", QStringList{QString(QChar(0xe9)) + digits, digits, QString(QChar(0)) + digits});
    QStringList nuls;
    for (int i = 0; i < 1000; ++i)
        nuls += QString(QChar(0)) + QLatin1Char(',');
    row("list of NULs", nuls);
    row("bytes", QByteArray(10000, '\xff'));
    row("digits as bytes", '\xff' + digits.toLatin1());
    const QDateTime time(QDate(2026, 1, 1), QTime(1, 2), Qt::OffsetFromUTC, 3600);
    row("times", QVariantList{time, time, time, time, time, time, time, time, time, time, time, time});
    row("one time", QVariantList{time});
    row("nothing", QVariant());
    row("empty list", QStringList());
    QTest::newRow("Greek key") << QString(10000, QChar(0x3a9)) << QVariant(1);
    QTest::newRow("blank key") << QString(10000, QLatin1Char(' ')) + QLatin1Char('/') +
                                      QString(10000, QChar(0xe9))
                               << QVariant(1);
    QTest::newRow("shortest") << QStringLiteral("general/a") << QVariant(QString());
    QTest::newRow("no section") << QStringLiteral("a") << QVariant(QStringLiteral("@"));
}

void TestSettingsFile::largestFile_isNoLessThanTheFile()
{
    QFETCH(QString, key);
    QFETCH(QVariant, value);
    SettingsFixture<> f;
    SettingsStore store(f.path);
    store.setValue(key, value);
    const qint64 largest = store.largestFile();
    store.store();
    const qint64 bytes = QFileInfo(f.path).size();
    QVERIFY(bytes > 0);
    QVERIFY2(largest >= bytes, qPrintable(QStringLiteral("%1 < %2").arg(largest).arg(bytes)));
}

void TestSettingsFile::largestFile_isNoLessThanAnyFile()
{
    SettingsFixture<> f;
    AnySettings any;
    for (int i = 0; i < 200; ++i) {
        const QString path = f.filePath(QStringLiteral("any%1.ini").arg(i));
        SettingsStore store(path);
        any.fill(store);
        const qint64 largest = store.largestFile();
        store.store();
        const qint64 bytes = QFileInfo(path).size();
        QVERIFY(bytes > 0);
        QVERIFY2(largest >= bytes, qPrintable(QStringLiteral("%1: %2 < %3").arg(i).arg(largest).arg(bytes)));
    }
}

void TestSettingsFile::largestFile_countsWhatOthersWrote_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("many keys") << longLines(300).toLatin1();
    QTest::newRow("list of NULs") << "[PAYLOADS]\nLIST=" + QByteArray("\0,", 2).repeated(5000) + '\n';
    QTest::newRow("bare bytes") << "[PAYLOADS]\nTEXT=\xe9" + QByteArray("0123456789").repeated(500) + '\n';
    QTest::newRow("key out of reach")
        << "[PAYLOADS]\n/TEXT=\xe9" + QByteArray("01234567").repeated(500) + '\n';
}

void TestSettingsFile::largestFile_countsWhatOthersWrote()
{
    QFETCH(QByteArray, text);
    SettingsFixture<> f;
    SettingsStore store(f.path);
    store.setValue(QStringLiteral("MAV/SYSTEM_ID"), 3);
    store.store();
    writeFile(f.path, text);
    store.setValue(QStringLiteral("MAV/SYSTEM_ID"), 4);
    for (int i = 0; i < 2; ++i) {
        const qint64 largest = store.largestFile();
        store.store();
        const qint64 bytes = QFileInfo(f.path).size();
        QVERIFY(bytes >= text.size());
        QVERIFY2(largest >= bytes, qPrintable(QStringLiteral("%1 < %2").arg(largest).arg(bytes)));
        store.setValue(QStringLiteral("MAV/SYSTEM_ID"), 5);
    }
}

APPLESS_TEST_MAIN(TestSettingsFile)
#include "tst_settingsfile.moc"
