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
    for (const LinkAddress &address : options.links) {
        if (addLink(address))
            continue;
        links.clear();
        return false;
    }
    for (const auto &link : links)
        report.listening(link->address());
    return true;
}

bool ReplaySession::addLink(const LinkAddress &address)
{
    links.push_back(Link::create(address));
    Link *link = links.back().get();
    QString error;
    if (!link->open(&error)) {
        Report::error(address.toString() + QLatin1String(": ") + error);
        return false;
    }
    connect(link, &Link::clientJoined, this, [this, link] {
        report.clientJoined(link->address());
        player.start();
    });
    connect(link, &Link::clientLeft, this, [this, link] { report.clientLeft(link->address()); });
    connect(link, &Link::finished, this, &ReplaySession::onLinkFinished);
    player.addLink(link);
    return true;
}

void ReplaySession::finishLinks()
{
    for (const auto &link : links)
        link->finish();
}

void ReplaySession::onLinkFinished()
{
    if (++linksFinished < links.size())
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
