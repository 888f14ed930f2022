// SPDX-License-Identifier: MIT
#pragma once

#include "sim/faultylink.h"
#include "sim/linkgroup.h"
#include "sim/player.h"
#include "sim/report.h"
#include "sim/simoptions.h"

#include <QElapsedTimer>
#include <QObject>

#include <memory>
#include <vector>

/// One run of the simulator: a recording, its links, and the replay from the first client to the last byte
/// taken.
class ReplaySession : public QObject
{
    Q_OBJECT

public:
    ReplaySession(const SimOptions &options, std::unique_ptr<Recording> recording);

    /// Opens all links, reports them, and waits for the first client. False when one cannot be opened, which
    /// is reported; then nothing listens.
    [[nodiscard]] bool open();

Q_SIGNALS:
    /// Once: all clients have taken everything, or the recording could not be read on. The code is the
    /// program's.
    void ended(int exitCode);

private:
    void addLink(Link *link);
    Link *makeFaulty(Link *link);
    void start();
    SimTime sinceStart() const;
    void finishLinks();
    void onLinkFinished();
    void onFailed(const QString &reason);

    const SimOptions options;
    const Report report;
    const std::unique_ptr<Recording> recording;
    LinkGroup links;
    std::vector<std::unique_ptr<FaultyLink>> badLinks;
    QVector<Link *> played; // those, or the good ones
    QElapsedTimer sinceFirstClient;
    Player player;
    size_t linksFinished = 0;
    QString fault; // why the recording could not be read on
};
