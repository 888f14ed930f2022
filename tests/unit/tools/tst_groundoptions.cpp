// SPDX-License-Identifier: MIT
#include "ground/groundoptions.h"

#include <QtTest>

using namespace std::chrono_literals;

class TestGroundOptions : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void fewestArguments_leaveTheDefaults();
    void allArguments_areTaken();
    void sendArguments_areTaken();
    void stallTimeout_leavesRoomForThePace();
    void help_andVersion_needNothingElse();
    void wrongArguments_areRefused_data();
    void wrongArguments_areRefused();

private:
    static std::optional<GroundOptions> parse(const QString &line, QString *error)
    {
        return GroundOptions::parse(
            (QStringLiteral("ground ") + line).split(QLatin1Char(' '), Qt::SkipEmptyParts), error);
    }
};

void TestGroundOptions::fewestArguments_leaveTheDefaults()
{
    QString error;
    const auto options = parse(QStringLiteral("--connect tcp:h:1 ping"), &error);
    QVERIFY2(options, qPrintable(error));
    QVERIFY(options->action == GroundOptions::Action::Run);
    QVERIFY(options->command == GroundOptions::Command::Ping);
    QCOMPARE(options->address.toString(), QStringLiteral("tcp:h:1"));
    QCOMPARE(int(options->systemId), 255);
    QVERIFY(options->pace == 5ms && options->interval == 1s && options->step == 1s);
    QVERIFY(!options->count && options->timeout == 2s && !options->duration);
    QVERIFY(!options->json && !options->quiet && options->pingFirst);
}

void TestGroundOptions::allArguments_areTaken()
{
    QString error;
    const auto ping =
        parse(QStringLiteral("ping -c 3 -i 0.25 --timeout 0.5 --connect /dev/a,9600 --system-id 1 "
                             "--pace 0 --json"),
              &error);
    QVERIFY2(ping, qPrintable(error));
    QCOMPARE(ping->address.toString(), QStringLiteral("/dev/a,9600"));
    QCOMPARE(*ping->count, 3);
    QVERIFY(ping->interval == 250ms && ping->timeout == 500ms && ping->pace == 0ms);
    QCOMPARE(int(ping->systemId), 1);
    QVERIFY(ping->json);
    const auto watch = parse(QStringLiteral("watch --count 2 --duration 3 --connect pty:x --quiet"), &error);
    QVERIFY2(watch, qPrintable(error));
    QVERIFY(watch->command == GroundOptions::Command::Watch && watch->duration == 3s && watch->quiet);
    const auto bench = parse(QStringLiteral("bench --step 0.1 --connect pty:x"), &error);
    QVERIFY2(bench, qPrintable(error));
    QVERIFY(bench->command == GroundOptions::Command::Bench && bench->step == 100ms);
}

void TestGroundOptions::sendArguments_areTaken()
{
    QString error;
    const auto options = parse(QStringLiteral("--connect tcp:h:1 send 0 255 text:x --no-ping"), &error);
    QVERIFY2(options, qPrintable(error));
    QVERIFY(options->command == GroundOptions::Command::Send);
    QVERIFY(options->messageId == MessageId{0} && options->payloadId == PayloadId{255});
    QCOMPARE(options->payload, QStringLiteral("text:x"));
    QVERIFY(!options->pingFirst);
    QVERIFY(options->timeout == 5s);
}

void TestGroundOptions::stallTimeout_leavesRoomForThePace()
{
    QString error;
    const auto options = parse(QStringLiteral("--connect tcp:h:1 --pace 400 --timeout 0.3 ping"), &error);
    QVERIFY2(options, qPrintable(error));
    QVERIFY(options->stallTimeout() == 1100ms);
}

void TestGroundOptions::help_andVersion_needNothingElse()
{
    QString error;
    const auto help = parse(QStringLiteral("-h"), &error);
    QVERIFY(help && help->action == GroundOptions::Action::ShowHelp);
    const auto version = parse(QStringLiteral("--version"), &error);
    QVERIFY(version && version->action == GroundOptions::Action::ShowVersion);
}

void TestGroundOptions::wrongArguments_areRefused_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("says");
    const QString good = QStringLiteral("--connect tcp:h:1 ");
    QTest::newRow("nothing") << QString() << "give a command";
    QTest::newRow("no address") << "ping"
                                << "--connect";
    QTest::newRow("bad address") << "--connect h ping"
                                 << "\"h\" is no address";
    QTest::newRow("no such command") << good + QStringLiteral("sing") << "\"sing\"";
    QTest::newRow("too much") << good + QStringLiteral("watch birds") << "\"birds\"";
    QTest::newRow("too little") << good + QStringLiteral("send 1 2") << "send wants MESSAGEID";
    QTest::newRow("too much to send") << good + QStringLiteral("send 1 2 text:a b") << "\"b\"";
    QTest::newRow("message id") << good + QStringLiteral("send 256 2 text:a") << "MESSAGEID";
    QTest::newRow("payload id") << good + QStringLiteral("send 1 x text:a") << "PAYLOADID";
    QTest::newRow("count") << good + QStringLiteral("ping -c 0") << "--count";
    QTest::newRow("interval") << good + QStringLiteral("ping -i inf") << "--interval";
    QTest::newRow("timeout") << good + QStringLiteral("ping --timeout nan") << "--timeout";
    QTest::newRow("duration") << good + QStringLiteral("watch --duration 0") << "--duration";
    QTest::newRow("step for days") << good + QStringLiteral("bench --step 3600.5")
                                   << "--step wants a number of seconds from 0.001 to 3600";
    QTest::newRow("negative message id")
        << good + QStringLiteral("send -1 2 text:a") << "\"-1\" is no option";
    QTest::newRow("negative payload id")
        << good + QStringLiteral("--pace 1 send 1 -25 text:a") << "\"-25\" is no option, and an id is";
    QTest::newRow("two addresses") << good + QStringLiteral("--connect tcp:h:2 ping")
                                   << "--connect can be given only once";
    QTest::newRow("step") << good + QStringLiteral("bench --step x") << "--step";
    QTest::newRow("system") << good + QStringLiteral("--system-id 0 ping") << "--system-id";
    QTest::newRow("pace") << good + QStringLiteral("--pace 10001 ping") << "--pace";
    QTest::newRow("option of another")
        << good + QStringLiteral("ping --duration 1") << "--duration does not go with ping";
    QTest::newRow("both views") << good + QStringLiteral("--json --quiet ping") << "exclude each other";
    QTest::newRow("unknown option") << good + QStringLiteral("--fast ping") << "fast";
}

void TestGroundOptions::wrongArguments_areRefused()
{
    QFETCH(QString, line);
    QFETCH(QString, says);
    QString error;
    QVERIFY(!parse(line, &error));
    QVERIFY2(error.contains(says), qPrintable(error));
    QVERIFY(!error.contains(QLatin1Char('\n')));
}

QTEST_GUILESS_MAIN(TestGroundOptions)
#include "tst_groundoptions.moc"
