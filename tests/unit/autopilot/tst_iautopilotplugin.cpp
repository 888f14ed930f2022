// SPDX-License-Identifier: MIT
#include "autopilot/iautopilotplugin.h"

#include "autopilot/mavautopilot.h"
#include "autopilot/support/autopilotrig.h"
#include "support/testmain.h"
#include "support/vtable.h"

namespace {

class BarePlugin : public IAutopilotPlugin
{
public:
    BarePlugin()
        : IAutopilotPlugin(nullptr)
    {}
    using IAutopilotPlugin::disableWifiInAir;

    ICommunicator *communicator() override { return nullptr; }
    IVirtualStick *virtualStick() override { return nullptr; }
    bool isStarted() const override { return false; }
    QString name() const override { return QStringLiteral("Bare"); }
    QString version() const override { return QStringLiteral("0"); }
    bool start() override { return true; }
    void stop() override {}
};

// The signals and slots that a class adds, in order: "signal return-type signature".
QStringList ownMethods(const QMetaObject &meta)
{
    QStringList methods;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        const QMetaMethod method = meta.method(i);
        const bool isSignal = method.methodType() == QMetaMethod::Signal;
        methods.append(QStringLiteral("%1 %2 %3")
                           .arg(isSignal ? QLatin1String("signal") : QLatin1String("slot"),
                                QLatin1String(method.typeName()),
                                QString::fromLatin1(method.methodSignature())));
    }
    return methods;
}

} // namespace

class TestIAutopilotPlugin : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void construction_registersTheArgumentTypes_data();
    void construction_registersTheArgumentTypes();
    void id_isTheTagOfTheLogLines();
    void metaObject_ofTheInterface_hasTheAgreedOrder();
    void metaObject_ofTheDriver_hasTheAgreedOrder();
    void virtualFunctions_standInTheAgreedOrder();
    void interfaceId_isTheAgreedOne();
    void metacast_answersForClassAndInterface();
    void vehicleState_ofAFreshRecord_isZeroButForThePreset();
    void wifiSetting_absent_isFalseAndWrittenToTheFile();
    void enableWifi_withTheSettingOff_doesNothing_data();
    void enableWifi_withTheSettingOff_doesNothing();
    void enableWifi_withTheSettingOn_sendsTextAndSwitches_data();
    void enableWifi_withTheSettingOn_sendsTextAndSwitches();
    void enableWifi_afterAFailingCommand_goesOn();
    void wifiSetting_changedWhileRunning_countsFromTheNextCall();
    void dataReceived_acrossAQueuedConnection_arrivesWhole();
    void vehicleState_acrossAQueuedConnection_arrivesWhole();
};

void TestIAutopilotPlugin::construction_registersTheArgumentTypes_data()
{
    QTest::addColumn<QByteArray>("type");
    QTest::newRow("MessageId") << QByteArrayLiteral("MessageId");
    QTest::newRow("PayloadId") << QByteArrayLiteral("PayloadId");
    QTest::newRow("VehicleState") << QByteArrayLiteral("VehicleState");
}

// Stands first: connections of other tests would register the types as well.
void TestIAutopilotPlugin::construction_registersTheArgumentTypes()
{
    QFETCH(QByteArray, type);
    loadFreshSettings({});
    const BarePlugin plugin;
    QVERIFY(QMetaType::type(type) != QMetaType::UnknownType);
}

void TestIAutopilotPlugin::id_isTheTagOfTheLogLines()
{
    AutopilotRig rig;
    const BarePlugin plugin;
    QCOMPARE(plugin.id(), QStringLiteral("AP"));
    QCOMPARE(plugin.prefix(), QString());
    plugin.info() << "text";
    QCOMPARE(rig.log.take(), QStringList{QStringLiteral("[AP] text")});
}

void TestIAutopilotPlugin::metaObject_ofTheInterface_hasTheAgreedOrder()
{
    QCOMPARE(IBase::staticMetaObject.methodCount(), QObject::staticMetaObject.methodCount());
    QCOMPARE(IAutopilotPlugin::staticMetaObject.superClass(), &IBase::staticMetaObject);
    QCOMPARE(ownMethods(IAutopilotPlugin::staticMetaObject),
             (QStringList{QStringLiteral("signal void positionUpdated(VehicleState)"),
                          QStringLiteral("signal void vehicleStateUpdated(VehicleState)"),
                          QStringLiteral("signal void dataReceived(MessageId,PayloadId,QByteArray,QVariant)"),
                          QStringLiteral("signal void virtualStickCreated(QSharedPointer<IVirtualStick>)"),
                          QStringLiteral("slot bool start()"), QStringLiteral("slot void stop()")}));
}

