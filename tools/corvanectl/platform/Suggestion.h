// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>
#include <vector>

/**
 * @return for the end of a complaint about a word: "; did you mean "run"?" with the nearest of the known ones, all of
 * them if several are as near, or nothing if none is. Case does not count.
 */
std::string DidYouMean(std::string const& word, std::vector<std::string> const& known);
