// SPDX-License-Identifier: MIT
#include "host/scriptparser.h"

#include <QtTest>

using Kind = ScriptCommand::Kind;

Q_DECLARE_METATYPE(ScriptCommand::Kind)

class TestScriptParser : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void parseLine_ofNoCommand_isNoMistake_data();
    void parseLine_ofNoCommand_isNoMistake();
    void parseLine_data();
    void parseLine();
    void parseLine_ofAMistake_says_data();
    void parseLine_ofAMistake_says();
    void send_keepsKindAndBytes();
    void velocity_keepsItsNumbers();
    void waitFor_keepsItsCondition();
    void parseAll_numbersLinesAsAnEditorDoes();
    void parseAll_ofAMistake_namesItsLine();

private:
    ScriptParser parser{KnownSignals{{QStringLiteral("roll"), 0.0}, {QStringLiteral("textToGround"), {}}}};
};

void TestScriptParser::parseLine_ofNoCommand_isNoMistake_data()
{
    QTest::addColumn<QString>("line");
    QTest::newRow("empty") << "";
    QTest::newRow("blanks") << " \t ";
    QTest::newRow("comment") << "# quit";
    QTest::newRow("indented comment") << "  #quit";
}

void TestScriptParser::parseLine_ofNoCommand_isNoMistake()
{
    QFETCH(QString, line);
    QVERIFY(!parser.parseLine(line));
    QCOMPARE(parser.errorText(), QString());
}

void TestScriptParser::parseLine_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<Kind>("kind");
    QTest::addColumn<QString>("text");
    QTest::addColumn<qint64>("timeMs");

    QTest::newRow("text") << "text hello,  world " << Kind::Text << "hello,  world" << qint64(0);
    QTest::newRow("set") << "set MAV SYSTEM_ID 7" << Kind::Set << "7" << qint64(0);
    QTest::newRow("set to words") << "set\tMAV  SERIAL_DEVICE a b" << Kind::Set << "a b" << qint64(0);
    QTest::newRow("wait") << "wait 0.25" << Kind::Wait << "" << qint64(250);
    QTest::newRow("wait not at all") << "wait 0" << Kind::Wait << "" << qint64(0);
    QTest::newRow("wait-for") << "wait-for roll" << Kind::WaitFor << "roll" << qint64(60000);
    QTest::newRow("wait-for, with a time")
        << "wait-for roll>1 1.5" << Kind::WaitFor << "roll>1" << qint64(1500);
    QTest::newRow("wait-for, quoted")
        << "wait-for textToGround.text=\"a b\" 2" << Kind::WaitFor << "textToGround.text=a b" << qint64(2000);
    QTest::newRow("control") << "control" << Kind::Control << "" << qint64(0);
    QTest::newRow("arm") << "arm" << Kind::Arm << "" << qint64(60000);
    QTest::newRow("arm, with a time") << "arm 5" << Kind::Arm << "" << qint64(5000);
    QTest::newRow("takeoff") << "takeoff" << Kind::TakeOff << "" << qint64(0);
    QTest::newRow("velocity") << "velocity 1 2 3 4" << Kind::Velocity << "" << qint64(0);
    QTest::newRow("velocity, for a time") << "velocity 1 2 3 4 5.5" << Kind::Velocity << "" << qint64(5500);
    QTest::newRow("subscribe") << "subscribe" << Kind::Subscribe << "" << qint64(0);
    QTest::newRow("status") << " status\r" << Kind::Status << "" << qint64(0);
    QTest::newRow("quit") << "quit" << Kind::Quit << "" << qint64(0);
}

void TestScriptParser::parseLine()
{
    QFETCH(QString, line);
    const auto command = parser.parseLine(line);
    QVERIFY2(command, qPrintable(parser.errorText()));
    QTEST(command->kind, "kind");
    QTEST(command->text, "text");
    QTEST(qint64(command->time.count()), "timeMs");
    if (command->kind == Kind::Set)
        QCOMPARE(command->group, QByteArray("MAV"));
}

