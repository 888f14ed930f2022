// SPDX-License-Identifier: MIT
#pragma once

#include "communication/payloadmessage.h"

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

/// The rules of reassembly, slow and plain: keeps every fragment in a list and looks it through each time.
class ReassemblyModel
{
public:
    /// The payload that this fragment completes, if it does.
    std::optional<QByteArray> put(const PayloadMessage &fragment);

    /// Names of the branches that were taken so far.
    const std::set<std::string> &branchesTaken() const { return hit; }

private:
    struct Group
    {
        PayloadMessageHeader first;
        std::vector<PayloadMessage> kept;

        int received() const;
    };

    static const char *rejection(const Group &group, const PayloadMessage &fragment);
    void begin(const PayloadMessage &fragment);
    std::optional<QByteArray> finish(int id);

    std::map<int, Group> open;
    std::set<std::string> hit;
};
