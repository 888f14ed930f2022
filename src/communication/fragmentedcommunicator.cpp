// SPDX-License-Identifier: MIT
#include "communication/fragmentedcommunicator.h"

#include "communication/onboardmessagedispatcher.h"

#include <QDateTime>
#include <QThread>
#include <QTimerEvent>

#include <cstring>

namespace {

constexpr int DropQueuePeriodMs = 5000;
constexpr unsigned int MaxBodySize = 96;
constexpr quint8 ProtocolMajor = 0;
constexpr quint8 ProtocolMinor = 2;

bool isUrgent(const CompletePayload &payload)
{
    switch (static_cast<quint8>(payload.payloadId)) {
    case 4:
    case 251:
    case 253:
    case 254:
        return true;
    case 1:
        return payload.messageId == MessageId{0};
    default:
        return false;
    }
}

/// Serialises a value, which takes all of the body, little-endian.
template <class... Values>
void fillBody(OnboardMessage &frame, const Values &...values)
{
    QByteArray body;
    body.reserve(frame.length);
    QDataStream stream(&body, QIODevice::WriteOnly);
    stream.setByteOrder(QDataStream::LittleEndian);
    (stream << ... << values);
    std::memcpy(frame.data, body.constData(), frame.length);
    frame.calcCrc();
}

} // namespace

/// Holds the mutex, and remembers for whom: what a send causes on the same thread must not wait for it.
/// There, a second lock changes nothing.
class FragmentedCommunicator::SendLock
{
public:
    explicit SendLock(FragmentedCommunicator *communicator)
        : owner(communicator->isSendingOnThisThread() ? nullptr : communicator)
    {
        if (!owner)
            return;
        owner->mutex.lock();
        owner->sender = QThread::currentThreadId();
    }
    ~SendLock()
    {
        if (!owner)
            return;
        owner->sender = nullptr;
        owner->mutex.unlock();
    }
    SendLock(const SendLock &) = delete;
    SendLock &operator=(const SendLock &) = delete;

private:
    FragmentedCommunicator *owner; // null: this thread holds the mutex already
};

FragmentedCommunicator::FragmentedCommunicator(int periodMs, QObject *parent)
    : ICommunicator(parent)
    , dispatcher(new OnboardMessageDispatcher(this))
    , telemetryPeriodMs(periodMs)
{}

FragmentedCommunicator::~FragmentedCommunicator()
{
    FragmentedCommunicator::stop();
}

void FragmentedCommunicator::start()
{
    if (telemetryTimerId == -1)
        startTelemetryTimer();
    if (dropQueueTimerId == -1)
        startDropQueueTimer();
}

void FragmentedCommunicator::stop()
{
    const SendLock lock(this);
    stopTelemetryTimer();
    stopDropQueueTimer();
    queue.clear();
}

void FragmentedCommunicator::startTelemetryTimer()
{
    stopTelemetryTimer();
    telemetryTimerId = startTimer(telemetryPeriodMs, Qt::CoarseTimer);
}

void FragmentedCommunicator::stopTelemetryTimer()
{
    if (telemetryTimerId != -1)
        killTimer(telemetryTimerId);
    telemetryTimerId = -1;
}

void FragmentedCommunicator::startDropQueueTimer()
{
    stopDropQueueTimer();
    dropQueueTimerId = startTimer(DropQueuePeriodMs, Qt::CoarseTimer);
}

void FragmentedCommunicator::stopDropQueueTimer()
{
    if (dropQueueTimerId != -1)
        killTimer(dropQueueTimerId);
    dropQueueTimerId = -1;
}

void FragmentedCommunicator::timerEvent(QTimerEvent *event)
{
    if (event->timerId() == telemetryTimerId)
        sendOldest();
    else if (event->timerId() == dropQueueTimerId)
        dropQueue();
}

// A host may turn the event loop in a handler that a send has called: such a tick waits for the next one.
void FragmentedCommunicator::sendOldest()
{
    if (isSendingOnThisThread())
        return;
    const SendLock lock(this);
    if (!queue.isEmpty())
        sendWithDeferred(queue.takeFirst());
}

void FragmentedCommunicator::dropQueue()
{
    const SendLock lock(this);
    queue.clear();
}

void FragmentedCommunicator::sendData(const CompletePayload &payload)
{
    if (isSendingOnThisThread()) {
        (isUrgent(payload) ? deferred : queue).append(payload);
        return;
    }
    const SendLock lock(this);
    if (isUrgent(payload))
        sendWithDeferred(payload);
    else
        queue.append(payload);
}

bool FragmentedCommunicator::isSendingOnThisThread() const
{
    return sender == QThread::currentThreadId();
}

void FragmentedCommunicator::sendWithDeferred(const CompletePayload &payload)
{
    fragmentAndSendMessage(payload);
    while (!deferred.isEmpty())
        fragmentAndSendMessage(deferred.takeFirst());
}

void FragmentedCommunicator::fragmentAndSendMessage(const CompletePayload &payload)
{
    const QVector<PayloadMessage> fragments = PayloadMessage::splitDataBlock(payload, MaxBodySize);
    for (const PayloadMessage &fragment : fragments) {
        const int size = PayloadMessageHeader::wireSize + fragment.data.size();
        OnboardMessage frame(OnboardTelemetry, static_cast<quint8>(size));
        fillBody(frame, fragment);
        sendFragment(frame);
    }
}

void FragmentedCommunicator::sendPong(qint64 timestamp)
{
    OnboardMessage frame(OnboardPong, sizeof timestamp + sizeof ProtocolMajor + sizeof ProtocolMinor);
    fillBody(frame, timestamp, ProtocolMajor, ProtocolMinor);
    sendFragment(frame);
}

void FragmentedCommunicator::sendFragment(OnboardMessage &frame)
{
    sendFragment(frame.toByteArray());
}

void FragmentedCommunicator::parseIncomingData(const QByteArray &bytes)
{
    const OnboardMessage frame(bytes);
    const auto ping = [this](OnboardMessageId type, qint64 timestamp) { onPing(type, timestamp); };
    const auto payload = [this](OnboardMessageId type, const CompletePayload &complete) {
        onPayload(type, complete);
    };
    if (!frame.valid || !dispatcher->handle(frame, ping, payload))
        warningLine(*this) << "Received invalid message";
}

void FragmentedCommunicator::onPing(OnboardMessageId type, qint64 timestamp)
{
    if (type == OnboardPong) {
        info() << "Pong Message received";
        return;
    }
    if (firstPing)
        logFirstPing(timestamp);
    firstPing = false;
    sendPong(timestamp);
}

void FragmentedCommunicator::logFirstPing(qint64 timestamp)
{
    info() << "Ping message: timestamp = " << timestamp;
    info() << "Date-time: "
           << QDateTime::fromMSecsSinceEpoch(timestamp).toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"));
    info() << QStringLiteral("Protocol version on Kelm Tervon: %1.%2").arg(ProtocolMajor).arg(ProtocolMinor);
}

void FragmentedCommunicator::onPayload(OnboardMessageId type, const CompletePayload &payload)
{
    if (type == OnboardTelemetry)
        info() << "Telemetry Message received";
    else
        Q_EMIT receivedData(payload);
}
