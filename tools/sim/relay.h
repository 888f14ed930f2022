// SPDX-License-Identifier: MIT
#pragma once

#include "sim/autopilotkind.h"
#include "sim/forwardingbuffer.h"
#include "sim/frameparser.h"
#include "sim/heardsources.h"
#include "sim/linkfaults.h"
#include "sim/outbox.h"

#include <QObject>
#include <QTimer>

#include <functional>
#include <memory>
#include <vector>

class Link;

/// The autopilot's end of its links: brings its messages to its clients and theirs to it, and hands frames on
/// from one client to another, unchanged.
///
/// Every client is to the autopilot a link of its own, with a number, its own sequence numbers and with who
/// was heard there, which is forgotten when the client leaves.
///
/// Overflow rule: a frame for a client that has queueLimit bytes to take is dropped, and counted; the other
/// clients get it.
class Relay : public QObject, public Outbox
{
    Q_OBJECT

public:
    static constexpr qint64 queueLimit = 256LL * 1024;
    /// Of a PX4's own frames so many go to a client, and then two have each other's sequence number.
    static constexpr int framesPerSwap = 30'000;
    /// Monotonic time. Tests bring their own.
    using TimeSource = std::function<ForwardingBuffer::Time()>;

    struct Counters
    {
        qint64 relayed = 0; ///< Frames handed on, once for each client that got one.
        qint64 lost = 0;    ///< Frames that found a forwarding buffer full, as with a real PX4.
        qint64 dropped = 0; ///< Frames for a client that does not read.
        qint64 bad = 0;     ///< Frames that came with a wrong checksum or an unknown message.
    };

    /// The faults are those of every client's line, by our own time.
    explicit Relay(AutopilotKind autopilot, const LinkFaults::Settings &faults = {},
                   TimeSource timeSource = steadyTime);
    ~Relay() override;

    /// The link is not owned and outlives the relay. Links between which a PX4 hands on have forwarding
    /// switched on; to ArduPilot that makes no difference.
    void addLink(Link *link, bool forwarding);

    void send(const OutgoingMessage &message, int client) override;
    void sendToAll(const OutgoingMessage &message) override;
    void sendBytes(const QByteArray &bytes, int client) override;
    /// One round of a PX4's loop: sends what its forwarding buffers hold. Called every 7 ms by a timer.
    void runRound();
    const LinkFaults::Settings &faults() const { return faultSettings; }
    /// The faults of every client's line from now on.
    void setFaults(const LinkFaults::Settings &faults);
    /// The lines stand still from now on.
    void stall(SimTime length);

    /// Brings what is late to its clients. Called every 2 ms by a timer when the lines have faults.
    void deliverLate();

    const Counters &counters() const { return count; }

Q_SIGNALS:
    /// The link counts from 0 in the order in which links were added.
    void clientJoined(int client, int link);
    void clientLeft(int client);
    /// A good frame, whoever it is addressed to. It has been handed on by then.
    void received(const mavlink::mavlink_message_t &message, int client);

private:
    struct Client;

    static ForwardingBuffer::Time steadyTime();
    void join(Link *link, int number, int linkIndex, bool forwarding);
    void leave(const Link *link, int number);
    void receive(const QByteArray &bytes, const Link *link, int number);
    Client *find(const Link *link, int number) const;
    bool passes(const ReceivedFrame &frame, const Client &from, const Client &to) const;
    void handOn(const QByteArray &frame, Client *to);
    void sendRelayed(const QByteArray &frame, Client *to);
    QByteArray encode(const OutgoingMessage &message, Client *to) const;
    bool write(const QByteArray &bytes, Client *to);
    bool deliver(Client *to);
    bool writeOut(const QByteArray &bytes, Client *to);
    SimTime sinceStart() const;
    Client *findById(int client) const;

    const AutopilotKind kind;
    LinkFaults::Settings faultSettings;
    const TimeSource now;
    const ForwardingBuffer::Time start;
    std::vector<std::unique_ptr<Client>> clients;
    int links = 0;
    int nextId = 0;
    QTimer roundTimer;
    QTimer lateTimer;
    Counters count;
};
