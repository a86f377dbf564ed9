// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <corvane/PerfTypes.h>

#include <functional>
#include <optional>
#include <string>

// Not by way of NodeIo, which is the library's and which a NodeWatch sees: these must also work while whoever listens
// hangs.

/** @return what the node says, or nothing, with errno set, if it cannot be read. */
std::optional<std::string> ReadNode(std::string const& path);

/** Replaces what a node or a file holds. @return whether it took all of it. */
bool WriteNode(std::string const& path, std::string const& bytes);

/** How long real nodes may take to show what they took: a kernel may put it off to a work item. */
constexpr std::chrono::milliseconds READ_BACK_TIME{200};

/** Asks again and again until the answer is yes. @return false when the device's time has come. */
bool PollUntil(PerfTimePoint deadline, std::function<bool()> const& done);
