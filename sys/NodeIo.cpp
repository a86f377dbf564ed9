// SPDX-License-Identifier: Apache-2.0

#include "sys/NodeIo.h"

#include "sys/DeviceNodeIo.h"

int NodeIo::Open(std::string const& path)
{
    return DeviceNodeIo::Open(path);
}

ssize_t NodeIo::Write(int fd, void const* data, std::size_t size)
{
    return DeviceNodeIo::Write(fd, data, size);
}

void NodeIo::Close(int fd)
{
    DeviceNodeIo::Close(fd);
}
