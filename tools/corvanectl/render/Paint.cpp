// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/render/Paint.h"

#include <cstdlib>
#include <iostream>

#include <sys/ioctl.h>
#include <unistd.h>

namespace {

bool IsTerminal(std::ostream const& stream)
{
    return (&stream == &std::cout && isatty(STDOUT_FILENO) == 1) ||
           (&stream == &std::cerr && isatty(STDERR_FILENO) == 1);
}

} // namespace

std::string Environment(char const* name)
{
    char const* const value = std::getenv(name); // NOLINT(concurrency-mt-unsafe): nobody changes it
    return value == nullptr ? "" : value;
}

bool TakesControls()
{
    std::string const kind = Environment("TERM");
    return !kind.empty() && kind != "dumb";
}

std::size_t ColumnsOfOutput(std::size_t otherwise)
{
    winsize size{};
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col != 0 ? size.ws_col : otherwise;
}

Paint::Paint(std::ostream const& stream)
    : isSeen(IsTerminal(stream) && TakesControls() && Environment("NO_COLOR").empty())
{
}
