// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

/// Heap allocations of this program since it started: calls of malloc() and its kin, Qt's own included. A
/// hook, so it costs the same in every benchmark.
std::uint64_t heapAllocations();
