// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <unistd.h>

#include <utility>

/** A file descriptor that closes itself. */
class Descriptor {
public:
    explicit Descriptor(int number = -1) : fd(number) {}
    Descriptor(Descriptor&& other) noexcept : fd(std::exchange(other.fd, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept
    {
        std::swap(fd, other.fd);
        return *this;
    }
    ~Descriptor()
    {
        if (fd >= 0) {
            close(fd);
        }
    }

    int Number() const { return fd; }
    bool IsOpen() const { return fd >= 0; }
    void Close() { *this = Descriptor(); }

private:
    int fd;
};
