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
    for (const auto &link : links.all())
        addLink(link.get());
    return true;
}

void ReplaySession::addLink(Link *link)
{
    connect(link, &Link::clientJoined, this, &ReplaySession::start);
    connect(link, &Link::finished, this, &ReplaySession::onLinkFinished);
    if (options.faults.any())
        link = makeFaulty(link);
    played.append(link);
    player.addLink(link);
}

Link *ReplaySession::makeFaulty(Link *link)
{
    const int clientsOfALink = 1 << 16; // whose faults have numbers of their own
    const int first = static_cast<int>(badLinks.size()) * clientsOfALink;
    const auto time = [this] { return sinceStart(); };
    badLinks.push_back(std::make_unique<FaultyLink>(link, options.faults, first, time));
    return badLinks.back().get();
}

void ReplaySession::start()
{
    if (!sinceFirstClient.isValid())
        sinceFirstClient.start();
    player.start();
}

SimTime ReplaySession::sinceStart() const
{
    return SimTime(sinceFirstClient.isValid() ? sinceFirstClient.nsecsElapsed() / 1000 : 0);
}

void ReplaySession::finishLinks()
{
    for (Link *link : qAsConst(played))
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
