// SPDX-License-Identifier: MIT
#include "host/linkwatch.h"

#include "autopilot/iautopilotplugin.h"
#include "connection/iconnection.h"

#include <QtTest>

using namespace std::chrono_literals;

namespace {

class FakeConnection : public IConnection
{
public:
    FakeConnection(int kindOfLink, QObject *parent)
        : IConnection(parent)
        , kind(kindOfLink)
    {}

    bool open(const QString &, const QVariant &) override { return opened = true; }
    void close() override
    {
        if (!std::exchange(opened, false))
            return;
        Q_EMIT disconnected();
    }
    void reconnect() override {}
    bool isOpened() const override { return opened; }
    void setParameter(const QString &, const QVariant &) override {}
    bool sendData(const char *, qint64) override { return opened; }
    int type() const override { return kind; }
    void readData() override {}

    bool opened = false;

private:
    int kind;
};

/// Starts succeed or fail as told, the last answer being repeated.
class FakePlugin : public IAutopilotPlugin
{
public:
    explicit FakePlugin(int kind = IConnection::Tcp)
        : IAutopilotPlugin(nullptr)
        , connection(new FakeConnection(kind, this))
    {}

    ICommunicator *communicator() override { return nullptr; }
    IVirtualStick *virtualStick() override { return nullptr; }
    bool isStarted() const override { return connection->opened; }
    QString name() const override { return QString(); }
    QString version() const override { return QString(); }
    bool start() override
    {
        ++starts;
        const bool succeeds = answers.size() > 1 ? answers.takeFirst() : answers.first();
        return succeeds && connection->open(QString(), QVariant());
    }
    void stop() override
    {
        ++stops;
        connection->close();
    }

    FakeConnection *connection;
    QList<bool> answers{true};
    int starts = 0;
    int stops = 0;
};

} // namespace

class TestLinkWatch : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void begin_startsThePlugin();
    void end_stopsThePluginAndWatchesNoMore();
    void disconnection_startsAnewAtOnce();
    void disconnection_ofOurOwnStop_isIgnored();
    void disconnection_ofALinkThatIsOpenAgain_isIgnored();
    void disconnection_rightAfterTheStart_pauses();
    void connectionFoundClosed_startsAnew();
    void autopilotFallingSilent_startsAnewAtOnce();
    void autopilotNeverHeard_startsAnew();
    void autopilotHeard_stopsTheWaitForIt();
    void statusBelowTwo_beforeAnyHeartbeat_isNoLoss();
    void failedStarts_pauseLongerAndLonger();
    void successfulStart_resetsThePause();
    void missingSerialDevice_isWaitedFor();
    void presentSerialDeviceThatFails_pauses();
    void missingDevice_ofATcpConnection_isNotAskedFor();
    void withoutReconnecting_aFailedStartIsTheEnd();
    void withoutReconnecting_aLossIsIgnored();
    void pluginWithoutConnection_isStarted();

private:
    /// Nothing happens by itself; two starts may follow at once.
    static LinkWatch::Periods still() { return {1h, 0ms, 1h, 1h}; }
    static bool present() { return true; }
};

void TestLinkWatch::begin_startsThePlugin()
{
    FakePlugin plugin;
    LinkWatch watch(&plugin, present);
    QSignalSpy opened(&watch, &LinkWatch::opened);
    watch.begin();
    QCOMPARE(plugin.starts, 1);
    QCOMPARE(opened.count(), 1);
}

void TestLinkWatch::end_stopsThePluginAndWatchesNoMore()
{
    FakePlugin plugin;
    LinkWatch watch(&plugin, present);
    watch.setPeriods(still());
    watch.begin();
    watch.end();
    QCOMPARE(plugin.stops, 1);
    watch.onAutopilotStatus(2);
    watch.onAutopilotStatus(1);
    QCoreApplication::processEvents();
    QCOMPARE(plugin.starts, 1);
}

void TestLinkWatch::disconnection_startsAnewAtOnce()
{
    FakePlugin plugin;
    LinkWatch watch(&plugin, present);
    watch.setPeriods(still());
    QSignalSpy lost(&watch, &LinkWatch::lost);
    watch.begin();
    plugin.connection->close();
    QCOMPARE(plugin.starts, 1); // not from inside the signal, which may come out of a send
    QCoreApplication::processEvents();
    QCOMPARE(plugin.starts, 2);
    QCOMPARE(plugin.stops, 1);
    QCOMPARE(lost.count(), 1);
    QCOMPARE(lost.at(0).at(0).toString(), QStringLiteral("disconnected"));
}

