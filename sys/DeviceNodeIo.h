// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cerrno>
#include <cstddef>
#include <string>

#include <fcntl.h>
#include <unistd.h>

/** The system's own nodes. Only what defines NodeIo comes here, everybody else goes through that. */
namespace DeviceNodeIo {

inline int Open(std::string const& path)
{
    return open(path.c_str(), O_WRONLY);
}

inline ssize_t Write(int fd, void const* data, std::size_t size)
{
    errno = 0; // a short count sets none
    ssize_t const taken = pwrite(fd, data, size, 0);
    if (taken >= 0 || errno != ESPIPE) {
        return taken;
    }
    errno = 0;
    return write(fd, data, size);
}

inline void Close(int fd)
{
    close(fd);
}

} // namespace DeviceNodeIo
