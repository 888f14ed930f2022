// SPDX-License-Identifier: MIT
#include "ground/fragmentsender.h"

#include "communication/onboardmessage.h"

#include <cstring>

namespace {

constexpr unsigned int MaxBodySize = 96;

QByteArray frameOf(const PayloadMessage &fragment)
{
    QByteArray body;
    QDataStream stream(&body, QIODevice::WriteOnly);
    stream.setByteOrder(QDataStream::LittleEndian);
    stream << fragment;
    OnboardMessage frame(OnboardData, static_cast<unsigned char>(body.size()));
    std::memcpy(frame.data, body.constData(), static_cast<size_t>(body.size()));
    return frame.toByteArray();
}

} // namespace

QVector<QByteArray> FragmentSender::framesOf(const CompletePayload &payload)
{
    QVector<QByteArray> frames;
    const QVector<PayloadMessage> fragments = PayloadMessage::splitDataBlock(payload, MaxBodySize);
    frames.reserve(fragments.size());
    for (const PayloadMessage &fragment : fragments)
        frames.append(frameOf(fragment));
    return frames;
}

FragmentSender::FragmentSender(PacedSender *pacedSender, const CompletePayload &payload)
    : sender(pacedSender)
    , frames(framesOf(payload))
{
    connect(sender, &PacedSender::frameLeft, this, &FragmentSender::onFrameLeft);
    connect(sender, &PacedSender::idle, this, &FragmentSender::onIdle);
}

bool FragmentSender::start()
{
    for (const QByteArray &frame : frames) {
        if (!sender->send(frame))
            return false;
    }
    return true;
}

void FragmentSender::onFrameLeft(const QByteArray &frame)
{
    if (left >= frames.size() || frame != frames[left])
        return;
    if (left == 0)
        begin = Clock::now();
    ++left;
}

void FragmentSender::onIdle()
{
    if (finished || left < frames.size())
        return;
    finished = true;
    end = Clock::now();
    Q_EMIT done();
}
