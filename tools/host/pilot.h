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
    /// Stops the vehicle where it is, with a zero velocity, if it is armed and we have commanded it.
    /// @return whether that was so.
    bool hover();

Q_SIGNALS:
    void done();
    /// The command cannot be carried out, or had no effect in time.
    void failed(const QString &why);

private:
    QString obstacle() const;
    void command();
    void arm();
    void keepUpVelocity();
    void repeat();
    void onStored(const QString &name);
    void onDeadline();
    void finishSoon(const QString &complaint = QString());
    bool isArmed() const;

    const LatestValues *values;
    QPointer<IVirtualStick> stick;
    std::function<bool()> isLinkOpen;
    ScriptCommand current;
    QTimer repetition; // of arm and velocity
    QTimer deadline;   // then the command ends
    QString failure;   // of the command that ends; empty: none
    bool ending = false;
    bool commanded = false;
};
