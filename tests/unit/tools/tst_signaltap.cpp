// SPDX-License-Identifier: MIT
#include "host/signaltap.h"

#include "autopilot/iautopilotplugin.h"
#include "host/jsontext.h"
#include "host/knownsignals.h"
#include "support/testmain.h"

#include <QCborMap>
#include <QtTest>

class Source : public QObject
{
    Q_OBJECT

Q_SIGNALS:
    void nothing();
    void one(float value);
    void two(int left, const QString &right);
    void withVariant(quint8 kept, const QVariant &leftOut);
    void withDefault(int value = 3);
    void SOME_SETTING(int value);

public Q_SLOTS:
    void slot() {}
};

class DerivedSource : public Source
{
    Q_OBJECT

Q_SIGNALS:
    void own();
};

class TestSignalTap : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void emission_ofEachKind_isHandedOn();
    void emission_ofASetting_isNot();
    void emission_ofASubclassSignal_isNotWhenOnlyTheBaseIsWatched();
    void emission_afterTheTapHasGone_isHarmless();
    void twoSenders_keepTheirPrefixes();
    void invocationByName_onTheApplication_isHandedOn();
    void pluginData_comesWithoutItsVariant();
    void samples_haveTheFormOfWhatIsHandedOn();
    void knownSignals_holdNoSettings();
    void knownSignals_knowTheirFields_data();
    void knownSignals_knowTheirFields();

private:
    SignalTap::Receiver collect()
    {
        return [this](const QString &name, const QCborValue &value) {
            seen.append(name.toUtf8() + ' ' + toJsonText(value));
        };
    }

    QList<QByteArray> seen;
};

void TestSignalTap::init()
{
    seen.clear();
}

void TestSignalTap::emission_ofEachKind_isHandedOn()
{
    Source source;
    SignalTap tap(collect());
    tap.watch(&source, Source::staticMetaObject, QString());
    Q_EMIT source.nothing();
    Q_EMIT source.one(0.5F);
    Q_EMIT source.two(1, QStringLiteral("b"));
    Q_EMIT source.withVariant(7, QStringLiteral("x"));
    Q_EMIT source.withDefault();
    const QList<QByteArray> expected{"nothing null", "one 0.5", R"(two {"left":1,"right":"b"})",
                                     R"(withVariant {"kept":7})", "withDefault 3"};
    QCOMPARE(seen, expected);
}

void TestSignalTap::emission_ofASetting_isNot()
{
    Source source;
    SignalTap tap(collect());
    tap.watch(&source, Source::staticMetaObject, QString());
    Q_EMIT source.SOME_SETTING(1);
    QVERIFY(seen.isEmpty());
}

void TestSignalTap::emission_ofASubclassSignal_isNotWhenOnlyTheBaseIsWatched()
{
    DerivedSource source;
    SignalTap tap(collect());
    tap.watch(&source, Source::staticMetaObject, QString());
    Q_EMIT source.own();
    Q_EMIT source.nothing();
    QCOMPARE(seen, QList<QByteArray>{"nothing null"});
}

void TestSignalTap::emission_afterTheTapHasGone_isHarmless()
{
    Source source;
    {
        SignalTap tap(collect());
        tap.watch(&source, Source::staticMetaObject, QString());
    }
    Q_EMIT source.one(1);
    QVERIFY(seen.isEmpty());
}

void TestSignalTap::twoSenders_keepTheirPrefixes()
{
    Source left;
    Source right;
    SignalTap tap(collect());
    tap.watch(&left, Source::staticMetaObject, QStringLiteral("left."));
    tap.watch(&right, Source::staticMetaObject, QStringLiteral("right."));
    Q_EMIT right.one(2);
    Q_EMIT left.one(1);
    const QList<QByteArray> expected{"right.one 2", "left.one 1"};
    QCOMPARE(seen, expected);
}

