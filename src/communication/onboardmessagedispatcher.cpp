// SPDX-License-Identifier: MIT
#include "communication/onboardmessagedispatcher.h"

#include <atomic>
#include <optional>

namespace {

constexpr int MaxOpenGroups = 20;
constexpr int TimestampSize = 8;

QByteArray bodyOf(const OnboardMessage &frame)
{
    return QByteArray::fromRawData(reinterpret_cast<const char *>(frame.data), frame.length);
}

bool isSameKind(const PayloadMessageHeader &a, const PayloadMessageHeader &b)
{
    return a.total == b.total && a.messageId == b.messageId && a.payloadId == b.payloadId;
}

/// The chunks in a row; nothing if they leave a gap or overlap anywhere.
std::optional<QByteArray> assemble(const PayloadMessageGroup &group)
{
    QByteArray data;
    data.reserve(group.header.total);
    for (auto chunk = group.chunks.cbegin(); chunk != group.chunks.cend(); ++chunk) {
        if (data.size() != chunk.key())
            return std::nullopt;
        data += chunk.value();
    }
    return data;
}

} // namespace

OnboardMessageDispatcher::OnboardMessageDispatcher(QObject *parent)
    : QObject(parent)
{}

QString OnboardMessageDispatcher::id() const
{
    return QStringLiteral("DISPATCHER");
}

QSharedPointer<CompletePayload> OnboardMessageDispatcher::putMessage(const PayloadMessage &fragment)
{
    auto group = groups.find(fragment.header.id);
    if (group == groups.end()) {
        group = openGroup(fragment);
    } else if (!addToGroup(*group, fragment)) {
        groups.erase(group);
        return {};
    }
    return takeIfComplete(group);
}

bool OnboardMessageDispatcher::addToGroup(PayloadMessageGroup &group, const PayloadMessage &fragment)
{
    if (!isSameKind(group.header, fragment.header) ||
        fragment.data.size() > group.header.total - group.received)
        return false;
    const int before = group.chunks.size();
    group.chunks.insert(fragment.header.offset, fragment.data);
    group.received += fragment.data.size();
    return group.chunks.size() > before; // else the offset was there already
}

OnboardMessageDispatcher::Groups::iterator OnboardMessageDispatcher::openGroup(const PayloadMessage &fragment)
{
    while (groups.size() >= MaxOpenGroups)
        groups.erase(groups.begin());
    PayloadMessageGroup group;
    group.header = fragment.header;
    if (fragment.data.size() <= fragment.header.total) {
        group.chunks.insert(fragment.header.offset, fragment.data);
        group.received = fragment.data.size();
    }
    return groups.insert(fragment.header.id, group);
}

QSharedPointer<CompletePayload> OnboardMessageDispatcher::takeIfComplete(Groups::iterator group)
{
    if (group->received != group->header.total)
        return {};
    const std::optional<QByteArray> data = assemble(*group);
    if (!data || data->size() != group->header.total)
        return {};
    const PayloadMessageHeader header = group->header;
    groups.erase(group);
    return QSharedPointer<CompletePayload>::create(
        CompletePayload{header.id, header.messageId, header.payloadId, *data});
}

CompletePayload OnboardMessageDispatcher::createCompletePayload(MessageId messageId, PayloadId payloadId,
                                                                const QByteArray &data)
{
    return {nextId++, messageId, payloadId, data};
}

bool OnboardMessageDispatcher::handle(const OnboardMessage &frame, const PingHandler &onPing,
                                      const PayloadHandler &onPayload)
{
    switch (frame.type) {
    case OnboardTelemetry:
    case OnboardData:
        return handleFragment(frame, onPayload);
    case OnboardPing:
    case OnboardPong:
        return handlePing(frame, onPing);
    default:
        return true;
    }
}

bool OnboardMessageDispatcher::handleFragment(const OnboardMessage &frame, const PayloadHandler &onPayload)
{
    if (frame.length < PayloadMessageHeader::wireSize)
        return false;
    QDataStream stream(bodyOf(frame));
    stream.setByteOrder(QDataStream::LittleEndian);
    PayloadMessage fragment;
    stream >> fragment;
    if (const auto payload = putMessage(fragment))
        onPayload(static_cast<OnboardMessageId>(frame.type), *payload);
    return true;
}

bool OnboardMessageDispatcher::handlePing(const OnboardMessage &frame, const PingHandler &onPing) const
{
    if (frame.length < TimestampSize)
        return false;
    QDataStream stream(bodyOf(frame));
    stream.setByteOrder(QDataStream::LittleEndian);
    qint64 timestamp = 0;
    stream >> timestamp;
    // A version may be missing, or its minor alone; what is missing counts as in 0.1.
    quint8 major = 0;
    quint8 minor = 1;
    if (frame.length > TimestampSize)
        stream >> major;
    if (frame.length > TimestampSize + 1)
        stream >> minor;
    onPing(static_cast<OnboardMessageId>(frame.type), timestamp);
    static std::atomic_bool versionLogged{false};
    if (!versionLogged.exchange(true))
        info() << QStringLiteral("Protocol version received from Zor: %1.%2").arg(major).arg(minor);
    return true;
}
