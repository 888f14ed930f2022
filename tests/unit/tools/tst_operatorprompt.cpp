// SPDX-License-Identifier: MIT
#include "sim/operatorprompt.h"

#include "autopilotfixture.h"

#include <QSignalSpy>
#include <QtTest>

class TestOperatorPrompt : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void mode_byNameAndNumber();
    void armLandDisarm_doSo();
    void reboot_startsAnew();
    void quit_isTold();
    void faults_areTold_data();
    void faults_areTold();
    void emptyLine_doesNothing();
    void wrongLines_areAnswered_data();
    void wrongLines_areAnswered();
    void refusals_areAnswered();

private:
    std::unique_ptr<Flight> flight;
    std::unique_ptr<OperatorPrompt> prompt;
};

void TestOperatorPrompt::init()
{
    flight = std::make_unique<Flight>(AutopilotKind::Px4);
    prompt = std::make_unique<OperatorPrompt>(&flight->autopilot, Report(true, true));
    flight->run(6);
}

void TestOperatorPrompt::mode_byNameAndNumber()
{
    QCOMPARE(prompt->obey(QStringLiteral("mode  POSCTL ")), QString());
    QCOMPARE(flight->heartbeat().custom_mode, 3U << 16);
    QCOMPARE(prompt->obey(QStringLiteral("mode 50593792")), QString());
    QCOMPARE(flight->heartbeat().custom_mode, 50593792U);
    flight->setPoint(0, 0, 0);
    QCOMPARE(prompt->obey(QStringLiteral("mode offboard")), QString());
    QCOMPARE(flight->heartbeat().custom_mode, 393216U);
}

void TestOperatorPrompt::armLandDisarm_doSo()
{
    QCOMPARE(prompt->obey(QStringLiteral("arm")), QString());
    QVERIFY(flight->autopilot.state().armed);
    QCOMPARE(prompt->obey(QStringLiteral("disarm")), QString());
    QVERIFY(!flight->autopilot.state().armed);
    QCOMPARE(prompt->obey(QStringLiteral("land")), QString());
    QCOMPARE(flight->heartbeat().custom_mode, 100925440U);
}

void TestOperatorPrompt::reboot_startsAnew()
{
    QCOMPARE(prompt->obey(QStringLiteral("reboot")), QString());
    QVERIFY(!flight->autopilot.state().isReady());
}

void TestOperatorPrompt::quit_isTold()
{
    QSignalSpy quit(prompt.get(), &OperatorPrompt::quit);
    QCOMPARE(prompt->obey(QStringLiteral("quit")), QString());
    QCOMPARE(quit.size(), 1);
}

void TestOperatorPrompt::faults_areTold_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("kind");
    QTest::addColumn<double>("amount");
    QTest::newRow("loss") << "fault loss 0.5"
                          << "loss" << 0.5;
    QTest::newRow("corruption") << "fault corrupt 1"
                                << "corrupt" << 1.0;
    QTest::newRow("latency") << "fault latency 250"
                             << "latency" << 250.0;
    QTest::newRow("stall") << "fault stall 2.5"
                           << "stall" << 2.5;
    QTest::newRow("none") << "fault none"
                          << "none" << 0.0;
}

void TestOperatorPrompt::faults_areTold()
{
    QFETCH(QString, line);
    QSignalSpy asked(prompt.get(), &OperatorPrompt::faultAsked);
    QCOMPARE(prompt->obey(line), QString());
    QCOMPARE(asked.size(), 1);
    QTEST(asked.first().at(0).toString(), "kind");
    QTEST(asked.first().at(1).toDouble(), "amount");
}

void TestOperatorPrompt::emptyLine_doesNothing()
{
    QCOMPARE(prompt->obey(QStringLiteral("  ")), QString());
}

void TestOperatorPrompt::wrongLines_areAnswered_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("says");
    QTest::newRow("unknown command") << "fly"
                                     << "no command \"fly\"";
    QTest::newRow("mode without a name") << "mode"
                                         << "one name or number";
    QTest::newRow("mode with two") << "mode land now"
                                   << "one name or number";
    QTest::newRow("unknown name") << "mode guided"
                                  << "offboard";
    QTest::newRow("unknown number") << "mode 99"
                                    << "99";
    for (const char *fault : {"fault", "fault loss", "fault loss 2", "fault loss x", "fault none 1",
                              "fault latency -1", "fault stall nan", "fault magic 1", "fault loss 1 1"})
        QTest::newRow(fault) << fault << "fault wants";
    QTest::newRow("argument too many") << "arm now"
                                       << "no argument";
}

void TestOperatorPrompt::wrongLines_areAnswered()
{
    QFETCH(QString, line);
    QFETCH(QString, says);
    const QString answer = prompt->obey(line);
    QVERIFY2(answer.contains(says) && !answer.contains(QLatin1Char('\n')), qPrintable(answer));
}

void TestOperatorPrompt::refusals_areAnswered()
{
    QCOMPARE(prompt->obey(QStringLiteral("mode offboard")),
             QStringLiteral("mode offboard refused: no set-points come"));
    prompt->obey(QStringLiteral("reboot"));
    QCOMPARE(prompt->obey(QStringLiteral("arm")), QStringLiteral("arm refused: it is not ready yet"));
}

QTEST_GUILESS_MAIN(TestOperatorPrompt)
#include "tst_operatorprompt.moc"
