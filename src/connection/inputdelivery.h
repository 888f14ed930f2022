// SPDX-License-Identifier: MIT
#pragma once

#include "app/export.h"

#include <QByteArray>
#include <QObject>
#include <QPointer>

class IConnection;
class QIODevice;

/// Hands the bytes of a device on as IConnection::dataReceived(), in order, and never from inside a send or
/// from inside another delivery.
///
/// A device that waits for its bytes to be written also reads, and announces it; delivered there and then,
/// the input would arrive in the middle of whatever the sender holds, and an answer to it would be a wait
/// nested in a wait. So bytes noticed meanwhile are taken off the device and delivered by an event of their
/// own, even if the peer has closed by then. The event also serves bytes that arrived while a delivery was
/// being handled: the device does not announce those again.
///
/// Owned by its connection; main thread.
class NOFLAILSTEN_EXPORT InputDelivery final : public QObject
{
    Q_OBJECT

public:
    InputDelivery(IConnection *connection, QIODevice *device);

    /// Holds deliveries back for as long as it lives; put around a send.
    class Hold
    {
    public:
        explicit Hold(InputDelivery *delivery);
        ~Hold();
        Hold(const Hold &) = delete;
        Hold &operator=(const Hold &) = delete;

    private:
        QPointer<InputDelivery> delivery; // a send may end in the connection's destruction
    };

    /// Reads all that the device has and emits it together with what was held back; an empty array if there
    /// is nothing. While held, only takes the bytes.
    void deliver();
    /// While held, takes what the device has, so that it outlives the device; otherwise leaves it there.
    void collect();
    /// Forgets what was held back.
    void drop();

protected:
    void customEvent(QEvent *event) override;

private:
    void take();
    void deliverLater();

    IConnection *connection;
    QIODevice *device;
    QByteArray taken;
    int holds = 0;
    bool eventPosted = false;
};
