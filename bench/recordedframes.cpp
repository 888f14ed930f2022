// SPDX-License-Identifier: MIT
#include "recordedframes.h"

#include <QFile>

namespace {

constexpr int TimeSize = 8;
constexpr int OverheadV2 = 12;

// The recording holds unsigned MAVLink 2 frames only.
bool isHandled(const QByteArray &frame)
{
    const auto byte = [&frame](int i) { return static_cast<quint8>(frame[i]); };
    const int id = byte(7) | byte(8) << 8 | byte(9) << 16;
    const bool fromAutopilot = byte(5) == 1 && byte(6) == 1;
    return fromAutopilot && (id == 0 || id == 2 || id == 24 || id == 30 || id == 33 || id == 132);
}

RecordedFrames read()
{
    QFile file(QStringLiteral(NOFLAILSTEN_RECORDING));
    if (!file.open(QIODevice::ReadOnly))
        qFatal("cannot read %s", NOFLAILSTEN_RECORDING);
    const QByteArray log = file.readAll();
    RecordedFrames frames;
    for (int at = TimeSize; at + 1 < log.size();) {
        const QByteArray frame = log.mid(at, static_cast<quint8>(log[at + 1]) + OverheadV2);
        (isHandled(frame) ? frames.handled : frames.ignored) += frame;
        ++(isHandled(frame) ? frames.handledCount : frames.ignoredCount);
        at += frame.size() + TimeSize;
    }
    return frames;
}

} // namespace

const RecordedFrames &recordedFrames()
{
    static const RecordedFrames frames = read();
    return frames;
}