void TestLinkWatch::disconnection_ofOurOwnStop_isIgnored()
{
    FakePlugin plugin;
    LinkWatch watch(&plugin, present);
    watch.setPeriods(still());
    watch.begin();
    watch.onAutopilotStatus(2);
    watch.onAutopilotStatus(1); // stops the open connection, which says that it is disconnected
    QCOMPARE(plugin.starts, 2);
    QCoreApplication::processEvents();
    QCOMPARE(plugin.starts, 2);
}

void TestLinkWatch::disconnection_ofALinkThatIsOpenAgain_isIgnored()
{
    FakePlugin plugin;
    LinkWatch watch(&plugin, present);
    watch.setPeriods(still());
    watch.begin();
    plugin.connection->close();
    plugin.connection->open(QString(), QVariant());
    QCoreApplication::processEvents();
    QCOMPARE(plugin.starts, 1);
}

void TestLinkWatch::disconnection_rightAfterTheStart_pauses()
{
    FakePlugin plugin;
    LinkWatch watch(&plugin, present);
    watch.setPeriods({1h, 1h, 1h, 1h});
    QSignalSpy lost(&watch, &LinkWatch::lost);
    watch.begin();
    plugin.connection->close();
    QCoreApplication::processEvents();
    QCOMPARE(lost.count(), 1);
    QCOMPARE(plugin.starts, 1);
}

void TestLinkWatch::connectionFoundClosed_startsAnew()
{
    FakePlugin plugin;
    LinkWatch watch(&plugin, present);
    watch.setPeriods({1ms, 0ms, 1h, 1h});
    QSignalSpy lost(&watch, &LinkWatch::lost);
    watch.begin();
    plugin.connection->opened = false; // without a signal
    QTRY_COMPARE(plugin.starts, 2);
    QCOMPARE(lost.at(0).at(0).toString(), QStringLiteral("connection closed"));
}

void TestLinkWatch::autopilotFallingSilent_startsAnewAtOnce()
{
    FakePlugin plugin;
    LinkWatch watch(&plugin, present);
    watch.setPeriods(still());
    QSignalSpy lost(&watch, &LinkWatch::lost);
    watch.begin();
    for (const quint8 status : {0, 1, 2, 2, 1})
        watch.onAutopilotStatus(status);
    QCOMPARE(plugin.starts, 2);
    QCOMPARE(lost.at(0).at(0).toString(), QStringLiteral("autopilot silent"));
    watch.onAutopilotStatus(1);
    QCOMPARE(plugin.starts, 2);
}

void TestLinkWatch::autopilotNeverHeard_startsAnew()
{
    FakePlugin plugin;
    LinkWatch watch(&plugin, present);
    watch.setPeriods({1h, 0ms, 1h, 1ms});
    QSignalSpy lost(&watch, &LinkWatch::lost);
    watch.begin();
    QTRY_VERIFY(plugin.starts >= 3); // again and again
    QCOMPARE(lost.at(0).at(0).toString(), QStringLiteral("no autopilot heard"));
}

void TestLinkWatch::autopilotHeard_stopsTheWaitForIt()
{
    FakePlugin plugin;
    LinkWatch watch(&plugin, present);
    watch.setPeriods({1h, 0ms, 1h, 50ms});
    watch.begin();
    watch.onAutopilotStatus(2);
    // A later timer of the same length has fired, so the watch's own would have, too.
    bool later = false;
    QTimer::singleShot(100, this, [&later] { later = true; });
    QTRY_VERIFY(later);
    QCOMPARE(plugin.starts, 1);
}

void TestLinkWatch::statusBelowTwo_beforeAnyHeartbeat_isNoLoss()
{
    FakePlugin plugin;
    LinkWatch watch(&plugin, present);
    watch.setPeriods(still());
    watch.begin();
    for (const quint8 status : {0, 1, 0, 1})
        watch.onAutopilotStatus(status);
    QCOMPARE(plugin.starts, 1);
}

