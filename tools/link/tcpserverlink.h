// SPDX-License-Identifier: MIT
#pragma once

#include "common/linkaddress.h"
#include "link/link.h"

#include <QTcpServer>
#include <QTimer>
#include <QVector>

class QTcpSocket;

/// A TCP server; each client gets all bytes from the moment it has connected. A client that goes away is
/// forgotten, together with what was queued for it.
class TcpServerLink : public Link
{
    Q_OBJECT

public:
    explicit TcpServerLink(const LinkAddress &where);

    bool open(QString *error) override;
    QString address() const override;
    void write(const QByteArray &bytes) override;
    qint64 queuedBytes() const override;
    void writeTo(int client, const QByteArray &bytes) override;
    qint64 queuedBytesOf(int client) const override;
    void finish() override;

private:
    struct Client
    {
        int number;
        QTcpSocket *socket;
        bool endSent = false;
    };

    void acceptClients();
    void addClient(QTcpSocket *socket);
    void removeClient(QTcpSocket *socket);
    QTcpSocket *findClient(int number) const;
    void closeServedClients();
    static bool isServed(Client &client);

    LinkAddress where;
    QTcpServer server;
    QTimer
        finishing; // nothing tells when the far system has acknowledged the last byte: it has to be looked at
    QVector<Client> clients;
    int nextNumber = 0;
};
