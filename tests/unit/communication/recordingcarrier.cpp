// SPDX-License-Identifier: MIT
#include "communication/recordingcarrier.h"

#include <QTimerEvent>

#include <algorithm>
#include <utility>

namespace {

constexpr int ChunkSize = 88;

QByteArray littleEndian(quint64 value, int size)
{
    QByteArray bytes;
    for (int i = 0; i < size; ++i)
        bytes.append(static_cast<char>(value >> (8 * i)));
    return bytes;
}

quint16 crcOf(const QByteArray &bytes)
{
    unsigned int crc = 0xFFFF;
    for (const char byte : bytes) {
        crc ^= static_cast<quint8>(byte);
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 1U) != 0 ? (crc >> 1) ^ 0x8408U : crc >> 1;
    }
    return static_cast<quint16>(crc);
}

} // namespace

RecordingCarrier::RecordingCarrier(int periodMs)
    : FragmentedCommunicator(periodMs)
{}

void RecordingCarrier::sendFragment(QByteArray frame)
{
    {
        const QMutexLocker lock(&framesMutex);
        frames.append(frame);
    }
    if (onFrame)
        onFrame(frame);
}

QList<QAbstractEventDispatcher::TimerInfo> RecordingCarrier::timers() const
{
    auto running =
        QAbstractEventDispatcher::instance()->registeredTimers(const_cast<RecordingCarrier *>(this));
    std::sort(running.begin(), running.end(),
              [](const auto &a, const auto &b) { return a.interval < b.interval; });
    return running;
}

void RecordingCarrier::tick()
{
    fire(timers().at(0).timerId);
}

void RecordingCarrier::dropTick()
{
    fire(timers().at(1).timerId);
}

void RecordingCarrier::fire(int timerId)
{
    QTimerEvent event(timerId);
    timerEvent(&event);
}

void RecordingCarrier::timerEvent(QTimerEvent *event)
{
    FragmentedCommunicator::timerEvent(event);
    if (onTimer)
        onTimer(event->timerId());
}

QList<QByteArray> RecordingCarrier::take()
{
    const QMutexLocker lock(&framesMutex);
    return std::exchange(frames, {});
}

CompletePayload payloadOf(int payloadId, int size, quint16 id, int messageId)
{
    QByteArray data(size, '\0');
    for (int i = 0; i < size; ++i)
        data[i] = static_cast<char>(i * 7 + i / 251 + id);
    return {id, MessageId(messageId), PayloadId(payloadId), data};
}

QByteArray onboardFrame(int type, const QByteArray &body)
{
    const QByteArray summed = littleEndian(quint64(type), 1) + littleEndian(quint64(body.size()), 1) + body;
    return summed + littleEndian(crcOf(summed), 2);
}

QList<QByteArray> onboardFrames(const CompletePayload &payload, int type)
{
    QList<QByteArray> frames;
    for (int offset = 0; offset < payload.data.size(); offset += ChunkSize)
        frames.append(onboardFrame(
            type, littleEndian(quint64(payload.data.size()), 2) + littleEndian(payload.id, 2) +
                      littleEndian(quint64(offset), 2) + littleEndian(quint64(payload.messageId), 1) +
                      littleEndian(quint64(payload.payloadId), 1) + payload.data.mid(offset, ChunkSize)));
    return frames;
}

QByteArray pingBody(qint64 timestamp, const QByteArray &version)
{
    return littleEndian(quint64(timestamp), 8) + version;
}
