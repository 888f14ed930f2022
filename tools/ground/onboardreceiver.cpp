// SPDX-License-Identifier: MIT
#include "ground/onboardreceiver.h"

namespace {

// Longer than the gap between two fragments of one payload on the slowest of lines.
constexpr std::chrono::seconds Patience(2);

PayloadMessage fragmentIn(const OnboardMessage &frame)
{
    QDataStream stream(QByteArray(reinterpret_cast<const char *>(frame.data), frame.length));
    stream.setByteOrder(QDataStream::LittleEndian);
    PayloadMessage fragment;
    stream >> fragment;
    return fragment;
}

} // namespace

OnboardReceiver::OnboardReceiver()
    : open(Patience)
{}

void OnboardReceiver::takeFrame(const QByteArray &bytes)
{
    const OnboardMessage frame(bytes);
    bool good = frame.valid;
    if (good && frame.type == OnboardPong)
        good = handlePong(frame);
    else if (good && frame.type == OnboardTelemetry)
        good = handleFragment(frame);
    if (!good)
        ++malformed;
}

// Not the dispatcher's: that one keeps the version to itself.
bool OnboardReceiver::handlePong(const OnboardMessage &frame)
{
    const std::optional<PingBody> body = PingBody::read(frame);
    if (body)
        Q_EMIT pong(*body);
    return body.has_value();
}

bool OnboardReceiver::handleFragment(const OnboardMessage &frame)
{
    if (frame.length >= PayloadMessageHeader::wireSize)
        open.onFragment(fragmentIn(frame));
    const auto onPayload = [this](OnboardMessageId, const CompletePayload &whole) {
        open.onComplete(whole.id);
        Q_EMIT payload(whole);
    };
    return dispatcher.handle(frame, {}, onPayload);
}