void TestIAutopilotPlugin::metaObject_ofTheDriver_hasTheAgreedOrder()
{
    QCOMPARE(MavAutopilot::staticMetaObject.superClass(), &IAutopilotPlugin::staticMetaObject);
    QCOMPARE(ownMethods(MavAutopilot::staticMetaObject),
             (QStringList{QStringLiteral("signal bool sendData(QByteArray)"),
                          QStringLiteral("signal void messageReceived(mavlink::mavlink_message_t)"),
                          QStringLiteral("slot bool start()"), QStringLiteral("slot void stop()"),
                          QStringLiteral("slot void dispatchReceivedData(QByteArray)"),
                          QStringLiteral("slot void onMessageReceived(mavlink::mavlink_message_t)"),
                          QStringLiteral("slot void sendMessage(mavlink::Message)")}));
}

void TestIAutopilotPlugin::virtualFunctions_standInTheAgreedOrder()
{
    const int first = lastSlotOfQObject() + 1;
    QCOMPARE(virtualSlot(&IAutopilotPlugin::communicator), first);
    QCOMPARE(virtualSlot(&IAutopilotPlugin::virtualStick), first + 1);
    QCOMPARE(virtualSlot(&IAutopilotPlugin::isStarted), first + 2);
    QCOMPARE(virtualSlot(&IAutopilotPlugin::id), first + 3);
    QCOMPARE(virtualSlot(&IAutopilotPlugin::name), first + 4);
    QCOMPARE(virtualSlot(&IAutopilotPlugin::version), first + 5);
    QCOMPARE(virtualSlot(&IAutopilotPlugin::start), first + 6);
    QCOMPARE(virtualSlot(&IAutopilotPlugin::stop), first + 7);
}

void TestIAutopilotPlugin::interfaceId_isTheAgreedOne()
{
    QCOMPARE(QByteArray(qobject_interface_iid<IAutopilotPlugin *>()),
             QByteArrayLiteral("com.kelm.tervon.iautopilotplugin"));
}

void TestIAutopilotPlugin::metacast_answersForClassAndInterface()
{
    AutopilotRig rig;
    MavAutopilot *plugin = rig.plugin.get();
    QCOMPARE(plugin->qt_metacast("MavAutopilot"), static_cast<void *>(plugin));
    QCOMPARE(plugin->qt_metacast("com.kelm.tervon.iautopilotplugin"),
             static_cast<void *>(static_cast<IAutopilotPlugin *>(plugin)));
    QCOMPARE(plugin->qt_metacast("IAutopilotPlugin"),
             static_cast<void *>(static_cast<IAutopilotPlugin *>(plugin)));
    QCOMPARE(plugin->qt_metacast("Logged"), static_cast<void *>(static_cast<Logged *>(plugin)));
    QVERIFY(!plugin->qt_metacast("com.kelm.tervon.something"));
    QCOMPARE(qobject_cast<IAutopilotPlugin *>(static_cast<QObject *>(plugin)), plugin);
}

void TestIAutopilotPlugin::vehicleState_ofAFreshRecord_isZeroButForThePreset()
{
    const VehicleState state;
    QCOMPARE(state.satellites, quint8(0));
    QCOMPARE(state.hdop, quint16(10000));
    QCOMPARE(state.latitude, 0.0);
    QCOMPARE(state.longitude, 0.0);
    QCOMPARE(state.altitude, 0.0F);
    QCOMPARE(state.roll, 0.0F);
    QCOMPARE(state.pitch, 0.0F);
    QCOMPARE(state.yaw, 0.0F);
    QCOMPARE(state.velocity, 0.0F);
}

void TestIAutopilotPlugin::wifiSetting_absent_isFalseAndWrittenToTheFile()
{
    loadFreshSettings({});
    const BarePlugin plugin;
    QCOMPARE(plugin.disableWifiInAir, false);
    QVERIFY(runningApp()->settings()->contains(QStringLiteral("APP/DISABLE_WIFI_IN_AIR")));
    QCOMPARE(runningApp()->settings()->value(QStringLiteral("APP/DISABLE_WIFI_IN_AIR")).toBool(), false);
}

void TestIAutopilotPlugin::enableWifi_withTheSettingOff_doesNothing_data()
{
    QTest::addColumn<bool>("enable");
    QTest::newRow("on") << true;
    QTest::newRow("off") << false;
}

