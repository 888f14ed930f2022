// SPDX-License-Identifier: MIT
#include "autopilot/messageoutlet.h"

#include <QCoreApplication>
#include <QEvent>
#include <QScopedValueRollback>

#include <utility>

MessageOutlet::MessageOutlet(Sender target, QObject *parent)
    : QObject(parent)
    , sender(std::move(target))
{}

void MessageOutlet::discard()
{
    QCoreApplication::removePostedEvents(this, QEvent::MetaCall);
}

void MessageOutlet::send(const mavlink::Message &message)
{
    if (std::exchange(posted, false)) {
        const QScopedValueRollback<bool> guard(delivering, true);
        sender(message);
    } else if (delivering) {
        // From inside the sending of a posted message: the rest of its payload may still be waiting.
        QMetaObject::invokeMethod(this, "send", Qt::QueuedConnection, Q_ARG(mavlink::Message, message));
    } else {
        QCoreApplication::sendPostedEvents(this, QEvent::MetaCall);
        sender(message);
    }
}

bool MessageOutlet::event(QEvent *event)
{
    posted = event->type() == QEvent::MetaCall;
    return QObject::event(event);
}
