#pragma once

#include <optional>
#include <string>

// Not by way of NodeIo, which is the library's and which a NodeWatch sees: these must also work while whoever listens
// hangs.

/** @return what the node says, or nothing if it cannot be read. */
std::optional<std::string> ReadNode(std::string const& path);

/** Replaces what a node or a file holds. @return whether it took all of it. */
bool WriteNode(std::string const& path, std::string const& bytes);
