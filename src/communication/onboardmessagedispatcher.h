// SPDX-License-Identifier: MIT
#pragma once

#include "app/logged.h"
#include "communication/onboardmessage.h"
#include "communication/payloadmessage.h"

#include <QMap>
#include <QObject>
#include <QSharedPointer>

#include <functional>

/// One payload under reassembly.
struct PayloadMessageGroup
{
    QMap<quint16, QByteArray> chunks; ///< Data by offset.
    qint32 received = 0;              ///< Sum of the sizes of the chunks, bytes.
    PayloadMessageHeader header;      ///< Of the fragment that opened the group.
};

/// Puts fragments together again and tells the kinds of received frames apart.
///
/// At most 20 payloads are under reassembly at a time; that cap is the only way in which an unfinished one is
/// ever given up, there is no time-out. So the memory is bounded: 20 times 65535 bytes, with what it takes to
/// keep chunks; in chunks of a byte each, the worst case, that is 126 MB on a 64-bit machine.
///
/// No lock: used from the thread that parses incoming frames. Owned by its communicator.
class NOFLAILSTEN_EXPORT OnboardMessageDispatcher : public QObject, public Logged
{
    Q_OBJECT

public:
    /// A ping or a pong has come in, with its timestamp: milliseconds since 1970-01-01 UTC.
    using PingHandler = std::function<void(OnboardMessageId type, qint64 timestamp)>;
    /// A payload is complete; the type is that of the frame that completed it.
    using PayloadHandler = std::function<void(OnboardMessageId type, const CompletePayload &payload)>;

    explicit OnboardMessageDispatcher(QObject *parent = nullptr);

    QString id() const override;

    /// Takes a fragment in any order.
    ///
    /// A fragment that contradicts its payload (another total or kind, more data than is missing, an offset
    /// that is there already) is rejected, and what there is of the payload goes with it. A first fragment
    /// with more data than its total opens a payload without its data. With 20 payloads open, a new one
    /// pushes out the one with the smallest id.
    /// @return the payload when this fragment completes it, otherwise null. Chunks that overlap never
    /// complete.
    QSharedPointer<CompletePayload> putMessage(const PayloadMessage &fragment);

    /// A payload to send, with the next id of this object: 0, 1, … 65535, 0 …
    CompletePayload createCompletePayload(MessageId messageId, PayloadId payloadId, const QByteArray &data);

    /// Classifies a valid frame by its type and calls at most one of the two. Types not in use do nothing.
    /// The first ping or pong in the process logs the version of the other side's protocol.
    /// @return false, without a call, if the body is too short for its type.
    [[nodiscard]] bool handle(const OnboardMessage &frame, const PingHandler &onPing,
                              const PayloadHandler &onPayload);

private:
    using Groups = QMap<quint16, PayloadMessageGroup>; // by payload id

    bool handlePing(const OnboardMessage &frame, const PingHandler &onPing) const;
    bool handleFragment(const OnboardMessage &frame, const PayloadHandler &onPayload);
    static bool addToGroup(PayloadMessageGroup &group, const PayloadMessage &fragment);
    Groups::iterator openGroup(const PayloadMessage &fragment);
    QSharedPointer<CompletePayload> takeIfComplete(Groups::iterator group);

    quint16 nextId = 0;
    Groups groups;
};
