// SPDX-License-Identifier: MIT
#include "sim/simoptions.h"

#include <QtTest>

class TestSimOptions : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void fewestArguments_leaveTheDefaults();
    void allArguments_areTaken();
    void autopilot_isTaken_withForwardingOnTheFirstLink();
    void forward_addsTheLinksItNames();
    void help_andVersion_needNothingElse();
    void wrongArguments_areRefused_data();
    void wrongArguments_areRefused();

private:
    static std::optional<SimOptions> parse(const QString &line, QString *error)
    {
        return SimOptions::parse((QStringLiteral("sim ") + line).split(QLatin1Char(' '), Qt::SkipEmptyParts),
                                 error);
    }
};

void TestSimOptions::fewestArguments_leaveTheDefaults()
{
    QString error;
    const auto options = parse(QStringLiteral("--replay a.tlog --link tcp:localhost:0"), &error);
    QVERIFY2(options, qPrintable(error));
    QCOMPARE(options->action, SimOptions::Action::Run);
    QCOMPARE(options->recording, QStringLiteral("a.tlog"));
    QCOMPARE(options->links.size(), 1);
    QCOMPARE(options->links[0].toString(), QStringLiteral("tcp:localhost:0"));
    QCOMPARE(options->speed, 1.0);
    QCOMPARE(options->baud, 57600);
    QVERIFY(!options->autopilot);
    QVERIFY(!options->loop && !options->json && !options->quiet);
}

void TestSimOptions::allArguments_areTaken()
{
    QString error;
    const auto options =
        parse(QStringLiteral("--loop --json --quiet --speed 2.5 --baud 921600 --link pty:b --link=/dev/c,9600"
                             " --link tcp:h:1 --link tcp:h:1 --replay=a.raw"),
              &error);
    QVERIFY2(options, qPrintable(error));
    QCOMPARE(options->links.size(), 4);
    QCOMPARE(options->links[0].toString(), QStringLiteral("pty:b"));
    QCOMPARE(options->links[1].toString(), QStringLiteral("/dev/c,9600"));
    QCOMPARE(options->speed, 2.5);
    QCOMPARE(options->baud, 921600);
    QVERIFY(options->loop && options->json && options->quiet);
}

void TestSimOptions::autopilot_isTaken_withForwardingOnTheFirstLink()
{
    QString error;
    const auto ardupilot = parse(QStringLiteral("--autopilot ardupilot --link pty:a"), &error);
    QVERIFY2(ardupilot, qPrintable(error));
    QVERIFY(ardupilot->autopilot == AutopilotKind::ArduPilot);
    const auto px4 = parse(QStringLiteral("--autopilot=px4 --json --link pty:a --link pty:b"), &error);
    QVERIFY2(px4, qPrintable(error));
    QVERIFY(px4->autopilot == AutopilotKind::Px4 && px4->json);
    QVERIFY(px4->isForwarding(0));
    QVERIFY(!px4->isForwarding(1));
}

void TestSimOptions::forward_addsTheLinksItNames()
{
    QString error;
    const auto options =
        parse(QStringLiteral("--autopilot px4 --link pty:a --link pty:b --link tcp:h:0 --link /dev/c,9600"
                             " --link tcp:h:0 --forward tcp:h:0 --forward /dev/c,9600"),
              &error);
    QVERIFY2(options, qPrintable(error));
    QList<bool> forwarding;
    for (int i = 0; i < options->links.size(); ++i)
        forwarding.append(options->isForwarding(i));
    QCOMPARE(forwarding, (QList<bool>{true, false, true, true, true}));
}

void TestSimOptions::help_andVersion_needNothingElse()
{
    QString error;
    const auto help = parse(QStringLiteral("--help"), &error);
    QVERIFY(help && help->action == SimOptions::Action::ShowHelp);
    const auto version = parse(QStringLiteral("--version"), &error);
    QVERIFY(version && version->action == SimOptions::Action::ShowVersion);
}

void TestSimOptions::wrongArguments_areRefused_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("says");
    const QString good = QStringLiteral("--replay a.tlog --link tcp:localhost:0 ");
    QTest::newRow("nothing") << QString() << "--replay";
    QTest::newRow("no link") << "--replay a.tlog"
                             << "--link";
    QTest::newRow("two recordings") << good + QStringLiteral("--replay b.tlog") << "one recording";
    QTest::newRow("no value") << good + QStringLiteral("--speed") << "speed";
    QTest::newRow("bad link") << good + QStringLiteral("--link udp:x") << "\"udp:x\" is no address";
    QTest::newRow("same terminal twice")
        << good + QStringLiteral("--link pty:a --link pty:a") << "pty:a: given twice";
    QTest::newRow("speed 0") << good + QStringLiteral("--speed 0") << "\"0\"";
    QTest::newRow("speed below 0") << good + QStringLiteral("--speed=-1") << "\"-1\"";
    QTest::newRow("speed without end") << good + QStringLiteral("--speed inf") << "\"inf\"";
    QTest::newRow("speed no number") << good + QStringLiteral("--speed nan") << "\"nan\"";
    QTest::newRow("baud 0") << good + QStringLiteral("--baud 0") << "--baud";
    QTest::newRow("baud with a fraction") << good + QStringLiteral("--baud 9600.5") << "--baud";
    QTest::newRow("unknown option") << good + QStringLiteral("--weather bad") << "weather";
    QTest::newRow("recording and autopilot") << good + QStringLiteral("--autopilot px4") << "exclude";
    const QString px4 = QStringLiteral("--autopilot px4 --link pty:a --link tcp:h:0 ");
    QTest::newRow("autopilot without a link") << "--autopilot px4"
                                              << "--link";
    QTest::newRow("unknown autopilot") << "--autopilot px5 --link pty:a"
                                       << "\"px5\"";
    QTest::newRow("two autopilots") << px4 + QStringLiteral("--autopilot ardupilot") << "one autopilot";
    QTest::newRow("speed of an autopilot") << px4 + QStringLiteral("--speed 2") << "--speed";
    QTest::newRow("baud of an autopilot") << px4 + QStringLiteral("--baud 9600") << "--baud";
    QTest::newRow("loop of an autopilot") << px4 + QStringLiteral("--loop") << "--loop";
    QTest::newRow("forwarding of another link") << px4 + QStringLiteral("--forward pty:b") << "pty:b";
    QTest::newRow("forwarding of no address") << px4 + QStringLiteral("--forward b") << "no address";
    QTest::newRow("forwarding of ArduPilot") << "--autopilot ardupilot --link pty:a --forward pty:a"
                                             << "--forward";
    QTest::newRow("forwarding of a recording") << good + QStringLiteral("--forward pty:a") << "--forward";
    QTest::newRow("stray word") << good + QStringLiteral("more") << "\"more\"";
}

void TestSimOptions::wrongArguments_areRefused()
{
    QFETCH(QString, line);
    QFETCH(QString, says);
    QString error;
    QVERIFY(!parse(line, &error));
    QVERIFY2(error.contains(says) && !error.contains(QLatin1Char('\n')), qPrintable(error));
}

QTEST_GUILESS_MAIN(TestSimOptions)
#include "tst_simoptions.moc"
