// SPDX-License-Identifier: MIT
#include "link/ptylink.h"

#include <QSocketNotifier>

#include <unistd.h>

PtyLink::PtyLink(const LinkAddress &address)
    : where(address)
{
    joining.setSingleShot(true);
    joining.setInterval(std::chrono::milliseconds(100));
    connect(&joining, &QTimer::timeout, this, &PtyLink::join);
    finishing.setInterval(std::chrono::milliseconds(10));
    connect(&finishing, &QTimer::timeout, this, &PtyLink::checkFinished);
}

PtyLink::~PtyLink()
{
    // Before the descriptors that they watch.
    delete clientNotifier;
    delete readNotifier;
    delete writeNotifier;
}

bool PtyLink::open(QString *error)
{
    if (!terminal.open(where.path, error))
        return false;
    clientNotifier = new QSocketNotifier(terminal.eventsDescriptor(), QSocketNotifier::Read, this);
    connect(clientNotifier, &QSocketNotifier::activated, this, &PtyLink::onClientEvent);
    readNotifier = new QSocketNotifier(terminal.descriptor(), QSocketNotifier::Read, this);
    connect(readNotifier, &QSocketNotifier::activated, this, &PtyLink::readInput);
    writeNotifier = new QSocketNotifier(terminal.descriptor(), QSocketNotifier::Write, this);
    writeNotifier->setEnabled(false);
    connect(writeNotifier, &QSocketNotifier::activated, this, &PtyLink::writeQueue);
    return true;
}

QString PtyLink::address() const
{
    return where.toString();
}

void PtyLink::write(const QByteArray &bytes)
{
    if (!joined)
        return;
    queue += bytes;
    writeNotifier->setEnabled(true);
}

void PtyLink::finish()
{
    joining.stop();
    readNotifier->setEnabled(true);
    finishing.start();
}

void PtyLink::onClientEvent()
{
    const bool present = terminal.countClients() > 0;
    if (present && !joined && !joining.isActive() && !finishing.isActive()) {
        joining.start();
        readNotifier->setEnabled(false);
    }
    if (!present)
        leave();
}

void PtyLink::join()
{
    joined = true;
    readNotifier->setEnabled(true);
    Q_EMIT clientJoined(0);
}

void PtyLink::leave()
{
    joining.stop();
    while (readInput()) { // its last words
    }
    readNotifier->setEnabled(true);
    queue.clear();
    writeNotifier->setEnabled(false);
    terminal.clean();
    if (!joined)
        return;
    joined = false;
    Q_EMIT clientLeft(0);
    Q_EMIT drained();
}

// A part at a time: a client that sends without end must not keep the event loop from everything else.
bool PtyLink::readInput()
{
    char bytes[4096];
    const ssize_t size = ::read(terminal.descriptor(), bytes, sizeof bytes);
    if (size > 0 && joined)
        Q_EMIT received(QByteArray(bytes, static_cast<int>(size)), 0);
    return size > 0;
}

void PtyLink::writeQueue()
{
    const ssize_t written =
        ::write(terminal.descriptor(), queue.constData(), static_cast<size_t>(queue.size()));
    if (written > 0)
        queue.remove(0, static_cast<int>(written));
    writeNotifier->setEnabled(!queue.isEmpty());
    Q_EMIT drained();
}

// The kernel may be just about to hand on more to a reader that has taken all it saw, so one look is not
// enough.
void PtyLink::checkFinished()
{
    const bool allRead = !joined || (queue.isEmpty() && !terminal.hasUnread());
    const bool sure = allRead && (seenAllRead || !joined);
    seenAllRead = allRead;
    if (!sure)
        return;
    finishing.stop();
    Q_EMIT finished();
}