void TestIAutopilotPlugin::enableWifi_withTheSettingOff_doesNothing()
{
    QFETCH(bool, enable);
    AutopilotRig rig({{"APP/DISABLE_WIFI_IN_AIR", false}});
    rig.plugin->enableWifi(enable);
    QCOMPARE(rig.log.take(), QStringList());
    QCOMPARE(takeStandInCalls(), QStringList());
}

void TestIAutopilotPlugin::enableWifi_withTheSettingOn_sendsTextAndSwitches_data()
{
    QTest::addColumn<bool>("enable");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("command");
    QTest::newRow("on") << true << QStringLiteral("[AP] Enable Wi-Fi")
                        << QStringLiteral("nmcli radio wifi on");
    QTest::newRow("off") << false << QStringLiteral("[AP] Disable Wi-Fi")
                         << QStringLiteral("nmcli radio wifi off");
}

void TestIAutopilotPlugin::enableWifi_withTheSettingOn_sendsTextAndSwitches()
{
    QFETCH(bool, enable);
    QFETCH(QString, text);
    QFETCH(QString, command);
    AutopilotRig rig({{"APP/DISABLE_WIFI_IN_AIR", true}});
    rig.plugin->enableWifi(enable);
    QCOMPARE(rig.log.take(), (QStringList{QStringLiteral("textToGround 0 ") + text,
                                          QStringLiteral("[AP] \"%1\" -> 0").arg(command)}));
    QCOMPARE(takeStandInCalls(), QStringList{command});
}

void TestIAutopilotPlugin::enableWifi_afterAFailingCommand_goesOn()
{
    AutopilotRig rig({{"APP/DISABLE_WIFI_IN_AIR", true}});
    qputenv("NOFLAILSTEN_STANDIN_STATUS", "3");
    rig.plugin->enableWifi(true);
    qunsetenv("NOFLAILSTEN_STANDIN_STATUS");
    QCOMPARE(rig.log.take(), (QStringList{QStringLiteral("textToGround 0 [AP] Enable Wi-Fi"),
                                          QStringLiteral("[AP] \"nmcli radio wifi on\" -> 768")}));
    rig.plugin->enableWifi(false);
    QCOMPARE(rig.log.take().constLast(), QStringLiteral("[AP] \"nmcli radio wifi off\" -> 0"));
}

void TestIAutopilotPlugin::wifiSetting_changedWhileRunning_countsFromTheNextCall()
{
    AutopilotRig rig;
    Q_EMIT runningApp()->APP_DISABLE_WIFI_IN_AIR(true);
    QCOMPARE(rig.log.take(), QStringList());
    rig.plugin->enableWifi(false);
    QCOMPARE(takeStandInCalls(), QStringList{QStringLiteral("nmcli radio wifi off")});
    rig.log.take();

    Q_EMIT runningApp()->APP_DISABLE_WIFI_IN_AIR(false);
    rig.plugin->enableWifi(true);
    QCOMPARE(takeStandInCalls(), QStringList());
}

void TestIAutopilotPlugin::dataReceived_acrossAQueuedConnection_arrivesWhole()
{
    AutopilotRig rig;
    QList<QVariantList> arrived;
    connect(
        rig.plugin.get(), &IAutopilotPlugin::dataReceived, this,
        [&](MessageId message, PayloadId payload, const QByteArray &data, const QVariant &extra) {
            arrived.append({int(message), int(payload), data, extra});
        },
        Qt::QueuedConnection);
    Q_EMIT rig.plugin->dataReceived(MessageId{200}, PayloadId{100}, QByteArrayLiteral("abc"), QVariant(5));
    QVERIFY(arrived.isEmpty());
    QTRY_COMPARE(arrived.size(), 1);
    QCOMPARE(arrived.first(), (QVariantList{200, 100, QByteArrayLiteral("abc"), 5}));
}

void TestIAutopilotPlugin::vehicleState_acrossAQueuedConnection_arrivesWhole()
{
    AutopilotRig rig;
    QVector<VehicleState> arrived;
    connect(
        rig.plugin.get(), &IAutopilotPlugin::vehicleStateUpdated, this,
        [&](const VehicleState &state) { arrived.append(state); }, Qt::QueuedConnection);
    VehicleState state;
    state.satellites = 9;
    state.latitude = 56.9496;
    Q_EMIT rig.plugin->vehicleStateUpdated(state);
    QTRY_COMPARE(arrived.size(), 1);
    QCOMPARE(arrived.first().satellites, quint8(9));
    QCOMPARE(arrived.first().latitude, 56.9496);
}

APP_TEST_MAIN(TestIAutopilotPlugin)
#include "tst_iautopilotplugin.moc"
