// SPDX-License-Identifier: MIT
#pragma once

#include "host/scriptcommand.h"

#include <QObject>
#include <QPointer>
#include <QTimer>

#include <functional>

class IVirtualStick;
class LatestValues;

/// Carries out the commands that fly the vehicle, one at a time, through the plugin's virtual stick. The
/// outcome always comes from the event loop, never from inside run().
///
/// A vehicle that has been in the mode in which it obeys us and leaves it has been taken over, by an operator
/// or by a failsafe. It is left alone then: no velocity and no take-off is sent until it is back in that mode
/// or control is asked for again.
class Pilot : public QObject
{
    Q_OBJECT

public:
    /// @param values where the vehicle's status is seen; must outlive this object.
    explicit Pilot(const LatestValues *values, QObject *parent = nullptr);

    /// Without a stick, or when the link is not open, every command fails.
    void setStick(IVirtualStick *stick, std::function<bool()> isLinkOpen);
    static bool flies(ScriptCommand::Kind kind);

    /// Not to be called before the command before is done.
    void run(const ScriptCommand &command);
    /// Gives up the command that runs; no outcome follows.
    void cancel();
    /// Stops the vehicle where it is, with a zero velocity, if it is armed, we have commanded it and nobody
    /// has taken it over.
    /// @return whether that was so.
    bool hover();

Q_SIGNALS:
    void done();
    /// The command cannot be carried out, or had no effect in time.
    void failed(const QString &why);
    /// Something that the user should know, in one line.
    void hint(const QString &text);

private:
    QString obstacle() const;
    QString obstacleToFlying() const;
    void tellWhatKeepsItFromFlying();
    void command();
    void arm();
    void keepUpVelocity();
    void repeat();
    void onStored(const QString &name);
    void onMode(bool isOurs);
    void onText();
    bool waitsForArming() const;
    bool isRunning(ScriptCommand::Kind kind) const;
    void onDeadline();
    void finishSoon(const QString &complaint = QString());
    bool isArmed() const;
    bool isKnownAsDisarmed() const;

    const LatestValues *values;
    QPointer<IVirtualStick> stick;
    std::function<bool()> isLinkOpen;
    ScriptCommand current;
    QTimer repetition; // of arm and velocity
    QTimer deadline;   // then the command ends
    QString failure;   // of the command that ends; empty: none
    QString refusal;   // what the autopilot has said since it was asked to arm
    bool ending = false;
    bool commanded = false;
    bool controlAsked = false;
    bool inOurMode = false;
    bool takenOver = false;
    bool unheededTold = false;
};
