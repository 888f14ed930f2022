// SPDX-License-Identifier: MIT
#include "host/scriptplayer.h"

#include "common/exitcode.h"
#include "host/latestvalues.h"
#include "host/linereader.h"
#include "support/logcapture.h"
#include "support/testmain.h"

#include <QTemporaryDir>
#include <QtTest>

#include <unistd.h>

namespace {

const KnownSignals Names{{QStringLiteral("roll"), {}}, {QStringLiteral("armed"), {}}};

} // namespace

class TestScriptPlayer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void text_reachesTheGround();
    void set_changesTheSetting();
    void wait_holdsTheNextCommandBack();
    void waitFor_aValueAlreadySeen_goesOn();
    void waitFor_aLaterValue_goesOnOutsideItsEmission();
    void waitFor_inVain_failsWithItsLine();
    void endOfTheScript_isNotTheEnd();
    void cancel_givesUpWhatRuns();
    void follow_readsCommandsAsTheyCome();
    void follow_ofAScriptWithAMistake_fails();
    void follow_ofAPromptWithAMistake_goesOn();
    void follow_ofAPrompt_lineEndsTheCommandThatRuns();
    void follow_toTheEndOfAPrompt_quits();
    void follow_toTheEndOfAScript_doesNotQuit();
    void follow_aLastLineWithoutEnd_counts();
    void commandThatRuns_isTold();
    void commandOfAPrompt_isToldUntilItEnds();

private:
    void play(const QByteArray &script) { player->play(*ScriptParser(Names).parseAll(script)); }
    void type(const QByteArray &text)
    {
        QCOMPARE(::write(pipeEnds[1], text.constData(), size_t(text.size())), ssize_t(text.size()));
    }
    void endTyping() { ::close(std::exchange(pipeEnds[1], -1)); }

    std::unique_ptr<LatestValues> values;
    std::unique_ptr<ScriptPlayer> player;
    std::unique_ptr<QSignalSpy> quits;
    std::unique_ptr<QSignalSpy> failures;
    std::unique_ptr<QSignalSpy> statuses;
    int pipeEnds[2] = {-1, -1};
};

void TestScriptPlayer::init()
{
    values = std::make_unique<LatestValues>();
    player = std::make_unique<ScriptPlayer>(values.get(), Names);
    quits = std::make_unique<QSignalSpy>(player.get(), &ScriptPlayer::quitAsked);
    failures = std::make_unique<QSignalSpy>(player.get(), &ScriptPlayer::failed);
    statuses = std::make_unique<QSignalSpy>(player.get(), &ScriptPlayer::statusAsked);
    QCOMPARE(::pipe(pipeEnds), 0);
}

void TestScriptPlayer::cleanup()
{
    quits.reset();
    failures.reset();
    statuses.reset();
    player.reset();
    values.reset();
    for (int &end : pipeEnds)
        if (end >= 0)
            ::close(std::exchange(end, -1));
}

void TestScriptPlayer::text_reachesTheGround()
{
    QSignalSpy texts(runningApp(), &App::textToGround);
    play("text hello world");
    QCOMPARE(texts.count(), 1);
    const auto record = texts.at(0).at(0).value<TextToGround>();
    QCOMPARE(record.text, QStringLiteral("hello world"));
    QCOMPARE(int(record.type), int(TextToGround::Information));
}

void TestScriptPlayer::set_changesTheSetting()
{
    QTemporaryDir dir;
    LogCapture log;
    runningApp()->loadSettings(dir.filePath(QStringLiteral("host.ini")));
    play("set MAV SYSTEM_ID 7");
    QCOMPARE(runningApp()->settingValue("MAV", "SYSTEM_ID", 1).toInt(), 7);
    QCOMPARE(log.take(), QStringList{QStringLiteral("Updated: MAV/SYSTEM_ID=7")});
}

void TestScriptPlayer::wait_holdsTheNextCommandBack()
{
    QElapsedTimer timer;
    timer.start();
    play("wait 0.05\nquit");
    QVERIFY(quits->isEmpty());
    QTRY_COMPARE(quits->count(), 1);
    QVERIFY(timer.elapsed() >= 50);
}

void TestScriptPlayer::waitFor_aValueAlreadySeen_goesOn()
{
    values->store(QStringLiteral("roll"), 1.5);
    play("wait-for roll>1\nquit");
    QTRY_COMPARE(quits->count(), 1);
}

void TestScriptPlayer::waitFor_aLaterValue_goesOnOutsideItsEmission()
{
    values->store(QStringLiteral("armed"), false);
    play("wait-for armed=true\nquit");
    values->store(QStringLiteral("roll"), true);
    QCoreApplication::processEvents();
    QVERIFY(quits->isEmpty());
    values->store(QStringLiteral("armed"), true);
    QVERIFY(quits->isEmpty());
    values->store(QStringLiteral("armed"), false); // it was true once
    QTRY_COMPARE(quits->count(), 1);
}

void TestScriptPlayer::waitFor_inVain_failsWithItsLine()
{
    play("# comment\nwait-for roll>1 0.01\nquit");
    QTRY_COMPARE(failures->count(), 1);
    QCOMPARE(failures->at(0).at(0).toInt(), int(ExitCode::NotHappened));
    QCOMPARE(failures->at(0).at(1).toString(), QStringLiteral("script line 2: wait-for roll>1: timed out"));
    QCoreApplication::processEvents();
    QVERIFY(quits->isEmpty());
}

