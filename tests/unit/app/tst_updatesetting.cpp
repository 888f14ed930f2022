// SPDX-License-Identifier: MIT
#include "appfixture.h"
#include "support/logcapture.h"

#include <QSignalSpy>

/// Declares a signal that is none of App's own.
class HostApp : public App
{
    Q_OBJECT

public:
    using App::App;

Q_SIGNALS:
    void HOST_KEY(int value);
};

class TestUpdateSetting : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void verbose_withTheTextTRUE_emitsSetsStoresAndLogs();
    void verbose_withTheTextYes_isFalse();
    void value_isConvertedToTheTypeOfTheSignal_data();
    void value_isConvertedToTheTypeOfTheSignal();
    void value_isStoredAsGivenNotAsConverted();
    void doubleSetting_isStoredWithoutASignal();
    void unknownSetting_onlyWarns();
    void unknownSetting_inAnotherLetterCase_onlyWarns();
    void signalOfASubclass_isNoSetting();
    void signal_isEmittedBeforeTheValueIsStoredAndLogged();
    void value_isOnDiskAtOnce();
    void line_isWrittenOnTheInformationLevelUnquoted();
    void line_ofAListValue_hasNoText();
    void value_withPlaceMarkers_isLoggedAsItIs();
    void receiverOnAnotherThread_getsTheValueQueued();
};

void TestUpdateSetting::verbose_withTheTextTRUE_emitsSetsStoresAndLogs()
{
    LogCapture log;
    SettingsFixture<> f;
    f.load();
    const QSignalSpy changed(&f.app, &App::APP_VERBOSE);

    f.app.updateSetting("APP", "VERBOSE", QStringLiteral("TRUE"));
    QCOMPARE(emissions(changed), QList<QVariantList>{{true}});
    QVERIFY(f.app.isVerbose());
    QCOMPARE(f.stored().value(QStringLiteral("APP/VERBOSE")), QVariant(QStringLiteral("TRUE")));
    QCOMPARE(log.take(), QStringList{QStringLiteral("Updated: APP/VERBOSE=TRUE")});
}

void TestUpdateSetting::verbose_withTheTextYes_isFalse()
{
    LogCapture log;
    SettingsFixture<> f;
    f.load("[APP]\nVERBOSE=true\n");
    const QSignalSpy changed(&f.app, &App::APP_VERBOSE);

    f.app.updateSetting("APP", "VERBOSE", QStringLiteral("yes"));
    QCOMPARE(emissions(changed), QList<QVariantList>{{false}});
    QVERIFY(!f.app.isVerbose());
    QCOMPARE(f.stored().value(QStringLiteral("APP/VERBOSE")), QVariant(QStringLiteral("yes")));
    QCOMPARE(log.take(), QStringList{QStringLiteral("Updated: APP/VERBOSE=yes")});
}

void TestUpdateSetting::value_isConvertedToTheTypeOfTheSignal_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QVariant>("emitted");
    const auto row = [](const char *title, const char *name, const QVariant &value, const QVariant &emitted) {
        QTest::newRow(title) << QByteArray(name) << value << emitted;
    };
    const auto text = [](const char *latin1) { return QVariant(QString::fromLatin1(latin1)); };

    row("bool: true", "VERBOSE", text("true"), true);
    row("bool: True", "VERBOSE", text("True"), true);
    row("bool: 1", "VERBOSE", text("1"), true);
    row("bool: number 1", "VERBOSE", 1, true);
    row("bool: boolean", "VERBOSE", true, true);
    row("bool: real 1", "VERBOSE", 1.0, true);
    row("bool: 2", "VERBOSE", 2, false);
    row("bool: 01", "VERBOSE", text("01"), false);
    row("bool: on", "VERBOSE", text("on"), false);
    row("bool: blank before", "VERBOSE", text(" true"), false);
    row("bool: nothing", "VERBOSE", text(""), false);
    row("bool: invalid", "VERBOSE", QVariant(), false);
    row("quint32: largest", "LOG_SPLIT_SIZE_MB", text("4294967295"), 4294967295U);
    row("quint32: too large", "LOG_SPLIT_SIZE_MB", text("4294967296"), 0U);
    row("quint32: negative text", "LOG_SPLIT_SIZE_MB", text("-1"), 0U);
    row("quint32: no number", "LOG_SPLIT_SIZE_MB", text("ten"), 0U);
    row("int: negative", "STATUS_PERIOD_MS", text("-2147483648"), -2147483647 - 1);
    row("int: fraction", "STATUS_PERIOD_MS", text("12.7"), 0);
    row("int: no number", "STATUS_PERIOD_MS", text("1s"), 0);
    row("int: invalid", "STATUS_PERIOD_MS", QVariant(), 0);
}

