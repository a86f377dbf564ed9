// SPDX-License-Identifier: Apache-2.0

#include "bench/paced/Heap.h"

#include <atomic>
#include <cstdlib>
#include <new>

#include <malloc.h>

namespace {

std::atomic<bool> g_counting{false};
std::atomic<long long> g_allocations{0};
std::atomic<long long> g_bytes{0};

bool IsCounting()
{
    return g_counting.load(std::memory_order_relaxed);
}

long long SizeOf(void* memory)
{
    return static_cast<long long>(malloc_usable_size(memory) + sizeof(std::size_t)); // with its header
}

void Free(void* memory)
{
    if (IsCounting() && memory != nullptr) {
        g_bytes.fetch_sub(SizeOf(memory), std::memory_order_relaxed);
    }
    std::free(memory);
}

void* Allocate(void* memory)
{
    if (memory == nullptr) {
        std::abort();
    }
    if (IsCounting()) {
        g_allocations.fetch_add(1, std::memory_order_relaxed);
        g_bytes.fetch_add(SizeOf(memory), std::memory_order_relaxed);
    }
    return memory;
}

} // namespace

void Heap::StartCounting()
{
    g_allocations = 0;
    g_bytes = 0;
    g_counting = true;
}

Heap::Use Heap::StopCounting()
{
    g_counting = false;
    return {g_allocations, g_bytes};
}

void* operator new(std::size_t size)
{
    return Allocate(std::malloc(size != 0 ? size : 1));
}

void* operator new(std::size_t size, std::nothrow_t const&) noexcept
{
    return Allocate(std::malloc(size != 0 ? size : 1));
}

void* operator new(std::size_t size, std::align_val_t alignment)
{
    auto const step = static_cast<std::size_t>(alignment);
    return Allocate(std::aligned_alloc(step, (size + step - 1) / step * step));
}

void operator delete(void* memory) noexcept
{
    Free(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    Free(memory);
}

void operator delete(void* memory, std::align_val_t) noexcept
{
    Free(memory);
}

void operator delete(void* memory, std::size_t, std::align_val_t) noexcept
{
    Free(memory);
}
