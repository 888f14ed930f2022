// SPDX-License-Identifier: MIT
#include "connection/inputdelivery.h"

#include "connection/iconnection.h"

#include <QCoreApplication>
#include <QEvent>
#include <QIODevice>

#include <utility>

InputDelivery::Hold::Hold(InputDelivery *held)
    : delivery(held)
{
    ++delivery->holds;
}

InputDelivery::Hold::~Hold()
{
    if (!delivery)
        return;
    --delivery->holds;
    delivery->take();
    if (!delivery->taken.isEmpty())
        delivery->deliverLater();
}

InputDelivery::InputDelivery(IConnection *owner, QIODevice *source)
    : QObject(owner)
    , connection(owner)
    , device(source)
{}

void InputDelivery::deliver()
{
    take();
    if (holds > 0)
        return; // the hold posts the delivery when it ends
    const QByteArray data = std::exchange(taken, QByteArray());
    const Hold hold(this);
    Q_EMIT connection->dataReceived(data);
}

void InputDelivery::collect()
{
    if (holds > 0)
        take();
}

void InputDelivery::drop()
{
    taken.clear();
}

void InputDelivery::customEvent(QEvent *)
{
    eventPosted = false;
    if (holds == 0 && !taken.isEmpty())
        deliver();
}

void InputDelivery::take()
{
    if (!device->isOpen() || device->bytesAvailable() == 0)
        return;
    if (taken.isEmpty())
        taken = device->readAll();
    else
        taken += device->readAll();
}

void InputDelivery::deliverLater()
{
    if (std::exchange(eventPosted, true))
        return;
    // Before whatever the same send has posted, a host's reaction to the peer's hanging up above all: it may
    // close us.
    QCoreApplication::postEvent(this, new QEvent(QEvent::User), Qt::HighEventPriority);
}