void TestScriptPlayer::endOfTheScript_isNotTheEnd()
{
    play("status\nstatus");
    QTRY_COMPARE(statuses->count(), 2);
    QCoreApplication::processEvents();
    QVERIFY(quits->isEmpty());
    QVERIFY(failures->isEmpty());
}

void TestScriptPlayer::cancel_givesUpWhatRuns()
{
    play("wait-for roll 1000\nquit");
    player->cancel();
    values->store(QStringLiteral("roll"), 1);
    QCoreApplication::processEvents();
    QVERIFY(quits->isEmpty());
}

void TestScriptPlayer::follow_readsCommandsAsTheyCome()
{
    player->follow(new LineReader(pipeEnds[0]), ScriptPlayer::Source::Script);
    type("sta");
    QCoreApplication::processEvents();
    type("tus\n# comment\nstatus\nqu");
    QTRY_COMPARE(statuses->count(), 2);
    type("it\n");
    QTRY_COMPARE(quits->count(), 1);
}

void TestScriptPlayer::follow_ofAScriptWithAMistake_fails()
{
    player->follow(new LineReader(pipeEnds[0]), ScriptPlayer::Source::Script);
    type("\nbogus\nquit\n");
    QTRY_COMPARE(failures->count(), 1);
    QCOMPARE(failures->at(0).at(0).toInt(), int(ExitCode::Usage));
    QVERIFY(
        failures->at(0).at(1).toString().startsWith(QLatin1String("script line 2: unknown command bogus")));
    QCoreApplication::processEvents();
    QVERIFY(quits->isEmpty());
}

void TestScriptPlayer::follow_ofAPromptWithAMistake_goesOn()
{
    QSignalSpy mistakes(player.get(), &ScriptPlayer::mistaken);
    QSignalSpy prompts(player.get(), &ScriptPlayer::promptReady);
    player->follow(new LineReader(pipeEnds[0]), ScriptPlayer::Source::Prompt);
    QCOMPARE(prompts.count(), 1);
    type("bogus\nwait-for roll 0.01\n");
    QTRY_COMPARE(mistakes.count(), 2);
    type("status\n");
    QTRY_COMPARE(statuses->count(), 1);
    QCOMPARE(mistakes.at(1).at(0).toString(), QStringLiteral("wait-for roll: timed out"));
    QTRY_COMPARE(prompts.count(), 4);
    QVERIFY(failures->isEmpty());
}

void TestScriptPlayer::follow_ofAPrompt_lineEndsTheCommandThatRuns()
{
    player->follow(new LineReader(pipeEnds[0]), ScriptPlayer::Source::Prompt);
    type("wait 600\nstatus\n");
    QTRY_COMPARE(statuses->count(), 1);
    QVERIFY(failures->isEmpty());
}

void TestScriptPlayer::follow_toTheEndOfAPrompt_quits()
{
    player->follow(new LineReader(pipeEnds[0]), ScriptPlayer::Source::Prompt);
    endTyping();
    QTRY_COMPARE(quits->count(), 1);
}

void TestScriptPlayer::follow_toTheEndOfAScript_doesNotQuit()
{
    player->follow(new LineReader(pipeEnds[0]), ScriptPlayer::Source::Script);
    type("status\n");
    endTyping();
    QTRY_COMPARE(statuses->count(), 1);
    QCoreApplication::processEvents();
    QVERIFY(quits->isEmpty());
}

void TestScriptPlayer::follow_aLastLineWithoutEnd_counts()
{
    player->follow(new LineReader(pipeEnds[0]), ScriptPlayer::Source::Script);
    type("quit");
    endTyping();
    QTRY_COMPARE(quits->count(), 1);
}

void TestScriptPlayer::commandThatRuns_isTold()
{
    QSignalSpy changes(player.get(), &ScriptPlayer::commandChanged);
    play("# comment\n  wait-for  roll>1 \nstatus");
    QCOMPARE(changes.count(), 1);
    QCOMPARE(changes.takeFirst().at(0).toString(), QStringLiteral("line 2: wait-for  roll>1"));
    values->store(QStringLiteral("roll"), 2);
    QTRY_COMPARE(changes.count(), 3);
    QCOMPARE(changes.at(0).at(0).toString(), QString());
    QCOMPARE(changes.at(1).at(0).toString(), QStringLiteral("line 3: status"));
    QCOMPARE(changes.at(2).at(0).toString(), QString());
}

void TestScriptPlayer::commandOfAPrompt_isToldUntilItEnds()
{
    QSignalSpy changes(player.get(), &ScriptPlayer::commandChanged);
    player->follow(new LineReader(pipeEnds[0]), ScriptPlayer::Source::Prompt);
    type("wait 600\nwait-for roll 0.01\n");
    QTRY_COMPARE(changes.count(), 3);
    QCOMPARE(changes.at(0).at(0).toString(), QStringLiteral("wait 600"));
    QCOMPARE(changes.at(1).at(0).toString(), QStringLiteral("wait-for roll 0.01"));
    QCOMPARE(changes.at(2).at(0).toString(), QString());
}

APP_TEST_MAIN(TestScriptPlayer)
#include "tst_scriptplayer.moc"
