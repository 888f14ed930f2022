// SPDX-License-Identifier: MIT
#include "host/scriptplayer.h"

#include "common/exitcode.h"
#include "host/linesource.h"

ScriptPlayer::ScriptPlayer(LatestValues *values, const KnownSignals &knownSignals, QObject *parent)
    : QObject(parent)
    , parser(knownSignals)
    , runner(values)
{
    connect(&runner, &ScriptRunner::done, this, [this] {
        Q_EMIT commandChanged(QString());
        if (source == Source::Script)
            next();
    });
    connect(&runner, &ScriptRunner::failed, this, [this](const QString &why) {
        Q_EMIT commandChanged(QString());
        complain(ExitCode::NotHappened, why);
    });
    connect(&runner, &ScriptRunner::hint, this, &ScriptPlayer::hint);
    connect(&runner, &ScriptRunner::sendAsked, this, &ScriptPlayer::sendAsked);
    connect(&runner, &ScriptRunner::statusAsked, this, &ScriptPlayer::statusAsked);
    connect(&runner, &ScriptRunner::quitAsked, this, &ScriptPlayer::quitAsked);
}

void ScriptPlayer::play(const QVector<ScriptCommand> &script)
{
    commands = script;
    next();
}

void ScriptPlayer::follow(LineSource *lines, Source kind)
{
    source = kind;
    reader = lines;
    reader->setParent(this);
    connect(reader, &LineSource::lineRead, this, &ScriptPlayer::onLine);
    connect(reader, &LineSource::ended, this, &ScriptPlayer::onEnded);
    next();
}

void ScriptPlayer::cancel()
{
    runner.cancel();
    commands.clear();
    if (!reader)
        return;
    reader->disconnect(this);
    reader->deleteLater(); // it may be its line that ends everything
    reader = nullptr;
}

void ScriptPlayer::next()
{
    if (reader) {
        if (source == Source::Prompt)
            Q_EMIT promptReady();
        reader->request();
    } else if (position < commands.size()) {
        const ScriptCommand command = commands.at(position++);
        line = command.line;
        start(command);
    }
}

void ScriptPlayer::start(const ScriptCommand &command)
{
    Q_EMIT commandChanged(source == Source::Script
                              ? QStringLiteral("line %1: %2").arg(line).arg(command.source)
                              : command.source);
    runner.run(command);
}

void ScriptPlayer::onLine(const QString &text)
{
    ++line;
    if (source == Source::Prompt)
        Q_EMIT typed(text);
    const auto command = parser.parseLine(text);
    if (command && source == Source::Prompt)
        runner.cancel();
    if (command)
        start(*command);
    else if (!parser.errorText().isEmpty())
        complain(parser.errorExitCode(), parser.errorText());
    else if (source == Source::Script)
        next();
    // Whoever flies by hand must not have to wait for anything.
    if (source == Source::Prompt)
        next();
}

// The end of a script leaves the host running; the end of what is typed is Ctrl-D.
void ScriptPlayer::onEnded()
{
    if (source == Source::Prompt)
        Q_EMIT quitAsked();
}

void ScriptPlayer::complain(int exitCode, const QString &what)
{
    if (source == Source::Script) {
        Q_EMIT failed(exitCode, QStringLiteral("script line %1: %2").arg(line).arg(what));
        return;
    }
    Q_EMIT mistaken(what);
}
