// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

#include <optional>

/// Counts the payloads of one sender and the gaps in their ids, which go up by one and wrap at 65536.
///
/// A payload that overtook another counts the other as missing until it comes. A jump by 1000 ids or more, in
/// either direction, is a sender that has started again.
class PayloadGaps
{
public:
    void add(quint16 id);
    qint64 count() const { return payloads; }
    qint64 missing() const { return gaps; }

private:
    std::optional<quint16> newest;
    qint64 payloads = 0;
    qint64 gaps = 0;
};
