// SPDX-License-Identifier: MIT
#include "host/scriptparser.h"

#include "common/payloadargument.h"
#include "host/seconds.h"
#include "host/settingskey.h"

#include <cmath>

namespace {

constexpr std::chrono::milliseconds DefaultTimeout{60000};
// A slip of the keyboard must not send an aircraft away.
constexpr double MaxSpeed = 30;    // metres per second along each axis
constexpr double MaxYawRate = 180; // degrees per second

/// Takes the first word off a text.
QString takeWord(QString &text)
{
    int end = 0;
    while (end < text.size() && !text.at(end).isSpace())
        ++end;
    QString word = text.left(end);
    text = text.mid(end).trimmed();
    return word;
}

/// What is wrong with a velocity's numbers, north, east, down and the yaw rate; empty: nothing.
QString velocityMistake(const QStringList &words, QVector<double> &numbers)
{
    for (const QString &word : words) {
        bool ok = false;
        const double number = word.toDouble(&ok);
        const double limit = numbers.size() < 3 ? MaxSpeed : MaxYawRate;
        if (!ok || !std::isfinite(number))
            return QStringLiteral("%1 is not a finite number").arg(word);
        if (std::fabs(number) > limit)
            return QStringLiteral("%1 is too fast, at most %2 m/s and %3 degrees per second")
                .arg(word)
                .arg(MaxSpeed)
                .arg(MaxYawRate);
        numbers.append(number);
    }
    return QString();
}

/// Takes the condition off a text: the first word, but in double quotes a value may hold blanks.
QString takeCondition(QString &text)
{
    const int quote = text.indexOf(QLatin1Char('"'));
    const int closing = text.indexOf(QLatin1Char('"'), quote + 1);
    const bool quoted = quote > 0 && QStringLiteral("=<>").contains(text.at(quote - 1)) && closing > quote &&
                        !text.leftRef(quote).contains(QLatin1Char(' '));
    if (!quoted)
        return takeWord(text);
    QString condition = text.left(quote) + text.mid(quote + 1, closing - quote - 1);
    text = text.mid(closing + 1).trimmed();
    return condition;
}

} // namespace

std::optional<ScriptCommand> ScriptParser::parseLine(const QString &line)
{
    error.clear();
    QString rest = line.trimmed();
    if (rest.isEmpty() || rest.startsWith(QLatin1Char('#')))
        return std::nullopt;
    const QString word = takeWord(rest);
    auto command = parseCommand(word, rest);
    if (command)
        command->source = line.trimmed();
    return command;
}

std::optional<QVector<ScriptCommand>> ScriptParser::parseAll(const QByteArray &script)
{
    QVector<ScriptCommand> commands;
    int number = 0;
    const QList<QByteArray> lines = script.split('\n');
    for (const QByteArray &line : lines) {
        ++number;
        auto command = parseLine(QString::fromUtf8(line));
        if (command) {
            command->line = number;
            commands.append(*command);
        } else if (!error.isEmpty()) {
            error = QStringLiteral("script line %1: %2").arg(number).arg(error);
            return std::nullopt;
        }
    }
    return commands;
}

const QVector<ScriptParser::Command> &ScriptParser::commands()
{
    using Kind = ScriptCommand::Kind;
    static const QVector<Command> all{
        {"control", Kind::Control, nullptr},
        {"arm", Kind::Arm, &ScriptParser::parseArm},
        {"takeoff", Kind::TakeOff, nullptr},
        {"velocity", Kind::Velocity, &ScriptParser::parseVelocity},
        {"subscribe", Kind::Subscribe, nullptr},
        {"send", Kind::Send, &ScriptParser::parseSend},
        {"text", Kind::Text, &ScriptParser::parseText},
        {"set", Kind::Set, &ScriptParser::parseSet},
        {"wait", Kind::Wait, &ScriptParser::parseWait},
        {"wait-for", Kind::WaitFor, &ScriptParser::parseWaitFor},
        {"status", Kind::Status, nullptr},
        {"quit", Kind::Quit, nullptr},
    };
    return all;
}

QStringList ScriptParser::commandNames()
{
    QStringList names;
    for (const Command &command : commands())
        names.append(QLatin1String(command.name));
    return names;
}

std::optional<ScriptCommand> ScriptParser::parseCommand(const QString &word, const QString &rest)
{
    for (const Command &command : commands())
        if (word == QLatin1String(command.name))
            return command.parse ? (this->*command.parse)(rest) : parseBare(command.kind, rest);
    return fail(QStringLiteral("unknown command %1; there are %2")
                    .arg(word, commandNames().join(QLatin1String(", "))));
}

std::optional<ScriptCommand> ScriptParser::parseArm(const QString &rest)
{
    const auto timeout = rest.isEmpty() ? DefaultTimeout : parseSeconds(rest);
    if (!timeout)
        return fail(QStringLiteral("expected arm [TIMEOUT]"));
    ScriptCommand command;
    command.kind = ScriptCommand::Kind::Arm;
    command.time = *timeout;
    return command;
}

