// SPDX-License-Identifier: MIT
#include "allocationcounter.h"

#include <atomic>
#include <cstdlib>

// glibc's own entry points, which the counting ones below hand on to.
extern "C" {
void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *block, size_t size);
}

namespace {

std::atomic<std::uint64_t> allocations{0};

} // namespace

std::uint64_t heapAllocations()
{
    return allocations.load(std::memory_order_relaxed);
}

extern "C" void *malloc(size_t size) noexcept
{
    allocations.fetch_add(1, std::memory_order_relaxed);
    return __libc_malloc(size);
}

extern "C" void *calloc(size_t count, size_t size) noexcept
{
    allocations.fetch_add(1, std::memory_order_relaxed);
    return __libc_calloc(count, size);
}

extern "C" void *realloc(void *block, size_t size) noexcept
{
    allocations.fetch_add(1, std::memory_order_relaxed);
    return __libc_realloc(block, size);
}
