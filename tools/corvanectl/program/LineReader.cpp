// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/program/LineReader.h"

#include <array>

#include <poll.h>
#include <unistd.h>

bool LineReader::Next(std::string& line, StopSignal const& stop)
{
    std::size_t end = buffer.find('\n');
    while (end == std::string::npos && Fill(stop)) {
        end = buffer.find('\n');
    }
    if (stop.IsRaised() || (end == std::string::npos && buffer.empty())) {
        return false;
    }
    line = buffer.substr(0, end);
    buffer.erase(0, end == std::string::npos ? end : end + 1);
    return true;
}

/** @return false if there is no more to come. */
bool LineReader::Fill(StopSignal const& stop)
{
    std::array<pollfd, 2> awaited{{{source, POLLIN, 0}, {stop.Descriptor(), POLLIN, 0}}};
    std::array<char, 4096> part{};
    if (poll(awaited.data(), awaited.size(), -1) < 0 || stop.IsRaised()) {
        return false;
    }
    ssize_t const count = read(source, part.data(), part.size());
    if (count > 0) {
        buffer.append(part.data(), static_cast<std::size_t>(count));
    }
    return count > 0;
}
