#include "bench/AllocationCounter.h"

#include <cstdlib>
#include <new>

namespace {

thread_local unsigned long long t_allocations = 0;

} // namespace

void* operator new(std::size_t size)
{
    ++t_allocations;
    void* const memory = std::malloc(size != 0 ? size : 1);
    if (memory == nullptr) {
        std::abort();
    }
    return memory;
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    std::free(memory);
}

AllocationCounter::AllocationCounter() : before(t_allocations) {}

unsigned long long AllocationCounter::OfThisThread() const
{
    return t_allocations - before;
}
