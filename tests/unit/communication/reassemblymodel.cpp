// SPDX-License-Identifier: MIT
#include "communication/reassemblymodel.h"

#include <algorithm>

std::optional<QByteArray> ReassemblyModel::put(const PayloadMessage &fragment)
{
    const int id = fragment.header.id;
    if (open.count(id) != 0) {
        if (const char *reason = rejection(open[id], fragment)) {
            hit.insert(reason);
            open.erase(id);
            return std::nullopt;
        }
        hit.insert("stored in a group");
        open[id].kept.push_back(fragment);
    } else {
        begin(fragment);
    }
    return finish(id);
}

int ReassemblyModel::Group::received() const
{
    int sum = 0;
    for (const PayloadMessage &fragment : kept)
        sum += fragment.data.size();
    return sum;
}

const char *ReassemblyModel::rejection(const Group &group, const PayloadMessage &fragment)
{
    if (fragment.header.total != group.first.total)
        return "other total";
    if (fragment.header.messageId != group.first.messageId)
        return "other message id";
    if (fragment.header.payloadId != group.first.payloadId)
        return "other payload id";
    if (fragment.data.size() > group.first.total - group.received())
        return "too much data";
    for (const PayloadMessage &other : group.kept)
        if (other.header.offset == fragment.header.offset)
            return "repeat";
    return nullptr;
}

void ReassemblyModel::begin(const PayloadMessage &fragment)
{
    while (open.size() >= 20) {
        hit.insert("pushed out");
        open.erase(open.begin());
    }
    Group group{fragment.header, {}};
    const bool fits = fragment.data.size() <= fragment.header.total;
    hit.insert(fits ? "opened with data" : "opened empty");
    if (fits)
        group.kept.push_back(fragment);
    open[fragment.header.id] = group;
}

std::optional<QByteArray> ReassemblyModel::finish(int id)
{
    const Group &group = open.at(id);
    if (group.received() != group.first.total) {
        hit.insert("incomplete");
        return std::nullopt;
    }
    std::vector<PayloadMessage> inOrder = group.kept;
    std::sort(inOrder.begin(), inOrder.end(), [](const PayloadMessage &a, const PayloadMessage &b) {
        return a.header.offset < b.header.offset;
    });
    QByteArray data;
    for (const PayloadMessage &fragment : inOrder) {
        if (data.size() != fragment.header.offset) {
            hit.insert("gap or overlap");
            return std::nullopt;
        }
        data += fragment.data;
    }
    hit.insert(data.isEmpty() ? "complete, empty" : "complete");
    open.erase(id);
    return data;
}
