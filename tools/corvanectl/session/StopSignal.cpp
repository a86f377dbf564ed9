// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/session/StopSignal.h"

#include <algorithm>
#include <cerrno>
#include <limits>
#include <system_error>

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

StopSignal::StopSignal() : descriptor(eventfd(0, EFD_CLOEXEC))
{
    if (descriptor < 0) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
}

StopSignal::~StopSignal()
{
    close(descriptor);
}

void StopSignal::Raise()
{
    static_cast<void>(eventfd_write(descriptor, 1));
}

bool StopSignal::WaitFor(std::chrono::milliseconds time) const
{
    pollfd awaited{descriptor, POLLIN, 0};
    auto const longest = static_cast<std::chrono::milliseconds::rep>(std::numeric_limits<int>::max());
    return poll(&awaited, 1, static_cast<int>(std::min(time.count(), longest))) > 0;
}
