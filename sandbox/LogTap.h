// SPDX-License-Identifier: Apache-2.0

#pragma once

/**
 * Takes the lines of the platform's log. An executable that links the sandbox has the log's function of its own: a
 * device of level 29 knows no other way to see what a process logs.
 */
namespace LogTap {

/** Called on the thread that logs, by several at once. @param message as long as the log takes one: 1023 bytes. */
using Receiver = void (*)(int priority, char const* tag, char const* message);

/**
 * From now on every line goes to the receiver alone; with nullptr, as at the start, to the log. A line that is on its
 * way meanwhile may still reach the one before.
 */
void SetReceiver(Receiver receiver);

} // namespace LogTap
