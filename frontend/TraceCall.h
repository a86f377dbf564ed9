// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <vector>

/** Marks a call in the system trace: the label, the id if there is one, and the params; built only while traced. */
void TraceCall(char const* label, unsigned int const* id, std::vector<unsigned int> const& params = {});