void TestSignalTap::invocationByName_onTheApplication_isHandedOn()
{
    SignalTap tap(collect());
    tap.watch(qApp, App::staticMetaObject, QString());
    QMetaObject::invokeMethod(qApp, "gpsCoordinate", Q_ARG(GeoCoordinates, (GeoCoordinates{1.5, -2})));
    runningApp()->sendMessage(QStringLiteral("hello"), TextToGround::Information);
    const QList<QByteArray> expected{R"(gpsCoordinate {"latitude":1.5,"longitude":-2})",
                                     R"(textToGround {"text":"hello","type":0})"};
    QCOMPARE(seen, expected);
}

namespace {

class SilentPlugin : public IAutopilotPlugin
{
public:
    SilentPlugin()
        : IAutopilotPlugin(nullptr)
    {}
    ICommunicator *communicator() override { return nullptr; }
    IVirtualStick *virtualStick() override { return nullptr; }
    bool isStarted() const override { return false; }
    QString name() const override { return QString(); }
    QString version() const override { return QString(); }
    bool start() override { return false; }
    void stop() override {}
};

} // namespace

void TestSignalTap::pluginData_comesWithoutItsVariant()
{
    QTemporaryDir dir;
    runningApp()->loadSettings(dir.filePath(QStringLiteral("host.ini")));
    SilentPlugin plugin;
    SignalTap tap(collect());
    tap.watch(&plugin, IAutopilotPlugin::staticMetaObject, QStringLiteral("plugin."));
    Q_EMIT plugin.dataReceived(MessageId{1}, PayloadId{4}, QByteArray::fromHex("0AFF"), QVariant(5));
    QCOMPARE(seen, QList<QByteArray>{R"(plugin.dataReceived {"messageId":1,"payloadId":4,"data":"0aff"})"});
}

void TestSignalTap::samples_haveTheFormOfWhatIsHandedOn()
{
    const KnownSignals expected{{QStringLiteral("s.nothing"), QCborValue(QCborValue::Null)},
                                {QStringLiteral("s.one"), 0.0},
                                {QStringLiteral("s.two"),
                                 QCborMap{{QStringLiteral("left"), 0}, {QStringLiteral("right"), QString()}}},
                                {QStringLiteral("s.withVariant"), QCborMap{{QStringLiteral("kept"), 0}}},
                                {QStringLiteral("s.withDefault"), 0}};
    QCOMPARE(SignalTap::samples(Source::staticMetaObject, QStringLiteral("s.")), expected);
}

void TestSignalTap::knownSignals_holdNoSettings()
{
    const QStringList names = allKnownSignals().keys();
    for (const char *wanted : {"roll", "textToGround", "plugin.dataReceived", "communicator.receivedData",
                               "virtualStick.statusChanged", "satellites", "inGuidedMode", "autopilotText"})
        QVERIFY2(names.contains(QLatin1String(wanted)), wanted);
    QCOMPARE(names.filter(QStringLiteral("_")), QStringList());
    QVERIFY(!names.contains(QLatin1String("destroyed")));
}

void TestSignalTap::knownSignals_knowTheirFields_data()
{
    QTest::addColumn<QString>("signal");
    QTest::addColumn<QString>("fields");
    const auto row = [](const char *signal, const char *fields) {
        QTest::newRow(signal) << QString::fromLatin1(signal) << QString::fromLatin1(fields);
    };
    row("altitude", "value status time");
    row("communicator.receivedData", "id messageId payloadId data");
    row("plugin.dataReceived", "messageId payloadId data");
    row("virtualStick.statusChanged", "timestamp armed guided active originSet");
    row("virtualStick.originChanged", "lat lon altAmsl");
    row("gpsCoordinate", "latitude longitude");
    row("roll", "");
}

void TestSignalTap::knownSignals_knowTheirFields()
{
    QFETCH(QString, signal);
    QFETCH(QString, fields);
    QStringList names;
    const QCborMap sample = allKnownSignals().value(signal).toMap();
    for (const auto &field : sample)
        names.append(field.first.toString());
    QCOMPARE(names.join(QLatin1Char(' ')), fields);
}

APP_TEST_MAIN(TestSignalTap)
#include "tst_signaltap.moc"
