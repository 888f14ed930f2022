// SPDX-License-Identifier: MIT
#include "host/linkreport.h"

#include "autopilot/iautopilotplugin.h"
#include "autopilot/support/frames.h"
#include "connection/iconnection.h"
#include "host/latestvalues.h"

#include <QCborArray>
#include <QtTest>

#include <cmath>

using namespace std::chrono_literals;

namespace {

class FakeConnection : public IConnection
{
public:
    explicit FakeConnection(QObject *parent)
        : IConnection(parent)
    {}

    bool open(const QString &, const QVariant &) override { return true; }
    void close() override {}
    void reconnect() override {}
    bool isOpened() const override { return true; }
    void setParameter(const QString &, const QVariant &) override {}
    bool sendData(const char *, qint64) override { return true; }
    int type() const override { return Tcp; }
    void readData() override {}

    void receive(const QByteArray &bytes) { Q_EMIT dataReceived(bytes); }
};

class FakePlugin : public IAutopilotPlugin
{
public:
    FakePlugin()
        : IAutopilotPlugin(nullptr)
    {}

    ICommunicator *communicator() override { return nullptr; }
    IVirtualStick *virtualStick() override { return nullptr; }
    bool isStarted() const override { return true; }
    QString name() const override { return QString(); }
    QString version() const override { return QString(); }
    bool start() override { return true; }
    void stop() override {}
};

QByteArray heartbeat(int number)
{
    return frameOf(heartbeatOf(12), {1, 1}, static_cast<quint8>(number));
}

} // namespace

class TestLinkReport : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void bytes_areReported();
    void sampleHasTheFormOfAReport();
    void onceASecond_withItsRates();
    void newConnection_isNoLoss();
    void telling_isInTurns();
    void withoutTurns_nothingIsTold();
    void pluginWithoutConnection_isNotReported();

private:
    static QCborValue reported(const LatestValues &values, const char *name)
    {
        return values.value(QStringLiteral("link")).toMap().value(QLatin1String(name));
    }
};

void TestLinkReport::bytes_areReported()
{
    FakePlugin plugin;
    FakeConnection connection(&plugin);
    LatestValues values;
    LinkReport report(&plugin, values);
    connection.receive("??" + heartbeat(0));
    connection.receive(heartbeat(2));
    report.update();
    QCOMPARE(reported(values, "frames"), QCborValue(2));
    QCOMPARE(reported(values, "strayBytes"), QCborValue(2));
    QCOMPARE(reported(values, "received"), QCborValue(2));
    QCOMPARE(reported(values, "lost"), QCborValue(1));
    QCOMPARE(reported(values, "lossPercent"), QCborValue(100.0 / 3));
    QVERIFY(reported(values, "heartbeatAgeS").isDouble());
    const QCborMap sender = reported(values, "senders").toArray().at(0).toMap();
    QCOMPARE(sender.value(QLatin1String("system")), QCborValue(1));
    QCOMPARE(sender.value(QLatin1String("component")), QCborValue(1));
    QCOMPARE(sender.value(QLatin1String("lost")), QCborValue(1));
}

void TestLinkReport::sampleHasTheFormOfAReport()
{
    FakePlugin plugin;
    const FakeConnection connection(&plugin);
    LatestValues values;
    LinkReport report(&plugin, values);
    report.update();
    QCOMPARE(values.value(QStringLiteral("link")).toMap().keys(), LinkReport::sample().keys());
    QVERIFY(reported(values, "heartbeatAgeS").isNull());
}

void TestLinkReport::onceASecond_withItsRates()
{
    FakePlugin plugin;
    FakeConnection connection(&plugin);
    LatestValues values;
    const LinkReport report(&plugin, values);
    connection.receive(heartbeat(0) + heartbeat(1));
    QTRY_VERIFY(reported(values, "framesPerSecond").toDouble() > 0);
    const double frames = reported(values, "framesPerSecond").toDouble();
    QVERIFY(frames < 2.2);
    QVERIFY(std::fabs(reported(values, "bytesPerSecond").toDouble() - frames * heartbeat(0).size()) < 2);
    QTRY_COMPARE(reported(values, "framesPerSecond").toDouble(), 0.0);
}

void TestLinkReport::newConnection_isNoLoss()
{
    FakePlugin plugin;
    FakeConnection connection(&plugin);
    LatestValues values;
    LinkReport report(&plugin, values);
    connection.receive(heartbeat(0));
    report.onOpened();
    connection.receive(heartbeat(9));
    report.update();
    QCOMPARE(reported(values, "received"), QCborValue(2));
    QCOMPARE(reported(values, "lost"), QCborValue(0));
}

void TestLinkReport::telling_isInTurns()
{
    FakePlugin plugin;
    FakeConnection connection(&plugin);
    LatestValues values;
    LinkReport report(&plugin, values);
    QSignalSpy told(&report, &LinkReport::counted);
    report.startTelling(10ms);
    connection.receive(heartbeat(0));
    QTRY_VERIFY(told.count() >= 2);
    QCOMPARE(told.last().at(0).value<QCborMap>().value(QLatin1String("frames")), QCborValue(1));
    const int before = told.count();
    report.tell();
    QCOMPARE(told.count(), before + 1);
}

void TestLinkReport::withoutTurns_nothingIsTold()
{
    FakePlugin plugin;
    const FakeConnection connection(&plugin);
    LatestValues values;
    LinkReport report(&plugin, values);
    const QSignalSpy told(&report, &LinkReport::counted);
    QTRY_VERIFY(values.contains(QStringLiteral("link")));
    report.tell();
    QCOMPARE(told.count(), 0);
}

void TestLinkReport::pluginWithoutConnection_isNotReported()
{
    FakePlugin plugin;
    LatestValues values;
    LinkReport report(&plugin, values);
    report.update();
    QVERIFY(values.all().isEmpty());
}

QTEST_GUILESS_MAIN(TestLinkReport)
#include "tst_linkreport.moc"
