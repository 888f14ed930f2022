// SPDX-License-Identifier: MIT
#pragma once

#include "common/exitcode.h"
#include "host/knownsignals.h"
#include "host/scriptcommand.h"

#include <QStringList>
#include <QVector>

#include <optional>
#include <utility>

/// Reads commands, one a line; blank lines and lines that begin with # are none.
class ScriptParser
{
public:
    explicit ScriptParser(KnownSignals signalsToWaitFor)
        : knownSignals(std::move(signalsToWaitFor))
    {}

    /// Reads one line. @return the command, or nothing: an empty line if errorText() is empty, else a
    /// mistake.
    std::optional<ScriptCommand> parseLine(const QString &line);
    /// Reads a whole script. @return nothing at the first mistake; errorText() names the line then.
    std::optional<QVector<ScriptCommand>> parseAll(const QByteArray &script);
    static QStringList commandNames();
    QString errorText() const { return error; }
    /// What the program exits with for the mistake, if it is a script's.
    int errorExitCode() const { return exitCode; }

private:
    struct Command
    {
        const char *name;
        ScriptCommand::Kind kind;
        std::optional<ScriptCommand> (ScriptParser::*parse)(const QString &rest); // null: takes no arguments
    };

    static const QVector<Command> &commands();
    std::optional<ScriptCommand> parseCommand(const QString &word, const QString &rest);
    std::optional<ScriptCommand> parseArm(const QString &rest);
    std::optional<ScriptCommand> parseVelocity(const QString &rest);
    std::optional<ScriptCommand> parseSend(const QString &rest);
    std::optional<ScriptCommand> parseText(const QString &rest);
    std::optional<ScriptCommand> parseSet(const QString &rest);
    std::optional<ScriptCommand> parseWait(const QString &rest);
    std::optional<ScriptCommand> parseWaitFor(const QString &rest);
    std::optional<ScriptCommand> parseBare(ScriptCommand::Kind kind, const QString &rest);
    std::nullopt_t fail(const QString &why, int code = ExitCode::Usage);

    KnownSignals knownSignals;
    QString error;
    int exitCode = 0;
};
