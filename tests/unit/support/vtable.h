// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>

#include <cstddef>
#include <cstring>

/// Position of a virtual function in the table of its class, as the C++ ABI of our platforms stores it in a
/// pointer to member: its offset in bytes, plus one on all but 32-bit Arm.
template <class Function>
int virtualSlot(Function function)
{
    std::ptrdiff_t word = 0;
    static_assert(sizeof(function) == 2 * sizeof(word));
    std::memcpy(&word, &function, sizeof word);
    return static_cast<int>(word) / static_cast<int>(sizeof(void *));
}

/// Position of the last virtual function of QObject.
inline int lastSlotOfQObject()
{
    struct Probe : QObject
    {
        static int slot() { return virtualSlot(&Probe::disconnectNotify); }
    };
    return Probe::slot();
}
