// SPDX-License-Identifier: MIT
#include "sim/relay.h"

#include "link/link.h"
#include "sim/relayrules.h"

#include <algorithm>
#include <utility>

struct Relay::Client
{
    Link *link;
    int number;
    bool forwarding;
    int id;
    ForwardingBuffer buffer;
    LinkFaults faults;
    FrameParser parser = {};
    HeardSources heard = {};
    mavlink::mavlink_status_t sent = {};
    int framesSent = 0;
};

Relay::Relay(AutopilotKind autopilot, const LinkFaults::Settings &faults, TimeSource timeSource)
    : kind(autopilot)
    , now(std::move(timeSource))
    , start(now())
{
    lateTimer.setInterval(std::chrono::milliseconds(2));
    lateTimer.setTimerType(Qt::PreciseTimer);
    connect(&lateTimer, &QTimer::timeout, this, &Relay::deliverLate);
    setFaults(faults);
    roundTimer.setInterval(ForwardingBuffer::roundPeriod);
    roundTimer.setTimerType(Qt::PreciseTimer);
    connect(&roundTimer, &QTimer::timeout, this, &Relay::runRound);
    if (kind == AutopilotKind::Px4)
        roundTimer.start();
}

Relay::~Relay() = default;

void Relay::setFaults(const LinkFaults::Settings &faults)
{
    faultSettings = faults;
    for (const auto &client : clients)
        client->faults.change(faults);
    if (faultSettings.any())
        lateTimer.start(); // for good: something may be on its way when the trouble is over
}

void Relay::stall(SimTime length)
{
    LinkFaults::Settings faults = faultSettings;
    faults.stallBegin = sinceStart();
    faults.stallLength = length;
    setFaults(faults);
}

ForwardingBuffer::Time Relay::steadyTime()
{
    return std::chrono::steady_clock::now().time_since_epoch();
}

void Relay::addLink(Link *link, bool forwarding)
{
    const int index = links++;
    connect(link, &Link::clientJoined, this,
            [this, link, index, forwarding](int number) { join(link, number, index, forwarding); });
    connect(link, &Link::clientLeft, this, [this, link](int number) { leave(link, number); });
    connect(link, &Link::received, this,
            [this, link](const QByteArray &bytes, int number) { receive(bytes, link, number); });
}

void Relay::send(const OutgoingMessage &message, int client)
{
    if (Client *to = findById(client))
        write(encode(message, to), to);
}

void Relay::sendToAll(const OutgoingMessage &message)
{
    for (const auto &client : clients)
        write(encode(message, client.get()), client.get());
}

void Relay::sendBytes(const QByteArray &bytes, int client)
{
    if (Client *to = findById(client))
        write(bytes, to);
}

void Relay::runRound()
{
    for (const auto &client : clients) {
        const QVector<QByteArray> frames = client->buffer.takeRound(now());
        for (const QByteArray &frame : frames)
            sendRelayed(frame, client.get());
    }
}

void Relay::join(Link *link, int number, int linkIndex, bool forwarding)
{
    const int id = nextId++;
    clients.push_back(std::make_unique<Client>(
        Client{link, number, forwarding, id, ForwardingBuffer(now()), LinkFaults(faultSettings, id)}));
    Q_EMIT clientJoined(id, linkIndex);
}

void Relay::leave(const Link *link, int number)
{
    const Client *client = find(link, number);
    if (!client)
        return;
    const int id = client->id;
    const auto isIt = [=](const auto &one) { return one->id == id; };
    clients.erase(std::remove_if(clients.begin(), clients.end(), isIt), clients.end());
    Q_EMIT clientLeft(id);
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
        Q_EMIT received(frame.message, from->id);
    }
}

Relay::Client *Relay::find(const Link *link, int number) const
{
    const auto isIt = [=](const auto &client) { return client->link == link && client->number == number; };
    const auto found = std::find_if(clients.begin(), clients.end(), isIt);
    return found != clients.end() ? found->get() : nullptr;
}

Relay::Client *Relay::findById(int client) const
{
    const auto isIt = [=](const auto &one) { return one->id == client; };
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
    if (write(frame, to))
        ++count.relayed;
}

// Two threads of a real PX4 write to a link, and now and then a frame overtakes the one before.
QByteArray Relay::encode(const OutgoingMessage &message, Client *to) const
{
    const int sent = ++to->framesSent;
    const int place = sent % framesPerSwap;
    int shift = 0;
    if (kind == AutopilotKind::Px4 && sent >= framesPerSwap && place <= 1)
        shift = place == 0 ? 1 : -1;
    to->sent.current_tx_seq = static_cast<uint8_t>(to->sent.current_tx_seq + shift);
    QByteArray frame = message.toFrame(&to->sent);
    to->sent.current_tx_seq = static_cast<uint8_t>(to->sent.current_tx_seq - shift);
    return frame;
}

bool Relay::write(const QByteArray &bytes, Client *to)
{
    if (to->faults.isIdle())
        return writeOut(bytes, to);
    if (!to->faults.send(bytes, sinceStart())) {
        ++count.dropped;
        return false;
    }
    return deliver(to);
}

void Relay::deliverLate()
{
    for (const auto &client : clients)
        deliver(client.get());
}

bool Relay::deliver(Client *to)
{
    bool all = true;
    const QVector<QByteArray> arrived = to->faults.takeArrived(sinceStart());
    for (const QByteArray &bytes : arrived)
        all = writeOut(bytes, to) && all;
    return all;
}

bool Relay::writeOut(const QByteArray &bytes, Client *to)
{
    if (to->link->queuedBytesOf(to->number) + bytes.size() > queueLimit) {
        ++count.dropped;
        return false;
    }
    to->link->writeTo(to->number, bytes);
    return true;
}

SimTime Relay::sinceStart() const
{
    return std::chrono::duration_cast<SimTime>(now() - start);
}
