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
    void vehicleOptions_areTaken();
    void faults_areTaken();
    void faults_areTakenForARecording();
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

void TestSimOptions::vehicleOptions_areTaken()
{
    QString error;
    const auto plain = parse(QStringLiteral("--autopilot px4 --link pty:a"), &error);
    QVERIFY(plain && !plain->bootDelayS && !plain->baudGiven);
    QCOMPARE(plain->wind.speedMps, 0.0);
    QCOMPARE(plain->seed, 1U);
    const auto all =
        parse(QStringLiteral("--autopilot px4 --link pty:a --speed 10 --baud 57600 --boot-delay 0.5"
                             " --wind 4.5@270 --seed 7"),
              &error);
    QVERIFY2(all, qPrintable(error));
    QCOMPARE(all->speed, 10.0);
    QVERIFY(all->baudGiven);
    QCOMPARE(all->baud, 57600);
    QCOMPARE(*all->bootDelayS, 0.5);
    QCOMPARE(all->wind.speedMps, 4.5);
    QCOMPARE(all->wind.fromDeg, 270.0);
    QCOMPARE(all->seed, 7U);
    QVERIFY(!all->faults.any());
}

void TestSimOptions::faults_areTaken()
{
    QString error;
    const auto options =
        parse(QStringLiteral("--autopilot px4 --link pty:a --loss 0.1 --corrupt 0.02 --latency 150"
                             " --stall 2.5@10 --seed 9"),
              &error);
    QVERIFY2(options, qPrintable(error));
    const LinkFaults::Settings &faults = options->faults;
    QVERIFY(faults.any());
    QCOMPARE(faults.loss, 0.1);
    QCOMPARE(faults.corruption, 0.02);
    QCOMPARE(faults.latency, SimTime(150'000));
    QCOMPARE(faults.stallBegin, SimTime(10'000'000));
    QCOMPARE(faults.stallLength, SimTime(2'500'000));
    QCOMPARE(faults.seed, 9U);
}

void TestSimOptions::faults_areTakenForARecording()
{
    QString error;
    const auto frames =
        parse(QStringLiteral("--replay a.TLOG --link pty:a --loss 0.1 --corrupt 0.2 --seed 3"), &error);
    QVERIFY2(frames, qPrintable(error));
    QCOMPARE(frames->faults.loss, 0.1);
    QCOMPARE(frames->faults.corruption, 0.2);
    QCOMPARE(frames->faults.seed, 3U);
    const auto bytes =
        parse(QStringLiteral("--replay a.raw --link pty:a --latency 100 --stall 1@2 --seed 3"), &error);
    QVERIFY2(bytes, qPrintable(error));
    QCOMPARE(bytes->faults.latency, SimTime(100'000));
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
    QTest::newRow("boot delay of a recording") << good + QStringLiteral("--boot-delay 3") << "--boot-delay";
    QTest::newRow("wind of a recording") << good + QStringLiteral("--wind 3@90") << "--wind";
    QTest::newRow("boot delay below 0") << px4 + QStringLiteral("--boot-delay=-1") << "\"-1\"";
    QTest::newRow("boot delay no number") << px4 + QStringLiteral("--boot-delay nan") << "\"nan\"";
    QTest::newRow("boot delay of days") << px4 + QStringLiteral("--boot-delay 1e6") << "\"1e6\"";
    QTest::newRow("wind without direction") << px4 + QStringLiteral("--wind 3") << "\"3\"";
    QTest::newRow("wind of a storm") << px4 + QStringLiteral("--wind 30@0") << "\"30@0\"";
    QTest::newRow("wind from nowhere") << px4 + QStringLiteral("--wind 3@361") << "\"3@361\"";
    QTest::newRow("loss above 1") << px4 + QStringLiteral("--loss 1.5") << "\"1.5\"";
    QTest::newRow("corruption no number") << px4 + QStringLiteral("--corrupt nan") << "\"nan\"";
    QTest::newRow("latency below 0") << px4 + QStringLiteral("--latency=-5") << "\"-5\"";
    QTest::newRow("stall without a begin") << px4 + QStringLiteral("--stall 5") << "\"5\"";
    QTest::newRow("stall no numbers") << px4 + QStringLiteral("--stall nan@inf") << "\"nan@inf\"";
    const QString raw = QStringLiteral("--replay a.raw --link tcp:localhost:0 ");
    QTest::newRow("loss of bytes") << raw + QStringLiteral("--loss 0.1") << "--loss wants frames";
    QTest::newRow("corruption of bytes") << raw + QStringLiteral("--corrupt 0.1") << "--corrupt wants frames";
    QTest::newRow("seed below 0") << px4 + QStringLiteral("--seed=-1") << "\"-1\"";
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
