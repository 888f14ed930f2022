// SPDX-License-Identifier: MIT
#pragma once

#include "communication/payloadmessage.h"

#include <QMap>
#include <QObject>
#include <QTimer>

#include <chrono>

/// Watches over payloads of which some fragments have come, and tells those that will not become whole: the
/// protocol itself never gives one up.
///
/// At most 64 are watched; one more makes the oldest count as given up.
class OpenPayloads : public QObject
{
    Q_OBJECT

public:
    static constexpr int limit = 64;

    struct Part
    {
        PayloadMessageHeader header; ///< Of the fragment that came first.
        qint64 received = 0;         ///< Bytes of data, those that came twice too.
    };

    /// @param patience how long after its last fragment a payload is given up.
    explicit OpenPayloads(std::chrono::milliseconds patience);

    void onFragment(const PayloadMessage &fragment);
    void onComplete(quint16 payloadId);
    /// Gives up all there are.
    void giveUpAll();

Q_SIGNALS:
    /// Once for each payload, with what has come of it.
    void givenUp(const OpenPayloads::Part &part);

private:
    using Clock = std::chrono::steady_clock;

    struct Entry
    {
        Part part;
        Clock::time_point lastFragment;
    };

    void giveUpOverdue();
    void giveUpOldest();

    const std::chrono::milliseconds patience;
    QMap<quint16, Entry> entries; // by payload id
    QTimer looking;
};
