#pragma once

#include <unistd.h>

#include <utility>

/** A file descriptor that closes itself. */
class Descriptor {
public:
    explicit Descriptor(int number) : fd(number) {}
    Descriptor(Descriptor&& other) noexcept : fd(std::exchange(other.fd, -1)) {}
    Descriptor& operator=(Descriptor&&) = delete;
    ~Descriptor()
    {
        if (fd >= 0) {
            close(fd);
        }
    }

    int Number() const { return fd; }
    bool IsOpen() const { return fd >= 0; }

private:
    int fd;
};
