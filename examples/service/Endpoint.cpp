// SPDX-License-Identifier: Apache-2.0

#include "Endpoint.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>

Endpoint::Endpoint(std::string const& path)
    : listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)),
      spare(open("/dev/null", O_RDONLY | O_CLOEXEC))
{
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof(address.sun_path)); // one that fills it is too long
}

bool Endpoint::Claim()
{
    if (address.sun_path[sizeof(address.sun_path) - 1] != '\0') {
        std::fputs("the path is too long for a socket\n", stderr);
        return false;
    }
    // Nobody else can open it, and so hold it.
    std::string const lockPath = std::string(address.sun_path) + ".lock";
    lock = Descriptor(open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (!lock.IsOpen() || flock(lock.Number(), LOCK_EX | LOCK_NB) != 0) {
        std::perror(lockPath.c_str());
        return false;
    }
    // A socket that nobody answers has been left by a service before this one.
    struct stat found {};
    bool const none = lstat(address.sun_path, &found) != 0 && errno == ENOENT;
    auto const* const place = reinterpret_cast<sockaddr const*>(&address);
    bool const left = S_ISSOCK(found.st_mode) && connect(Number(), place, sizeof(address)) != 0 &&
                      errno == ECONNREFUSED && unlink(address.sun_path) == 0;
    if (!none && !left) {
        std::fprintf(stderr, "%s: in use, or not a socket of ours\n", address.sun_path);
    }
    return none || left;
}

bool Endpoint::Listen()
{
    bound = bind(Number(), reinterpret_cast<sockaddr const*>(&address), sizeof(address)) == 0;
    if (!bound || listen(Number(), WAITING) != 0) {
        std::perror(address.sun_path);
        return false;
    }
    return true;
}

Descriptor Endpoint::Accept()
{
    Descriptor socket(accept4(Number(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (!socket.IsOpen() && (errno == EMFILE || errno == ENFILE)) {
        // Whoever waits would wake us again and again: let in by the spare descriptor, and out.
        spare.Close();
        Descriptor(accept4(Number(), nullptr, nullptr, SOCK_CLOEXEC)).Close();
        spare = Descriptor(open("/dev/null", O_RDONLY | O_CLOEXEC));
    }
    return socket;
}

void Endpoint::Close()
{
    if (bound) {
        unlink(address.sun_path);
    }
    bound = false;
    listener.Close();
}