std::optional<ScriptCommand> ScriptParser::parseVelocity(const QString &rest)
{
    constexpr int Numbers = 4;
    const QString form = QStringLiteral("expected velocity NORTH EAST DOWN YAWRATE [SECONDS]");
    const QStringList words = rest.isEmpty() ? QStringList() : rest.simplified().split(QLatin1Char(' '));
    if (words.size() != Numbers && words.size() != Numbers + 1)
        return fail(QStringLiteral("%1: 4 or 5 numbers, not %2").arg(form).arg(words.size()));
    QVector<double> numbers;
    const QString mistake = velocityMistake(words.mid(0, Numbers), numbers);
    if (!mistake.isEmpty())
        return fail(QStringLiteral("%1: %2").arg(form, mistake));
    const auto time = words.size() == Numbers ? std::chrono::milliseconds(0) : parseSeconds(words.last());
    if (!time)
        return fail(QStringLiteral("%1: %2 is no time in seconds").arg(form, words.last()));
    ScriptCommand command;
    command.kind = ScriptCommand::Kind::Velocity;
    command.velocity = {numbers[0], numbers[1], numbers[2]};
    command.yawRate = static_cast<float>(numbers[3]);
    command.time = *time;
    return command;
}

std::optional<ScriptCommand> ScriptParser::parseSend(const QString &rest)
{
    QString payload = rest;
    const auto messageId = PayloadArgument::parseId(takeWord(payload));
    const auto payloadId = PayloadArgument::parseId(takeWord(payload));
    if (!messageId || !payloadId || payload.isEmpty())
        return fail(QStringLiteral("expected send MESSAGEID PAYLOADID (hex:DIGITS | text:WORDS | @FILE), "
                                   "ids from 0 to 255"));
    PayloadArgument::Error mistake;
    const auto data = PayloadArgument::parse(payload, &mistake);
    if (!data)
        return fail(mistake.text, mistake.isFile ? ExitCode::BadFile : ExitCode::Usage);
    ScriptCommand command;
    command.kind = ScriptCommand::Kind::Send;
    command.messageId = MessageId{*messageId};
    command.payloadId = PayloadId{*payloadId};
    command.data = *data;
    return command;
}

std::optional<ScriptCommand> ScriptParser::parseText(const QString &rest)
{
    if (rest.isEmpty())
        return fail(QStringLiteral("expected text WORDS"));
    ScriptCommand command;
    command.kind = ScriptCommand::Kind::Text;
    command.text = rest;
    return command;
}

std::optional<ScriptCommand> ScriptParser::parseSet(const QString &rest)
{
    ScriptCommand command;
    command.kind = ScriptCommand::Kind::Set;
    command.text = rest;
    const QString group = takeWord(command.text);
    const QString name = takeWord(command.text);
    if (command.text.isEmpty())
        return fail(QStringLiteral("expected set GROUP NAME VALUE"));
    command.group = group.toUtf8();
    command.name = name.toUtf8();
    if (!isKnownSetting(command.group, command.name))
        return fail(QStringLiteral("there is no setting %1/%2").arg(group, name));
    const QString mistake = settingMistake(command.group, command.name, command.text);
    if (!mistake.isEmpty())
        return fail(mistake);
    return command;
}

std::optional<ScriptCommand> ScriptParser::parseWait(const QString &rest)
{
    const auto time = parseSeconds(rest);
    if (!time)
        return fail(QStringLiteral("expected wait SECONDS"));
    ScriptCommand command;
    command.kind = ScriptCommand::Kind::Wait;
    command.time = *time;
    return command;
}

std::optional<ScriptCommand> ScriptParser::parseWaitFor(const QString &rest)
{
    QString timeText = rest;
    ScriptCommand command;
    command.kind = ScriptCommand::Kind::WaitFor;
    command.text = takeCondition(timeText);
    if (command.text.isEmpty())
        return fail(QStringLiteral("expected wait-for SIGNAL[.FIELD][(=|<|>)VALUE] [TIMEOUT]"));
    QString mistake;
    const auto condition = Condition::parse(command.text, knownSignals, mistake);
    if (!condition)
        return fail(mistake);
    const auto timeout = timeText.isEmpty() ? DefaultTimeout : parseSeconds(timeText);
    if (!timeout)
        return fail(QStringLiteral("expected a time-out in seconds, not %1").arg(timeText));
    command.condition = *condition;
    command.time = *timeout;
    return command;
}

std::optional<ScriptCommand> ScriptParser::parseBare(ScriptCommand::Kind kind, const QString &rest)
{
    if (!rest.isEmpty())
        return fail(QStringLiteral("unexpected %1").arg(rest));
    ScriptCommand command;
    command.kind = kind;
    return command;
}

std::nullopt_t ScriptParser::fail(const QString &why, int code)
{
    error = why;
    exitCode = code;
    return std::nullopt;
}
