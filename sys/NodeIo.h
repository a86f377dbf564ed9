// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstddef>
#include <string>

#include <sys/types.h>

/**
 * How SysWrapper, and nobody else, reaches kernel nodes. Chosen when an executable is linked: the device's own way here
 * in sys/, or that of a folder of files which behave like nodes, in sandbox/. Any thread may call.
 */
namespace NodeIo {

/** @return a write-only descriptor, or -1 with errno set. */
int Open(std::string const& path);

/**
 * One write of everything, at the start of the node: a sysctl ignores what is written elsewhere and calls it a success.
 * What cannot seek (a FIFO, some character devices) takes the value where it is.
 * @return the bytes taken, with errno 0 even where they are too few; or -1 with errno set.
 */
ssize_t Write(int fd, void const* data, std::size_t size);

void Close(int fd);

} // namespace NodeIo
