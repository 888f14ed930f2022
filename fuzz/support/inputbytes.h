// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QtGlobal>

#include <algorithm>
#include <cstring>

/// Reads an input from its start to its end. Beyond the end everything is zero.
class InputBytes
{
public:
    InputBytes(const quint8 *data, size_t size)
        : next(data)
        , left(size)
    {}

    bool atEnd() const { return left == 0; }
    quint8 byte() { return value<quint8>(); }

    /// In the machine's byte order.
    template <class Number>
    Number value()
    {
        Number number{};
        const size_t taken = std::min(left, sizeof number);
        std::memcpy(&number, next, taken);
        advance(taken);
        return number;
    }

    /// Fewer than asked for at the end.
    QByteArray bytes(size_t count)
    {
        const size_t taken = std::min(left, count);
        const QByteArray result(reinterpret_cast<const char *>(next), static_cast<int>(taken));
        advance(taken);
        return result;
    }

    QByteArray rest() { return bytes(left); }

private:
    void advance(size_t count)
    {
        next += count;
        left -= count;
    }

    const quint8 *next;
    size_t left;
};
