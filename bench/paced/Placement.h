// SPDX-License-Identifier: Apache-2.0

#pragma once

/** Who runs where, and before whom. */
namespace Placement {

/** Keeps this process, whatever threads it starts from now on, on the processor that it runs on. */
void StayOnOneCore();

/** On one core, lets the calling thread go before those that it has started; else nothing. Needs the right. */
void GoFirst();

} // namespace Placement
