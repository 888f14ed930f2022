// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>

class TcpConnection;

/// The other end of a TcpConnection: a server on the loopback that takes one client at a time.
///
/// It uses plain sockets, as these act when they are told to and not when an event loop turns: a test decides
/// what is on the wire at the moment of a send. Failing system calls end the program. write() and read() may
/// be called on threads of their own.
class LoopbackPeer
{
public:
    enum class Manner { Serves, Refuses };

    explicit LoopbackPeer(Manner manner = Manner::Serves);
    ~LoopbackPeer();
    LoopbackPeer(const LoopbackPeer &) = delete;
    LoopbackPeer &operator=(const LoopbackPeer &) = delete;

    int port() const { return portNumber; }
    /// Opens the connection to this server, without long waits in its close(), and takes the client.
    bool serve(TcpConnection &connection);
    /// Takes the next client in.
    void accept();
    /// From here on, clients get no answer.
    void ignoreClients();
    /// Writes all of it, waiting for room.
    void write(const QByteArray &bytes);
    /// Reads exactly that many bytes; fewer at the end of the stream, or if none come for half a minute.
    QByteArray read(int count);
    /// True if the client has closed and nothing is left to read.
    bool atEnd() { return read(1).isEmpty(); }
    /// Ends the stream to the client.
    void close();
    /// Closes such that the client's next write fails.
    void reset();

private:
    int server = -1;
    int client = -1;
    int crowd = -1; // a client that fills the queue
    int portNumber = 0;
};

/// Blocks until that many bytes wait in the kernel for a connection's socket.
void waitForBytes(const TcpConnection &connection, int count);
/// Blocks until the kernel knows that the peer has closed or reset the connection.
void waitForHangup(const TcpConnection &connection);
