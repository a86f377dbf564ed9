#pragma once

#include "tools/corvanectl/story/Recording.h"

#include <cstddef>
#include <ostream>
#include <vector>

/**
 * Shows how the writes of one run differ from those of another: the lines that only the first has, with '-', and those
 * that only the second has, with '+', by time and each below its command.
 * @return how many lines that are.
 */
std::size_t ShowDifference(std::vector<RecordedWrite> const& first, std::vector<RecordedWrite> const& second,
                           std::ostream& out);
