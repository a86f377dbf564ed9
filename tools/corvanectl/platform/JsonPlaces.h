// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>
#include <vector>

/**
 * Finds the lines on which fields stand, in one pass over the text.
 * @param text is JSON. @param paths as in "qos[2].groups[0].limitBase".
 * @return the line of each, from 1; of a field that is not there, that of the innermost object or list that is.
 */
std::vector<unsigned int> LinesOf(std::string const& text, std::vector<std::string> const& paths);
