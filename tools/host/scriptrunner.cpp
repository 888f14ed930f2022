// SPDX-License-Identifier: MIT
#include "host/scriptrunner.h"

#include "app/app.h"
#include "host/latestvalues.h"

#include <utility>

ScriptRunner::ScriptRunner(LatestValues *seen, QObject *parent)
    : QObject(parent)
    , values(seen)
    , pilot(seen)
{
    timer.setSingleShot(true);
    timer.setTimerType(Qt::PreciseTimer);
    connect(&timer, &QTimer::timeout, this, &ScriptRunner::onTimeout);
    connect(&pilot, &Pilot::done, this, &ScriptRunner::done);
    connect(&pilot, &Pilot::failed, this, &ScriptRunner::failed);
    connect(&pilot, &Pilot::hint, this, &ScriptRunner::hint);
    connect(values, &LatestValues::stored, this, [this](const QString &name) {
        if (waiting && waiting->condition.signal == name)
            check();
    });
}

void ScriptRunner::run(const ScriptCommand &command)
{
    if (Pilot::flies(command.kind)) {
        pilot.run(command);
        return;
    }
    switch (command.kind) {
    case ScriptCommand::Kind::Send:
        Q_EMIT sendAsked(command.messageId, command.payloadId, command.data);
        break;
    case ScriptCommand::Kind::Text:
        runningApp()->sendMessage(command.text, TextToGround::Information);
        break;
    case ScriptCommand::Kind::Set:
        runningApp()->updateSetting(command.group.constData(), command.name.constData(), command.text);
        break;
    case ScriptCommand::Kind::Status:
        Q_EMIT statusAsked();
        break;
    case ScriptCommand::Kind::Quit:
        Q_EMIT quitAsked();
        return;
    case ScriptCommand::Kind::Wait:
        timer.start(command.time);
        return;
    case ScriptCommand::Kind::WaitFor:
        waitFor(command);
        return;
    default:
        break;
    }
    finishSoon();
}

void ScriptRunner::cancel()
{
    pilot.cancel();
    timer.stop();
    waiting.reset();
}

void ScriptRunner::waitFor(const ScriptCommand &command)
{
    waiting = command;
    timer.start(command.time);
    check();
}

// From inside the emission of a signal of the plugin: the next command is not to be run in there.
void ScriptRunner::check()
{
    if (!waiting->condition.isMetBy(values->value(waiting->condition.signal)))
        return;
    waiting.reset();
    finishSoon();
}

void ScriptRunner::onTimeout()
{
    const auto unmet = std::exchange(waiting, std::nullopt);
    if (unmet)
        Q_EMIT failed(QStringLiteral("wait-for %1: timed out").arg(unmet->text));
    else
        Q_EMIT done();
}

void ScriptRunner::finishSoon()
{
    timer.start(0);
}
