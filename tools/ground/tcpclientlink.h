// SPDX-License-Identifier: MIT
#pragma once

#include "common/linkaddress.h"
#include "link/link.h"

#include <QTcpSocket>
#include <QTimer>

/// A connection to a TCP server, which is the link's only client, 0. Once it has gone it does not come back.
class TcpClientLink : public Link
{
    Q_OBJECT

public:
    explicit TcpClientLink(const LinkAddress &address);

    /// Starts to connect; clientJoined() or failed() follows from the event loop, within 5 s. Never false.
    bool open(QString *error) override;
    QString address() const override { return where.toString(); }
    void write(const QByteArray &bytes) override;
    qint64 queuedBytes() const override { return socket.bytesToWrite(); }
    void finish() override;

Q_SIGNALS:
    /// The server could not be reached. Once at most, and nothing else comes then.
    void failed(const QString &reason);

private:
    void onConnected();
    void onDisconnected();
    void onError();
    void fail(const QString &reason);
    void checkFinished();

    const LinkAddress where;
    QTcpSocket socket;
    QTimer connecting;
    QTimer
        finishing; // nothing tells when the far system has acknowledged the last byte: it has to be looked at
    bool joined = false;
    bool endSent = false;
};
