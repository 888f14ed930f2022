// SPDX-License-Identifier: MIT
#pragma once

#include "ground/groundoptions.h"
#include "ground/groundreport.h"
#include "ground/onboardreceiver.h"
#include "ground/pacedsender.h"

#include <QObject>

#include <memory>

/// One of the things that the ground end can do.
class GroundCommand : public QObject
{
    Q_OBJECT

public:
    /// What a command works with; all of it outlives the command.
    struct Tools
    {
        const GroundOptions &options;
        const GroundReport &report;
        PacedSender &sender;
        OnboardReceiver &receiver;
    };

    /// The payload is of use to `send` alone.
    static std::unique_ptr<GroundCommand> create(const Tools &tools, const QByteArray &payload);

    /// Called once, when the link is open and the first heartbeat is on its way.
    virtual void begin() = 0;
    /// The user has had enough: reports what there is so far.
    virtual void reportEnd() = 0;

Q_SIGNALS:
    /// Once, after the last report; with the program's exit code.
    void done(int exitCode);

protected:
    explicit GroundCommand(const Tools &all)
        : tools(all)
    {}

    const Tools tools;
};
