// SPDX-License-Identifier: MIT
#pragma once

#include "host/pilot.h"
#include "host/scriptcommand.h"

#include <QObject>
#include <QTimer>

#include <optional>

class IVirtualStick;
class LatestValues;

/// Carries out one command at a time. The outcome always comes from the event loop, never from inside run().
class ScriptRunner : public QObject
{
    Q_OBJECT

public:
    /// @param values what wait-for looks at; must outlive this object.
    explicit ScriptRunner(LatestValues *values, QObject *parent = nullptr);

    void setStick(IVirtualStick *stick, std::function<bool()> isLinkOpen)
    {
        pilot.setStick(stick, std::move(isLinkOpen));
    }
    /// See Pilot.
    bool hover() { return pilot.hover(); }
    /// Not to be called before the command before is done.
    void run(const ScriptCommand &command);
    /// Gives up the command that runs; no outcome follows.
    void cancel();

Q_SIGNALS:
    void done();
    /// What was asked for did not happen, or not in time.
    void failed(const QString &why);
    /// See Pilot.
    void hint(const QString &text);
    void sendAsked(MessageId messageId, PayloadId payloadId, const QByteArray &data);
    void statusAsked();
    void quitAsked();

private:
    void waitFor(const ScriptCommand &command);
    void check();
    void onTimeout();
    void finishSoon();

    LatestValues *values;
    Pilot pilot;
    QTimer timer;
    std::optional<ScriptCommand> waiting; // the wait-for that is not fulfilled yet
};
