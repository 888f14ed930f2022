// SPDX-License-Identifier: MIT
#pragma once

#include "sim/autopilotkind.h"
#include "sim/forwardingbuffer.h"
#include "sim/frameparser.h"
#include "sim/heardsources.h"

#include <QObject>
#include <QTimer>

#include <functional>
#include <memory>
#include <vector>

class Link;

/// The autopilot's end of its links: sends its heartbeat on each, and hands frames on from one to another,
/// unchanged.
///
/// Every client is to the autopilot a link of its own, with its own sequence numbers and with who was heard
/// there, which is forgotten when the client leaves.
///
/// Overflow rule: a frame for a client that has queueLimit bytes to take is dropped, and counted; the other
/// clients get it.
class Relay : public QObject
{
    Q_OBJECT

public:
    static constexpr qint64 queueLimit = 256LL * 1024;
    /// Monotonic time. Tests bring their own.
    using TimeSource = std::function<ForwardingBuffer::Time()>;

    struct Counters
    {
        qint64 relayed = 0; ///< Frames handed on, once for each client that got one.
        qint64 lost = 0;    ///< Frames that found a forwarding buffer full, as with a real PX4.
        qint64 dropped = 0; ///< Frames for a client that does not read.
        qint64 bad = 0;     ///< Frames that came with a wrong checksum or an unknown message.
    };

    explicit Relay(AutopilotKind autopilot, TimeSource timeSource = steadyTime);
    ~Relay() override;

    /// The link is not owned and outlives the relay. Links between which a PX4 hands on have forwarding
    /// switched on; to ArduPilot that makes no difference.
    void addLink(Link *link, bool forwarding);

    /// One heartbeat to every client. A client also gets one when it joins.
    void sendHeartbeats();
    /// One round of a PX4's loop: sends what its forwarding buffers hold. Called every 7 ms by a timer.
    void runRound();

    const Counters &counters() const { return count; }

private:
    struct Client;

    static ForwardingBuffer::Time steadyTime();
    void join(Link *link, int number, bool forwarding);
    void leave(const Link *link, int number);
    void receive(const QByteArray &bytes, const Link *link, int number);
    Client *find(const Link *link, int number) const;
    bool passes(const ReceivedFrame &frame, const Client &from, const Client &to) const;
    void handOn(const QByteArray &frame, Client *to);
    void sendRelayed(const QByteArray &frame, Client *to);
    bool send(const QByteArray &frame, Client *to);
    void sendHeartbeat(Client *to);

    const AutopilotKind kind;
    const TimeSource now;
    std::vector<std::unique_ptr<Client>> clients;
    QTimer roundTimer;
    Counters count;
};
