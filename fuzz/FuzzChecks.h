// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>

/** Ends the process with this text if it is not so: a finding, for the fuzzer and for a replay alike. */
void Expect(bool isSo, std::string const& text);

/** Has every line of the library's log put together, and shown only if CORVANE_FUZZ_LOG is set. */
void DivertLog();
