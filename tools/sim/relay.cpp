// SPDX-License-Identifier: MIT
#include "sim/relay.h"

#include "link/link.h"
#include "sim/heartbeat.h"
#include "sim/relayrules.h"

#include <algorithm>
#include <utility>

struct Relay::Client
{
    Link *link;
    int number;
    bool forwarding;
    ForwardingBuffer buffer;
    FrameParser parser = {};
    HeardSources heard = {};
    mavlink::mavlink_status_t sent = {};
};

Relay::Relay(AutopilotKind autopilot, TimeSource timeSource)
    : kind(autopilot)
    , now(std::move(timeSource))
{
    roundTimer.setInterval(ForwardingBuffer::roundPeriod);
    roundTimer.setTimerType(Qt::PreciseTimer);
    connect(&roundTimer, &QTimer::timeout, this, &Relay::runRound);
    if (kind == AutopilotKind::Px4)
        roundTimer.start();
}

Relay::~Relay() = default;

ForwardingBuffer::Time Relay::steadyTime()
{
    return std::chrono::steady_clock::now().time_since_epoch();
}

void Relay::addLink(Link *link, bool forwarding)
{
    connect(link, &Link::clientJoined, this,
            [this, link, forwarding](int number) { join(link, number, forwarding); });
    connect(link, &Link::clientLeft, this, [this, link](int number) { leave(link, number); });
    connect(link, &Link::received, this,
            [this, link](const QByteArray &bytes, int number) { receive(bytes, link, number); });
}

void Relay::sendHeartbeats()
{
    for (const auto &client : clients)
        sendHeartbeat(client.get());
}

void Relay::runRound()
{
    for (const auto &client : clients) {
        const QVector<QByteArray> frames = client->buffer.takeRound(now());
        for (const QByteArray &frame : frames)
            sendRelayed(frame, client.get());
    }
}

void Relay::join(Link *link, int number, bool forwarding)
{
    clients.push_back(std::make_unique<Client>(Client{link, number, forwarding, ForwardingBuffer(now())}));
    sendHeartbeat(clients.back().get());
}

void Relay::leave(const Link *link, int number)
{
    const auto isIt = [=](const auto &client) { return client->link == link && client->number == number; };
    clients.erase(std::remove_if(clients.begin(), clients.end(), isIt), clients.end());
}

void Relay::receive(const QByteArray &bytes, const Link *link, int number)
{
    Client *from = find(link, number);
    if (!from)
        return;
    const qint64 badBefore = from->parser.badFrames();
    const QVector<ReceivedFrame> frames = from->parser.parse(bytes);
    count.bad += from->parser.badFrames() - badBefore;
    for (const ReceivedFrame &frame : frames) {
        from->heard.add(frame.system, frame.component);
        for (const auto &to : clients) {
            if (to.get() != from && passes(frame, *from, *to))
                handOn(frame.bytes, to.get());
        }
    }
}

Relay::Client *Relay::find(const Link *link, int number) const
{
    const auto isIt = [=](const auto &client) { return client->link == link && client->number == number; };
    const auto found = std::find_if(clients.begin(), clients.end(), isIt);
    return found != clients.end() ? found->get() : nullptr;
}

bool Relay::passes(const ReceivedFrame &frame, const Client &from, const Client &to) const
{
    if (kind == AutopilotKind::Px4 && !(from.forwarding && to.forwarding))
        return false;
    return isHandedOn(kind, frame, to.heard);
}

void Relay::handOn(const QByteArray &frame, Client *to)
{
    if (kind == AutopilotKind::ArduPilot)
        sendRelayed(frame, to);
    else if (!to->buffer.push(frame, now()))
        ++count.lost;
}

void Relay::sendRelayed(const QByteArray &frame, Client *to)
{
    if (send(frame, to))
        ++count.relayed;
}

bool Relay::send(const QByteArray &frame, Client *to)
{
    if (to->link->queuedBytesOf(to->number) + frame.size() > queueLimit) {
        ++count.dropped;
        return false;
    }
    to->link->writeTo(to->number, frame);
    return true;
}

void Relay::sendHeartbeat(Client *to)
{
    send(heartbeatFrame(kind, &to->sent), to);
}
