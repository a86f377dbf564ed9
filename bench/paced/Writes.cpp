// SPDX-License-Identifier: Apache-2.0

#include "bench/paced/Writes.h"

#include <atomic>

#include <sys/syscall.h>
#include <unistd.h>

namespace {

struct alignas(64) Stamp {
    std::atomic<unsigned int> count{0};
    std::atomic<Clock::Nanoseconds> last{0};
};

Stamp g_stamps[Writes::MAX_FD];

ssize_t Stamped(int fd, ssize_t taken)
{
    if (taken >= 0 && fd >= 0 && fd < Writes::MAX_FD) {
        // Each descriptor has one writer at a time; a reader that sees the count sees the time.
        Stamp& stamp = g_stamps[fd];
        stamp.last.store(Clock::Now(), std::memory_order_relaxed);
        stamp.count.store(stamp.count.load(std::memory_order_relaxed) + 1, std::memory_order_release);
    }
    return taken;
}

} // namespace

unsigned int Writes::Count(int fd)
{
    return g_stamps[fd].count.load(std::memory_order_acquire);
}

Clock::Nanoseconds Writes::Last(int fd)
{
    return g_stamps[fd].last.load(std::memory_order_acquire);
}

std::vector<unsigned int> Writes::Counts()
{
    std::vector<unsigned int> counts(MAX_FD);
    for (int fd = 0; fd < MAX_FD; ++fd) {
        counts[static_cast<std::size_t>(fd)] = Count(fd);
    }
    return counts;
}

extern "C" {

__attribute__((visibility("default"))) ssize_t write(int fd, void const* data, size_t size)
{
    return Stamped(fd, syscall(SYS_write, fd, data, size));
}

__attribute__((visibility("default"))) ssize_t pwrite(int fd, void const* data, size_t size, off_t offset)
{
    return Stamped(fd, syscall(SYS_pwrite64, fd, data, size, offset));
}

__attribute__((visibility("default"))) ssize_t pwrite64(int fd, void const* data, size_t size, off64_t offset)
{
    return Stamped(fd, syscall(SYS_pwrite64, fd, data, size, offset));
}

} // extern "C"
