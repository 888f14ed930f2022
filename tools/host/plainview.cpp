// SPDX-License-Identifier: MIT
#include "host/plainview.h"

#include "host/valuewords.h"

#include <QCborMap>
#include <QDateTime>

namespace {

constexpr int StatePeriodMs = 1000;

QString stamped(const QString &line)
{
    return QTime::currentTime().toString(QStringLiteral("HH:mm:ss ")) + line;
}

} // namespace

PlainView::PlainView(const LatestValues &values)
    : table(values)
{
    timer.setInterval(StatePeriodMs);
    timer.start();
    QObject::connect(&timer, &QTimer::timeout, &timer, [this] { printState(); });
}

void PlainView::showSignal(const QString &name, const QCborValue &value)
{
    if (name == QLatin1String("textToGround"))
        print(stamped(QLatin1String("to the ground: ") +
                      value.toMap().value(QLatin1String("text")).toString()));
    else if (name == QLatin1String("communicator.receivedData"))
        print(stamped(QLatin1String("from the ground: ") + ValueWords::payload(value)));
}

// Errors stand on stderr already.
void PlainView::showEvent(const HostEvent &event)
{
    if (qstrcmp(event.name, "error") != 0)
        print(stamped(eventText(event)));
}

void PlainView::printState()
{
    const QString state = table.line();
    if (state.isEmpty() || state == lastState)
        return;
    lastState = state;
    print(stamped(state));
}
