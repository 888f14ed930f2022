// SPDX-License-Identifier: MIT
#pragma once

#include "ground/framecarrier.h"
#include "ground/groundcommand.h"
#include "link/link.h"

#include <QObject>
#include <QTimer>

#include <memory>

/// One run of the ground end: opens the link, runs the command, closes the link.
class GroundSession : public QObject
{
    Q_OBJECT

public:
    /// The payload is of use to `send` alone.
    GroundSession(const GroundOptions &options, const QByteArray &payload);

    /// What goes wrong is reported, and ends the session.
    void open();
    /// Reports what there is so far and ends with Done.
    void interrupt();

Q_SIGNALS:
    /// Once, from the event loop: the link has taken everything, or does not within a second.
    void ended(int exitCode);

private:
    void onJoined();
    void onLeft();
    void waitForOpener();
    void onNotOpened();
    void failLink(const QString &reason);
    void finish(int exitCode);

    const GroundOptions options;
    const GroundReport report;
    const std::unique_ptr<Link> link;
    FrameCarrier carrier;
    PacedSender sender;
    OnboardReceiver receiver;
    std::unique_ptr<GroundCommand> command; // until the session is finishing
    QTimer opening;
    QTimer closing;
    bool opened = false;
    bool joined = false;
    bool finishing = false;
    int result = 0;
};
