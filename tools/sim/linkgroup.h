// SPDX-License-Identifier: MIT
#pragma once

#include "common/linkaddress.h"
#include "link/link.h"
#include "sim/report.h"

#include <QVector>

#include <memory>
#include <vector>

/// The links of one run of the simulator.
class LinkGroup
{
public:
    /// Opens all and reports them, and from then on their clients. False when one cannot be opened, which is
    /// reported; then nothing listens.
    [[nodiscard]] bool open(const QVector<LinkAddress> &addresses, const Report &report);

    /// In the order of their addresses.
    const std::vector<std::unique_ptr<Link>> &all() const { return links; }

private:
    bool add(const LinkAddress &address, const Report &report);

    std::vector<std::unique_ptr<Link>> links;
};
