// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "tools/corvanectl/platform/Findings.h"

#include <nlohmann/json.hpp>

#include <string>

/** Keeps the order of the file, so that findings come in the order of the file. */
using Json = nlohmann::ordered_json;

/**
 * Parses a text. A key that is given twice in one object is a finding. The findings learn on which line each value
 * stands.
 * @param name what to call the text in an error.
 * @throws InputError with name, line and column if it is not JSON.
 */
Json ParseJson(std::string const& name, std::string const& text, Findings& findings);
