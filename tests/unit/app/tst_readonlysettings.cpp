// SPDX-License-Identifier: MIT
#include "app/app.h"
#include "support/logcapture.h"
#include "support/testmain.h"

#include <QTemporaryDir>

#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

// Permissions do not bind root, so the program becomes somebody else before it looks at the file.
class TestReadOnlySettings : public QObject
{
    Q_OBJECT

public:
    explicit TestReadOnlySettings(const QString &path)
        : file(path)
    {}

private Q_SLOTS:
    void reading_givesWhatIsStored();
    void missingKey_readsAsItsDefaultAndTheFileStays();
    void update_isEmittedAndTheFileStays();

private:
    QByteArray stored() const;

    QString file;
};

QByteArray TestReadOnlySettings::stored() const
{
    QFile settings(file);
    return settings.open(QIODevice::ReadOnly) ? settings.readAll() : QByteArray();
}

void TestReadOnlySettings::reading_givesWhatIsStored()
{
    runningApp()->loadSettings(file);
    QCOMPARE(runningApp()->settingValue("MAV", "SYSTEM_ID", 2).toUInt(), 7U);
}

void TestReadOnlySettings::missingKey_readsAsItsDefaultAndTheFileStays()
{
    const QByteArray before = stored();
    QVERIFY(!before.isEmpty());
    runningApp()->loadSettings(file);
    QCOMPARE(runningApp()->settingValue("MAV", "COMPONENT_ID", 5).toUInt(), 5U);
    runningApp()->syncSettings();
    QCOMPARE(runningApp()->settings()->status(), QSettings::AccessError);
    QCOMPARE(stored(), before);
}

void TestReadOnlySettings::update_isEmittedAndTheFileStays()
{
    const QByteArray before = stored();
    LogCapture log;
    runningApp()->loadSettings(file);
    quint16 emitted = 0;
    const auto connection =
        connect(runningApp(), &App::MAV_SYSTEM_ID, this, [&emitted](quint16 id) { emitted = id; });
    runningApp()->updateSetting("MAV", "SYSTEM_ID", 9);
    disconnect(connection);
    QCOMPARE(emitted, quint16(9));
    QCOMPARE(runningApp()->settingValue("MAV", "SYSTEM_ID", 2).toUInt(), 9U);
    QCOMPARE(stored(), before);
    QCOMPARE(log.take(), QStringList{QStringLiteral("Updated: MAV/SYSTEM_ID=9")});
}

int main(int argc, char *argv[])
{
    constexpr uid_t Nobody = 65534;
    prepareTestEnvironment();
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("host.ini"));
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write("[MAV]\nSYSTEM_ID=7\n") < 1)
        return 1;
    file.close();
    ::chmod(qPrintable(path), 0444);
    ::chmod(qPrintable(folder.path()), 0555);
    const bool root = ::geteuid() == 0;
    if (root && ::setresuid(Nobody, Nobody, 0) != 0)
        return 1;
    App app(argc, argv);
    TestReadOnlySettings test(path);
    const int result = QTest::qExec(&test, argc, argv);
    if (root && ::setresuid(0, 0, 0) != 0)
        return 1;
    ::chmod(qPrintable(folder.path()), 0755);
    ::prctl(PR_SET_DUMPABLE, 1); // lost with the change of user, and the leak checker needs it
    return result;
}
#include "tst_readonlysettings.moc"
