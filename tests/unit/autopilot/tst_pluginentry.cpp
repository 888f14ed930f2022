// SPDX-License-Identifier: MIT
#include "autopilot/mavautopilot.h"
#include "autopilot/support/autopilotrig.h"
#include "autopilot/support/fakeflightcontroller.h"
#include "autopilot/support/frames.h"
#include "autopilot/support/goldenframes.h"
#include "connection/iconnection.h"
#include "support/testmain.h"

#include <QAbstractEventDispatcher>
#include <QJsonObject>
#include <QPluginLoader>

namespace {

const QString PluginFile = QStringLiteral(NOFLAILSTEN_PLUGIN_FILE);

// Shows who listens to the application.
class OpenApp : public App
{
public:
    using App::App;

    int listeners() const
    {
        int count = 0;
        for (int i = 0; i < metaObject()->methodCount(); ++i) {
            const QMetaMethod method = metaObject()->method(i);
            if (method.methodType() == QMetaMethod::Signal)
                count += receivers(QByteArrayLiteral("2") + method.methodSignature());
        }
        return count;
    }
};

OpenApp *openApp()
{
    return static_cast<OpenApp *>(QCoreApplication::instance());
}

} // namespace

class TestPluginEntry : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void metadata_isWhatHostsExpect();
    void metadata_isReadWithoutCreatingAnything();
    void instance_isADriverBehindTheInterface();
    void instance_twice_isTheSame();
    void instance_afterDeletion_isANewOne();
    void entryFunction_keepsTheInstance();
    void loadedLibrary_isTheLinkedOne();
    void unload_leavesNothingBehind();

private:
    QPluginLoader loader;
};

void TestPluginEntry::init()
{
    loadFreshSettings({});
    resetChannel();
    loader.setFileName(PluginFile);
}

void TestPluginEntry::cleanup()
{
    delete loader.instance();
    loader.unload();
}

void TestPluginEntry::metadata_isWhatHostsExpect()
{
    const QJsonObject metadata = loader.metaData();
    QCOMPARE(metadata.value(QLatin1String("IID")).toString(),
             QStringLiteral("com.kelm.tervon.iautopilotplugin"));
    QCOMPARE(metadata.value(QLatin1String("className")).toString(), QStringLiteral("MavAutopilot"));
    QVERIFY(metadata.value(QLatin1String("debug")).isBool());
    QCOMPARE(metadata.value(QLatin1String("debug")).toBool(true), false);
    // The loader refuses a plugin of another minor version of Qt, and a patch release is recorded as its
    // minor version.
    QCOMPARE(metadata.value(QLatin1String("version")).toInt() & 0xFFFF00, QT_VERSION & 0xFFFF00);
    QVERIFY(metadata.value(QLatin1String("MetaData")).toObject().isEmpty());
    QVERIFY(metadata.value(QLatin1String("MetaData")).toArray().isEmpty());
}

void TestPluginEntry::metadata_isReadWithoutCreatingAnything()
{
    const int before = openApp()->listeners();
    QVERIFY(!loader.metaData().isEmpty());
    QVERIFY(!loader.isLoaded());
    QCOMPARE(openApp()->listeners(), before);
}

void TestPluginEntry::instance_isADriverBehindTheInterface()
{
    QObject *instance = loader.instance();
    QVERIFY2(instance, qPrintable(loader.errorString()));
    QVERIFY(!instance->parent());
    auto *plugin = qobject_cast<IAutopilotPlugin *>(instance);
    QVERIFY(plugin);
    QCOMPARE(plugin->name(), QStringLiteral("Mavlink Autopilot"));
    QCOMPARE(plugin->version(), QStringLiteral("2.10.0.1856"));
    QCOMPARE(plugin->id(), QStringLiteral("AP"));
    QVERIFY(!plugin->isStarted());
}

void TestPluginEntry::instance_twice_isTheSame()
{
    QObject *first = loader.instance();
    QVERIFY(first);
    QCOMPARE(loader.instance(), first);
    QPluginLoader other(PluginFile);
    QCOMPARE(other.instance(), first);
    other.unload();
}

void TestPluginEntry::instance_afterDeletion_isANewOne()
{
    QObject *first = loader.instance();
    QVERIFY(first);
    delete first;
    QObject *second = loader.instance();
    QVERIFY(second);
    QCOMPARE(loader.instance(), second);
    QVERIFY(qobject_cast<IAutopilotPlugin *>(second));
}

void TestPluginEntry::entryFunction_keepsTheInstance()
{
    using Entry = QObject *(*)();
    QLibrary library(PluginFile);
    const auto entry = reinterpret_cast<Entry>(library.resolve("qt_plugin_instance"));
    QVERIFY(entry);
    QObject *first = entry();
    QVERIFY(first);
    QCOMPARE(entry(), first);
    QCOMPARE(loader.instance(), first);
    delete first;
    QObject *second = entry();
    QVERIFY(second);
    QCOMPARE(entry(), second);
    library.unload();
}

void TestPluginEntry::loadedLibrary_isTheLinkedOne()
{
    auto *plugin = qobject_cast<MavAutopilot *>(loader.instance());
    QVERIFY(plugin);
    QCOMPARE(plugin->metaObject(), &MavAutopilot::staticMetaObject);

    QVERIFY(runningApp()->settings()->contains(
        QStringLiteral("MAV/SYSTEM_ID"))); // read from the App of this program
    plugin->dispatchReceivedData(QByteArray::fromHex(Golden::GroundHeartbeat));
    QCOMPARE(channelStatus().packet_rx_success_count, quint16(1));
    plugin->sendMessage(heartbeatOf(8));
    QCOMPARE(channelStatus().current_tx_seq, quint8(1));
}

void TestPluginEntry::unload_leavesNothingBehind()
{
    FakeFlightController controller;
    loadFreshSettings({{"MAV/CONNECTION_TYPE", QStringLiteral("TCP")},
                       {"MAV/SERIAL_DEVICE", QStringLiteral("127.0.0.1")},
                       {"MAV/BAUD_RATE", controller.port()}});
    LogCapture log;
    const int listenersBefore = openApp()->listeners();
    const QPointer<QObject> instance = loader.instance();
    QVERIFY(instance);
    auto *plugin = qobject_cast<IAutopilotPlugin *>(instance);
    instance->findChild<IConnection *>()->setParameter(QStringLiteral("disconnecttimeout"), 0);
    QVERIFY(openApp()->listeners() > listenersBefore);
    QVERIFY(plugin->start());
    QVERIFY(controller.accept());
    QObject *const address = instance;
    auto *dispatcher = QAbstractEventDispatcher::instance();
    QCOMPARE(dispatcher->registeredTimers(address).size(), 3);

    QVERIFY(loader.unload());
    QVERIFY(!instance);
    QCOMPARE(dispatcher->registeredTimers(address).size(), 0);
    QCOMPARE(openApp()->listeners(), listenersBefore);
    QVERIFY(controller.waitForClosed());
    QCOMPARE(log.take(), QStringList{QStringLiteral("[AP] Connected to autopilot")});
}

int main(int argc, char *argv[])
{
    prepareTestEnvironment();
    OpenApp app(argc, argv);
    TestPluginEntry test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_pluginentry.moc"
