// SPDX-License-Identifier: MIT
#include "support/logcapture.h"
#include "support/testmain.h"

#include "app/logged.h"

/// No App is ever made in this program.
class TestLoggedWithoutApp : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void send_withoutAnApplication_isSilent();
    void send_inAnApplicationThatIsNoApp_isSilent();
    void lines_withoutAnApplication_areWritten();
    void setting_withoutAnApp_isTheDefault();
};

void TestLoggedWithoutApp::send_withoutAnApplication_isSilent()
{
    const LogCapture log;
    QVERIFY(!QCoreApplication::instance());
    Logged().sendInfo(QStringLiteral("X"));
    Logged().sendError(QStringLiteral("X"));
    QVERIFY(!QCoreApplication::instance());
}

void TestLoggedWithoutApp::send_inAnApplicationThatIsNoApp_isSilent()
{
    const LogCapture log;
    int argc = 1;
    char name[] = "test";
    char *argv[] = {name, nullptr};
    const QCoreApplication plain(argc, argv);
    Logged().sendInfo(QStringLiteral("X"));
    Logged().sendError(QStringLiteral("X"));
    QCoreApplication::sendPostedEvents();
    QVERIFY(!runningApp());
}

void TestLoggedWithoutApp::lines_withoutAnApplication_areWritten()
{
    LogCapture log;
    Logged().info() << "text";
    criticalLine(Logged()) << "text";
    QCOMPARE(log.take(), QStringList({QStringLiteral("text"), QStringLiteral("CRIT: text")}));
}

void TestLoggedWithoutApp::setting_withoutAnApp_isTheDefault()
{
    const LogCapture log;
    QCOMPARE(readSetting("MAV", "SYSTEM_ID", 2), QVariant(2));
    QVERIFY(!readSetting("MAV", "SYSTEM_ID", QVariant()).isValid());
}

QTEST_APPLESS_MAIN(TestLoggedWithoutApp)
#include "tst_loggedwithoutapp.moc"