void TestUpdateSetting::value_isConvertedToTheTypeOfTheSignal()
{
    QFETCH(QByteArray, name);
    QFETCH(QVariant, value);
    QFETCH(QVariant, emitted);
    SettingsFixture<> f;
    f.load();
    const int index = f.app.metaObject()->indexOfSignal("APP_" + name + "(" + emitted.typeName() + ")");
    QSignalSpy changed(&f.app, f.app.metaObject()->method(index));

    f.app.updateSetting("APP", name.constData(), value);
    QCOMPARE(emissions(changed), QList<QVariantList>{{emitted}});
}

void TestUpdateSetting::value_isStoredAsGivenNotAsConverted()
{
    SettingsFixture<> f;
    f.load();
    const QSignalSpy changed(&f.app, &App::MAV_SYSTEM_ID);
    f.app.updateSetting("MAV", "SYSTEM_ID", QStringLiteral("65541"));
    QCOMPARE(emissions(changed), QList<QVariantList>{{QVariant::fromValue(quint16(5))}});
    QCOMPARE(f.stored().value(QStringLiteral("MAV/SYSTEM_ID")).toString(), QStringLiteral("65541"));
}

void TestUpdateSetting::doubleSetting_isStoredWithoutASignal()
{
    LogCapture log;
    SettingsFixture<> f;
    f.load();
    const QSignalSpy changed(&f.app, &App::RADSYS_ZOND_OFFSET_RIGHT_M_1);
    f.app.updateSetting("RADSYS_ZOND", "OFFSET_RIGHT_M_1", 1.5);
    QCOMPARE(changed.count(), 0);
    QCOMPARE(f.stored().value(QStringLiteral("RADSYS_ZOND/OFFSET_RIGHT_M_1")).toDouble(), 1.5);
    QCOMPARE(log.take(), QStringList{QStringLiteral("Updated: RADSYS_ZOND/OFFSET_RIGHT_M_1=1.5")});
}

void TestUpdateSetting::unknownSetting_onlyWarns()
{
    LogCapture log;
    SettingsFixture<> f;
    f.load("[MAV]\nSYSTEM_ID=7\n");
    const QVariantMap before = f.stored();
    const QByteArray text = f.text();

    f.app.updateSetting("FOO", "BAR", 1);
    QCOMPARE(log.take(), QStringList{QStringLiteral("WARN: Settings FOO_BAR not found")});
    QCOMPARE(log.takenTypes(), QList<QtMsgType>{QtWarningMsg});
    QCOMPARE(f.stored(), before);
    QCOMPARE(f.text(), text);
}

void TestUpdateSetting::unknownSetting_inAnotherLetterCase_onlyWarns()
{
    LogCapture log;
    SettingsFixture<> f;
    f.load();
    f.app.updateSetting("mav", "system_id", 1);
    QCOMPARE(log.take(), QStringList{QStringLiteral("WARN: Settings mav_system_id not found")});
    QVERIFY(!f.stored().contains(QStringLiteral("mav/system_id")));
}

void TestUpdateSetting::signalOfASubclass_isNoSetting()
{
    LogCapture log;
    SettingsFixture<HostApp> f;
    f.load();
    const QSignalSpy changed(&f.app, &HostApp::HOST_KEY);
    f.app.updateSetting("HOST", "KEY", 1);
    QCOMPARE(changed.count(), 0);
    QCOMPARE(log.take(), QStringList{QStringLiteral("WARN: Settings HOST_KEY not found")});
}