void TestLinkWatch::failedStarts_pauseLongerAndLonger()
{
    FakePlugin plugin;
    plugin.answers = {false};
    LinkWatch watch(&plugin, present);
    watch.setPeriods({1h, 1ms, 5ms, 1h});
    QVector<int> pauses;
    connect(&watch, &LinkWatch::failed, this, [&](auto pause) { pauses.append(int(pause.count())); });
    watch.begin();
    QTRY_VERIFY(pauses.size() >= 5);
    const QVector<int> expected{1, 2, 4, 5, 5};
    QCOMPARE(pauses.mid(0, 5), expected);
    QCOMPARE(plugin.stops, 0);
}

void TestLinkWatch::successfulStart_resetsThePause()
{
    FakePlugin plugin;
    plugin.answers = {false, false, true, false, true};
    LinkWatch watch(&plugin, present);
    watch.setPeriods({1h, 1ms, 1h, 1h});
    QVector<int> pauses;
    connect(&watch, &LinkWatch::failed, this, [&](auto pause) { pauses.append(int(pause.count())); });
    watch.begin();
    QTRY_VERIFY(plugin.connection->opened);
    plugin.connection->close();
    QTRY_COMPARE(plugin.starts, 5);
    const QVector<int> expected{1, 2, 1};
    QCOMPARE(pauses, expected);
}

void TestLinkWatch::missingSerialDevice_isWaitedFor()
{
    FakePlugin plugin(IConnection::Uart);
    plugin.answers = {false, true};
    bool exists = false;
    int looks = 0;
    LinkWatch watch(&plugin, [&] {
        ++looks;
        return exists;
    });
    watch.setPeriods({1ms, 1h, 1h, 1h});
    QVector<int> pauses;
    connect(&watch, &LinkWatch::failed, this, [&](auto pause) { pauses.append(int(pause.count())); });
    watch.begin();
    QTRY_VERIFY(looks >= 5);
    QCOMPARE(plugin.starts, 1);
    QCOMPARE(pauses, QVector<int>{0});
    exists = true;
    QTRY_VERIFY(plugin.connection->opened);
    QCOMPARE(plugin.starts, 2);
}

void TestLinkWatch::presentSerialDeviceThatFails_pauses()
{
    FakePlugin plugin(IConnection::Uart);
    plugin.answers = {false, true};
    LinkWatch watch(&plugin, present);
    watch.setPeriods({1h, 1ms, 1h, 1h});
    watch.begin();
    QTRY_VERIFY(plugin.connection->opened);
}

void TestLinkWatch::missingDevice_ofATcpConnection_isNotAskedFor()
{
    FakePlugin plugin;
    plugin.answers = {false, true};
    bool asked = false;
    LinkWatch watch(&plugin, [&asked] { return !(asked = true); });
    watch.setPeriods({1h, 1ms, 1h, 1h});
    watch.begin();
    QTRY_VERIFY(plugin.connection->opened);
    QVERIFY(!asked);
}

void TestLinkWatch::withoutReconnecting_aFailedStartIsTheEnd()
{
    FakePlugin plugin;
    plugin.answers = {false};
    LinkWatch watch(&plugin, present);
    watch.setPeriods({0ms, 0ms, 0ms, 0ms});
    watch.setReconnecting(false);
    QSignalSpy failed(&watch, &LinkWatch::failed);
    watch.begin();
    QCOMPARE(failed.count(), 1);
    QCoreApplication::processEvents();
    QCOMPARE(plugin.starts, 1);
}

void TestLinkWatch::withoutReconnecting_aLossIsIgnored()
{
    FakePlugin plugin;
    LinkWatch watch(&plugin, present);
    watch.setPeriods({0ms, 0ms, 0ms, 0ms});
    watch.setReconnecting(false);
    watch.begin();
    watch.onAutopilotStatus(2);
    watch.onAutopilotStatus(1);
    plugin.connection->close();
    QCoreApplication::processEvents();
    QCOMPARE(plugin.starts, 1);
}

void TestLinkWatch::pluginWithoutConnection_isStarted()
{
    FakePlugin plugin;
    delete plugin.connection;
    plugin.connection = new FakeConnection(IConnection::Tcp, nullptr); // not among its children
    const std::unique_ptr<FakeConnection> owner(plugin.connection);
    LinkWatch watch(&plugin, present);
    watch.setPeriods(still());
    watch.begin();
    watch.onAutopilotStatus(2);
    watch.onAutopilotStatus(1);
    QCOMPARE(plugin.starts, 2);
}

QTEST_GUILESS_MAIN(TestLinkWatch)
#include "tst_linkwatch.moc"
