// SPDX-License-Identifier: MIT
#pragma once

#include "host/scriptparser.h"
#include "host/scriptrunner.h"

#include <QObject>
#include <QVector>

class LineSource;

/// Runs the commands of a script, or those that come in on a file descriptor, one after the other.
///
/// At a prompt mistakes are reported and the prompt goes on; in a script they end it. At a prompt the next
/// line is read at once, and a command ends the one that still runs.
class ScriptPlayer : public QObject
{
    Q_OBJECT

public:
    enum class Source { Script, Prompt };

    ScriptPlayer(LatestValues *values, const KnownSignals &knownSignals, QObject *parent = nullptr);

    void play(const QVector<ScriptCommand> &commands);
    /// Reads the commands while running them; takes the reader over.
    void follow(LineSource *reader, Source source);
    void cancel();
    /// What the commands that fly go through; null: there is none.
    void setStick(IVirtualStick *stick, std::function<bool()> isLinkOpen)
    {
        runner.setStick(stick, std::move(isLinkOpen));
    }
    /// See Pilot.
    bool hover() { return runner.hover(); }

Q_SIGNALS:
    /// See Pilot.
    void hint(const QString &text);
    void sendAsked(MessageId messageId, PayloadId payloadId, const QByteArray &data);
    void statusAsked();
    void quitAsked();
    /// A command of a script could not be carried out; the message names its line. Nothing follows.
    void failed(int exitCode, const QString &message);
    /// The same at a prompt, which goes on.
    void mistaken(const QString &message);
    /// The command that runs now, as written, a script's with its line's number; empty: none runs.
    void commandChanged(const QString &text);
    /// A prompt is ready for a line.
    void promptReady();
    /// A line was typed at a prompt.
    void typed(const QString &line);

private:
    void next();
    void start(const ScriptCommand &command);
    void onLine(const QString &text);
    void onEnded();
    void complain(int exitCode, const QString &what);

    ScriptParser parser;
    ScriptRunner runner;
    QVector<ScriptCommand> commands;
    int position = 0;
    int line = 0;
    LineSource *reader = nullptr;
    Source source = Source::Script;
};