void TestUpdateSetting::signal_isEmittedBeforeTheValueIsStoredAndLogged()
{
    LogCapture log;
    SettingsFixture<> f;
    f.load("[MAV]\nBAUD_RATE=7\n");
    int storedThen = 0;
    QStringList loggedThen{QStringLiteral("no signal")};
    connect(&f.app, &App::MAV_BAUD_RATE, this, [&] {
        storedThen = f.app.settings()->value(QStringLiteral("MAV/BAUD_RATE")).toInt();
        loggedThen = log.take();
    });
    f.app.updateSetting("MAV", "BAUD_RATE", 9);
    QCOMPARE(storedThen, 7);
    QCOMPARE(loggedThen, QStringList());
    QCOMPARE(log.take().size(), 1);
}

void TestUpdateSetting::value_isOnDiskAtOnce()
{
    SettingsFixture<> f;
    f.load();
    f.app.updateSetting("MAV", "BAUD_RATE", 115200);
    QVERIFY2(f.text().contains("[MAV]\nBAUD_RATE=115200\n"), f.text().constData());
}

void TestUpdateSetting::line_isWrittenOnTheInformationLevelUnquoted()
{
    LogCapture log;
    SettingsFixture<> f;
    f.load();
    f.app.updateSetting("MAV", "SERIAL_DEVICE", QStringLiteral("/dev/tty \"1\""));
    QCOMPARE(log.take(), QStringList{QStringLiteral("Updated: MAV/SERIAL_DEVICE=/dev/tty \"1\"")});
    QCOMPARE(log.takenTypes(), QList<QtMsgType>{QtInfoMsg});
}

void TestUpdateSetting::line_ofAListValue_hasNoText()
{
    LogCapture log;
    SettingsFixture<> f;
    f.load();
    const QSignalSpy changed(&f.app, &App::MAV_SERIAL_DEVICE);
    const QStringList list{QStringLiteral("a"), QStringLiteral("b")};
    f.app.updateSetting("MAV", "SERIAL_DEVICE", list);
    QCOMPARE(emissions(changed), QList<QVariantList>{{QString()}});
    QCOMPARE(f.stored().value(QStringLiteral("MAV/SERIAL_DEVICE")).toStringList(), list);
    QCOMPARE(log.take(), QStringList{QStringLiteral("Updated: MAV/SERIAL_DEVICE=")});
}

void TestUpdateSetting::value_withPlaceMarkers_isLoggedAsItIs()
{
    LogCapture log;
    SettingsFixture<> f;
    f.load();
    f.app.updateSetting("MAV", "SERIAL_DEVICE", QStringLiteral("%1%2"));
    QCOMPARE(log.take(), QStringList{QStringLiteral("Updated: MAV/SERIAL_DEVICE=%1%2")});
}

void TestUpdateSetting::receiverOnAnotherThread_getsTheValueQueued()
{
    SettingsFixture<> f;
    f.load();
    QThread thread;
    QObject receiver;
    receiver.moveToThread(&thread);
    thread.start();
    QString received;
    QThread *receivedOn = nullptr;
    connect(&f.app, &App::MAV_SERIAL_DEVICE, &receiver, [&](const QString &value) {
        received = value;
        receivedOn = QThread::currentThread();
    });
    f.app.updateSetting("MAV", "SERIAL_DEVICE", QStringLiteral("/dev/ttyS1"));
    QMetaObject::invokeMethod(
        &receiver, [] {}, Qt::BlockingQueuedConnection); // what was posted before has run
    thread.quit();
    thread.wait();
    QCOMPARE(received, QStringLiteral("/dev/ttyS1"));
    QCOMPARE(receivedOn, &thread);
}

APPLESS_TEST_MAIN(TestUpdateSetting)
#include "tst_updatesetting.moc"
