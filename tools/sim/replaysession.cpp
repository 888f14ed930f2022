// SPDX-License-Identifier: MIT
#include "sim/replaysession.h"

#include "common/exitcode.h"

#include <utility>

ReplaySession::ReplaySession(const SimOptions &wanted, std::unique_ptr<Recording> source)
    : options(wanted)
    , report(wanted.json, wanted.quiet)
    , recording(std::move(source))
    , player({recording.get(), ReplayClock(wanted.speed), wanted.loop})
{
    connect(&player, &Player::over, this, &ReplaySession::finishLinks);
    connect(&player, &Player::failed, this, &ReplaySession::onFailed);
}

bool ReplaySession::open()
{
    if (!links.open(options.links, report))
        return false;
    for (const auto &link : links.all()) {
        connect(link.get(), &Link::clientJoined, &player, &Player::start);
        connect(link.get(), &Link::finished, this, &ReplaySession::onLinkFinished);
        player.addLink(link.get());
    }
    return true;
}

void ReplaySession::finishLinks()
{
    for (const auto &link : links.all())
        link->finish();
}

void ReplaySession::onLinkFinished()
{
    if (++linksFinished < links.all().size())
        return;
    report.finished(player.bytesPlayed(), player.pauseCount());
    if (fault.isEmpty())
        fault = recording->damage();
    if (!fault.isEmpty())
        Report::error(options.recording + QLatin1String(": ") + fault);
    Q_EMIT ended(fault.isEmpty() ? ExitCode::Done : ExitCode::BadFile);
}

void ReplaySession::onFailed(const QString &reason)
{
    fault = reason;
    finishLinks();
}
