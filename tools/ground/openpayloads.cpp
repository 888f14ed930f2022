// SPDX-License-Identifier: MIT
#include "ground/openpayloads.h"

#include <algorithm>

OpenPayloads::OpenPayloads(std::chrono::milliseconds wait)
    : patience(wait)
{
    looking.setInterval(patience / 4);
    connect(&looking, &QTimer::timeout, this, &OpenPayloads::giveUpOverdue);
}

void OpenPayloads::onFragment(const PayloadMessage &fragment)
{
    const quint16 id = fragment.header.id;
    if (!entries.contains(id)) {
        if (entries.size() >= limit)
            giveUpOldest();
        entries.insert(id, {{fragment.header, 0}, {}});
    }
    Entry &entry = entries[id];
    entry.part.received += fragment.data.size();
    entry.lastFragment = Clock::now();
    if (!looking.isActive())
        looking.start();
}

void OpenPayloads::onComplete(quint16 payloadId)
{
    entries.remove(payloadId);
}

void OpenPayloads::giveUpAll()
{
    while (!entries.isEmpty())
        giveUpOldest();
}

void OpenPayloads::giveUpOverdue()
{
    const Clock::time_point limitTime = Clock::now() - patience;
    const QList<quint16> ids = entries.keys();
    for (const quint16 id : ids) {
        if (entries[id].lastFragment <= limitTime)
            Q_EMIT givenUp(entries.take(id).part);
    }
    if (entries.isEmpty())
        looking.stop();
}

void OpenPayloads::giveUpOldest()
{
    const auto oldest =
        std::min_element(entries.cbegin(), entries.cend(),
                         [](const Entry &a, const Entry &b) { return a.lastFragment < b.lastFragment; });
    Q_EMIT givenUp(entries.take(oldest.key()).part);
}
