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
