// SPDX-License-Identifier: MIT
#include "sim/simoptions.h"

#include <QtTest>

class TestSimOptions : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void fewestArguments_leaveTheDefaults();
    void allArguments_areTaken();
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
    QTest::newRow("unknown option") << good + QStringLiteral("--autopilot px4") << "autopilot";
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