void TestScriptParser::parseLine_ofAMistake_says_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("error");

    QTest::newRow("unknown") << "dance now"
                             << "unknown command dance; there are control, arm, takeoff, velocity, "
                                "subscribe, send, text, set, wait, wait-for, status, quit";
    QTest::newRow("letter case") << "Quit"
                                 << "unknown command Quit; there are control, arm, takeoff, velocity, "
                                    "subscribe, send, text, set, wait, wait-for, status, quit";
    const auto velocity = [](const char *line, const char *mistake) {
        QTest::newRow(line) << line
                            << QStringLiteral("expected velocity NORTH EAST DOWN YAWRATE [SECONDS]: %1")
                                   .arg(QLatin1String(mistake));
    };
    velocity("velocity", "4 or 5 numbers, not 0");
    velocity("velocity 1 2 3", "4 or 5 numbers, not 3");
    velocity("velocity 0 0 0 0 1 1", "4 or 5 numbers, not 6");
    velocity("velocity 1 2 x 4", "x is not a finite number");
    velocity("velocity nan 0 0 0", "nan is not a finite number");
    velocity("velocity 0 inf 0 0", "inf is not a finite number");
    velocity("velocity 0 0 0 1e999", "1e999 is not a finite number");
    velocity("velocity 0 0 -5000 0", "-5000 is too fast, at most 30 m/s and 180 degrees per second");
    velocity("velocity 30.1 0 0 0", "30.1 is too fast, at most 30 m/s and 180 degrees per second");
    velocity("velocity 0 0 0 181", "181 is too fast, at most 30 m/s and 180 degrees per second");
    velocity("velocity 0 0 0 0 -1", "-1 is no time in seconds");
    QTest::newRow("arm for no time") << "arm soon"
                                     << "expected arm [TIMEOUT]";
    QTest::newRow("takeoff to somewhere") << "takeoff 20"
                                          << "unexpected 20";
    const char *sendForm =
        "expected send MESSAGEID PAYLOADID (hex:DIGITS | text:WORDS | @FILE), ids from 0 to 255";
    QTest::newRow("send of nothing") << "send 1 7" << sendForm;
    QTest::newRow("send with one id") << "send 1 hex:00" << sendForm;
    QTest::newRow("send with too high an id") << "send 1 256 hex:00" << sendForm;
    QTest::newRow("send with a negative id") << "send -1 7 hex:00" << sendForm;
    QTest::newRow("send of bad bytes") << "send 1 7 hex:0"
                                       << "expected pairs of hexadecimal digits, not 0";
    QTest::newRow("text of nothing") << "text  "
                                     << "expected text WORDS";
    QTest::newRow("set of nothing") << "set"
                                    << "expected set GROUP NAME VALUE";
    QTest::newRow("set without a value") << "set MAV SYSTEM_ID"
                                         << "expected set GROUP NAME VALUE";
    QTest::newRow("set of no setting") << "set MAV NOTHING 1"
                                       << "there is no setting MAV/NOTHING";
    QTest::newRow("set of telemetry") << "set ro ll 1"
                                      << "there is no setting ro/ll";
    QTest::newRow("set to what does not fit") << "set MAV SYSTEM_ID seven"
                                              << "MAV/SYSTEM_ID is a whole number from 0 to 65535, not seven";
    QTest::newRow("wait for ever") << "wait"
                                   << "expected wait SECONDS";
    QTest::newRow("wait backwards") << "wait -1"
                                    << "expected wait SECONDS";
    QTest::newRow("wait for no number") << "wait nan"
                                        << "expected wait SECONDS";
    QTest::newRow("wait too long") << "wait 1e7"
                                   << "expected wait SECONDS";
    QTest::newRow("wait twice") << "wait 1 1"
                                << "expected wait SECONDS";
    QTest::newRow("wait-for nothing") << "wait-for"
                                      << "expected wait-for SIGNAL[.FIELD][(=|<|>)VALUE] [TIMEOUT]";
    QTest::newRow("wait-for no signal") << "wait-for pitch"
                                        << "no signal is called pitch";
    QTest::newRow("wait-for no field") << "wait-for roll.degrees"
                                       << "roll has no fields";
    QTest::newRow("wait-for no number") << "wait-for roll>x"
                                        << "a number is missing in roll>x";
    QTest::newRow("wait-for no time") << "wait-for roll soon"
                                      << "expected a time-out in seconds, not soon";
    QTest::newRow("status of something") << "status roll"
                                         << "unexpected roll";
    QTest::newRow("quit with a code") << "quit 3"
                                      << "unexpected 3";
}

void TestScriptParser::parseLine_ofAMistake_says()
{
    QFETCH(QString, line);
    QVERIFY(!parser.parseLine(line));
    QTEST(parser.errorText(), "error");
}

void TestScriptParser::send_keepsKindAndBytes()
{
    const auto command = parser.parseLine(QStringLiteral("send 255\t0  text:two  words "));
    QVERIFY2(command, qPrintable(parser.errorText()));
    QCOMPARE(command->kind, Kind::Send);
    QCOMPARE(command->messageId, MessageId{255});
    QCOMPARE(command->payloadId, PayloadId{0});
    QCOMPARE(command->data, QByteArray("two  words"));
}

void TestScriptParser::velocity_keepsItsNumbers()
{
    const auto command = parser.parseLine(QStringLiteral("velocity -30 0.1 1e-3 -180"));
    QVERIFY2(command, qPrintable(parser.errorText()));
    QCOMPARE(command->velocity.x, -30.0);
    QCOMPARE(command->velocity.y, 0.1);
    QCOMPARE(command->velocity.z, 0.001);
    QCOMPARE(command->yawRate, -180.0F);
}

void TestScriptParser::waitFor_keepsItsCondition()
{
    const auto command = parser.parseLine(QStringLiteral("wait-for textToGround.type=1"));
    QVERIFY(command);
    QCOMPARE(command->condition.signal, QStringLiteral("textToGround"));
    QCOMPARE(command->condition.fields, QStringList{QStringLiteral("type")});
    QCOMPARE(command->condition.value, QStringLiteral("1"));
}

void TestScriptParser::parseAll_numbersLinesAsAnEditorDoes()
{
    const auto commands = parser.parseAll("# first\n\nwait 1\r\nquit");
    QVERIFY(commands);
    QCOMPARE(commands->size(), 2);
    QCOMPARE(commands->at(0).line, 3);
    QCOMPARE(commands->at(1).line, 4);
}

void TestScriptParser::parseAll_ofAMistake_namesItsLine()
{
    QVERIFY(!parser.parseAll("wait 1\n\nwait x\ndance\n"));
    QCOMPARE(parser.errorText(), QStringLiteral("script line 3: expected wait SECONDS"));
}

QTEST_GUILESS_MAIN(TestScriptParser)
#include "tst_scriptparser.moc"
