// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/nodes/NodeFile.h"

#include "sys/PerfTime.h"

#include <array>
#include <cerrno>

#include <fcntl.h>
#include <poll.h>
#include <sys/uio.h>
#include <unistd.h>

std::optional<std::string> ReadNode(std::string const& path)
{
    constexpr std::size_t LONGEST = 1 << 20; // no node says as much, but a device might
    int const fd = openat(AT_FDCWD, path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) {
        return std::nullopt;
    }
    std::string bytes;
    std::array<char, 4096> part{};
    ssize_t count = 0;
    while (bytes.size() < LONGEST && (count = read(fd, part.data(), part.size())) > 0) {
        bytes.append(part.data(), static_cast<std::size_t>(count));
    }
    int const error = errno;
    close(fd);
    errno = error;
    return count < 0 ? std::nullopt : std::optional<std::string>(bytes);
}

bool WriteNode(std::string const& path, std::string const& bytes)
{
    int const fd = openat(AT_FDCWD, path.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) {
        return false;
    }
    std::string text = bytes;
    iovec const whole{text.data(), text.size()};
    bool const taken = writev(fd, &whole, 1) == static_cast<ssize_t>(text.size());
    close(fd);
    return taken;
}

bool PollUntil(PerfTimePoint deadline, std::function<bool()> const& done)
{
    constexpr int PAUSE_MS = 5;
    while (!done()) {
        if (PerfTime::Now() >= deadline) {
            return false;
        }
        poll(nullptr, 0, PAUSE_MS);
    }
    return true;
}
