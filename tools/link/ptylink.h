// SPDX-License-Identifier: MIT
#pragma once

#include "common/linkaddress.h"
#include "link/link.h"
#include "link/pseudoterminal.h"

#include <QTimer>

class QSocketNotifier;

/// A pseudo-terminal that programs open like a serial device. All who have it open together are one client:
/// the bytes go to whoever reads them.
///
/// A client has joined 100 ms after opening: serial libraries throw away, shortly after opening a port, what
/// has come by then. What the client sends in that time is read afterwards.
class PtyLink : public Link
{
    Q_OBJECT

public:
    explicit PtyLink(const LinkAddress &where);
    ~PtyLink() override;

    bool open(QString *error) override;
    QString address() const override;
    void write(const QByteArray &bytes) override;
    qint64 queuedBytes() const override { return queue.size(); }
    void finish() override;

private:
    void onClientEvent();
    void join();
    void leave();
    bool readInput();
    void writeQueue();
    void checkFinished();

    const LinkAddress where;
    PseudoTerminal terminal;
    QSocketNotifier *clientNotifier = nullptr;
    QSocketNotifier *readNotifier = nullptr;
    QSocketNotifier *writeNotifier = nullptr;
    QTimer joining;
    QTimer finishing; // nothing tells when the client has read its last byte: it has to be looked at
    QByteArray queue;
    bool joined = false;
    bool seenAllRead = false;
};
