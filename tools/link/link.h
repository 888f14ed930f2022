// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>

#include <memory>

struct LinkAddress;

/// One way out of a tool, with any number of clients at its far end. What clients send is always read, and
/// handed on as received().
///
/// A link queues what its clients have not taken yet and sets no limit itself: who writes looks at
/// queuedBytes() and waits for drained().
///
/// A client has a number while it is there. A link whose far end is always one client calls it 0.
class Link : public QObject
{
    Q_OBJECT

public:
    /// A link for the address, not yet open. A TCP address is that of a server.
    static std::unique_ptr<Link> create(const LinkAddress &address);

    /// Emits nothing yet. False when the link cannot be opened; then error says why and the link is closed.
    [[nodiscard]] virtual bool open(QString *error) = 0;
    /// The address as clients have to use it: with the port that was picked.
    virtual QString address() const = 0;
    /// Sends to all clients of this moment; without clients the bytes are lost.
    virtual void write(const QByteArray &bytes) = 0;
    /// Bytes that the slowest client has not taken from us.
    virtual qint64 queuedBytes() const = 0;
    /// The same for one client; one that has gone changes nothing, and has 0 bytes queued.
    virtual void writeTo(int client, const QByteArray &bytes);
    virtual qint64 queuedBytesOf(int client) const;
    /// Takes no more clients and waits, without a time limit, until those that there are have taken
    /// everything; then emits finished(), from the event loop.
    virtual void finish() = 0;

Q_SIGNALS:
    void clientJoined(int client);
    void clientLeft(int client);
    /// From a client that is there, in the order in which it sent them, between its clientJoined() and its
    /// clientLeft().
    void received(const QByteArray &bytes, int client);
    /// queuedBytes() may have become less.
    void drained();
    /// Once after finish(): no client is left that waits for bytes.
    void finished();
};
