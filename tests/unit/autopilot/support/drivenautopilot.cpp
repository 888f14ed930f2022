// SPDX-License-Identifier: MIT
#include "autopilot/support/drivenautopilot.h"

#include "autopilot/support/frames.h"
#include "connection/iconnection.h"

#include <QCoreApplication>
#include <QTimerEvent>

DrivenAutopilot::DrivenAutopilot()
{
    // Closing waits for the peer, which lives on the thread that waits.
    link()->setParameter(QStringLiteral("disconnecttimeout"), 0);
}

void DrivenAutopilot::fire(int timerId)
{
    Q_ASSERT(timerId != -1);
    QTimerEvent event(timerId);
    QCoreApplication::sendEvent(this, &event);
}

void DrivenAutopilot::feed(const char *hexFrame)
{
    dispatchReceivedData(QByteArray::fromHex(hexFrame));
}

void DrivenAutopilot::feed(const mavlink::Message &message)
{
    dispatchReceivedData(frameOf(message));
}

IConnection *DrivenAutopilot::link() const
{
    return findChild<IConnection *>();
}
