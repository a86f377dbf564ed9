// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <corvane/PerfTypes.h>

/** The process-wide verbose-log switch. Any thread may call both; a late view only changes which lines are printed. */
namespace PfLogonNamespace {

/** Lets the info lines through: final writes of groups, suspend changes, the messages that come with events. */
inline constexpr unsigned int INFO_BIT = 1;
/** Lets the debug lines through. */
inline constexpr unsigned int DEBUG_BIT = 2;

/** Replaces the whole word; 0 (at load) switches every optional line off. Bits above DEBUG_BIT are kept, not used. */
CORVANE_EXPORT void PfLogonSet(unsigned int value);

CORVANE_EXPORT unsigned int PfLogonGet();

} // namespace PfLogonNamespace
