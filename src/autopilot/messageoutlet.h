// SPDX-License-Identifier: MIT
#pragma once

#include "mavlink/mavlink.h"

#include <QObject>

#include <functional>

/// Takes messages from any thread to the main thread, in the order in which they were sent.
///
/// A message from another thread waits as a posted event. One that is sent on the main thread meanwhile would
/// overtake it, and fall between the fragments of a payload; so what was posted before is delivered first.
///
/// What waits has no limit: threads that send faster than the link takes it fill the memory.
///
/// Connect to send() with an automatic connection. An object of its own, so that no other events of the
/// driver (a stop, say) are delivered from inside a send. Main thread; owned by the driver.
class NOFLAILSTEN_EXPORT MessageOutlet : public QObject
{
    Q_OBJECT

public:
    using Sender = std::function<void(const mavlink::Message &)>;

    MessageOutlet(Sender sender, QObject *parent);

    /// Forgets what has been posted and not been sent.
    void discard();

public Q_SLOTS:
    void send(const mavlink::Message &message);

protected:
    bool event(QEvent *event) override;

private:
    Sender sender;
    bool posted = false;     // the next send() is one that was posted
    bool delivering = false; // a posted message is on its way out
};
