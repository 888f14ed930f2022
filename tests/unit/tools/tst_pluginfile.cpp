// SPDX-License-Identifier: MIT
#include "host/pluginfile.h"

#include "autopilot/iautopilotplugin.h"
#include "support/testmain.h"

#include <QPointer>
#include <QTemporaryDir>
#include <QtTest>

class TestPluginFile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void linkedLibrary_isAnAutopilotPlugin();
    void destruction_deletesThePlugin();
    void load_ofSomethingElse_saysWhy_data();
    void load_ofSomethingElse_saysWhy();

private:
    QTemporaryDir dir;
};

void TestPluginFile::initTestCase()
{
    runningApp()->loadSettings(dir.filePath(QStringLiteral("host.ini")));
}

void TestPluginFile::linkedLibrary_isAnAutopilotPlugin()
{
    PluginFile file;
    IAutopilotPlugin *plugin = file.load(PluginFile::linkedLibrary());
    QVERIFY2(plugin, qPrintable(file.errorText()));
    QCOMPARE(plugin->name(), QStringLiteral("Mavlink Autopilot"));
}

void TestPluginFile::destruction_deletesThePlugin()
{
    QPointer<QObject> plugin;
    {
        PluginFile file;
        plugin = file.load(PluginFile::linkedLibrary());
        QVERIFY(plugin);
    }
    QVERIFY(!plugin);
}

void TestPluginFile::load_ofSomethingElse_saysWhy_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("why");
    QFile text(dir.filePath(QStringLiteral("text.so")));
    QVERIFY(text.open(QIODevice::WriteOnly));
    text.write("no library");
    QTest::newRow("nothing") << dir.filePath(QStringLiteral("nowhere.so")) << "no such file";
    QTest::newRow("folder") << dir.path() << "no such file";
    QTest::newRow("text") << text.fileName() << "text.so";
    QTest::newRow("no plugin") << QCoreApplication::applicationFilePath() << "tst_pluginfile";
}

void TestPluginFile::load_ofSomethingElse_saysWhy()
{
    QFETCH(QString, path);
    QFETCH(QString, why);
    PluginFile file;
    QVERIFY(!file.load(path));
    QVERIFY2(file.errorText().contains(why), qPrintable(file.errorText()));
    QVERIFY(!file.errorText().contains(QLatin1Char('\n')));
}

APP_TEST_MAIN(TestPluginFile)
#include "tst_pluginfile.moc"
