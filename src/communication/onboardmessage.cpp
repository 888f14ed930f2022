// SPDX-License-Identifier: MIT
#include "communication/onboardmessage.h"

#include <cstring>

namespace {

constexpr int HeaderSize = 2;
constexpr int CrcSize = 2;
constexpr quint16 CrcStart = 0xFFFF;

} // namespace

OnboardMessage::OnboardMessage(unsigned char messageType, unsigned char bodyLength)
    : type(messageType)
    , length(bodyLength)
    , valid(true)
    , body(std::make_unique<unsigned char[]>(bodyLength))
{
    data = body.get();
    calcCrc();
}

OnboardMessage::OnboardMessage(const QByteArray &bytes)
{
    if (bytes.size() < HeaderSize)
        return;
    type = static_cast<quint8>(bytes[0]);
    length = static_cast<quint8>(bytes[1]);
    if (bytes.size() < HeaderSize + length)
        return;
    body = std::make_unique<unsigned char[]>(length);
    data = body.get();
    std::memcpy(data, bytes.constData() + HeaderSize, length);
    valid = true;
}

OnboardMessage::~OnboardMessage() = default;

void OnboardMessage::calcCrc()
{
    crc = CrcStart;
    const quint8 header[HeaderSize] = {type, length};
    updateCrc(header, HeaderSize);
    if (data)
        updateCrc(data, length);
}

// CRC-16/MCRF4XX: polynomial 0x1021 reflected, start 0xFFFF, no final XOR; the same sum as MAVLink's.
void OnboardMessage::updateCrc(const void *bytes, unsigned int size)
{
    const auto *byte = static_cast<const unsigned char *>(bytes);
    for (unsigned int i = 0; i < size; ++i) {
        unsigned int t = (crc & 0xFFU) ^ byte[i];
        t ^= (t << 4) & 0xFFU;
        crc = static_cast<quint16>((crc >> 8) ^ (t << 8) ^ (t << 3) ^ (t >> 4));
    }
}

QByteArray OnboardMessage::toByteArray()
{
    calcCrc();
    const int bodySize = data ? length : 0;
    QByteArray frame(HeaderSize + bodySize + CrcSize, Qt::Uninitialized);
    frame[0] = static_cast<char>(type);
    frame[1] = static_cast<char>(length);
    if (bodySize > 0)
        std::memcpy(frame.data() + HeaderSize, data, static_cast<size_t>(bodySize));
    frame[HeaderSize + bodySize] = static_cast<char>(crc & 0xFF);
    frame[HeaderSize + bodySize + 1] = static_cast<char>(crc >> 8);
    return frame;
}
