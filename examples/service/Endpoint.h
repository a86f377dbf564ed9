// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "Descriptor.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <string>

/**
 * The socket's place in the file system. From Claim on it is one service's alone, by a lock file beside it; at the end
 * the socket goes.
 */
class Endpoint {
public:
    explicit Endpoint(std::string const& path);
    ~Endpoint() { Close(); }

    /** @return false, after a line, if another service runs, or what stands there is not ours to remove. */
    bool Claim();
    bool Listen();
    /** Readable when somebody waits. */
    int Number() const { return listener.Number(); }
    /** @return closed if nobody waits, or nobody can be let in. */
    Descriptor Accept();
    /** Turns away those who wait. */
    void Close();

private:
    static constexpr int WAITING = 64; ///< more of them wait in connect

    sockaddr_un address{};
    Descriptor lock; ///< its file stays: whoever removed it could remove another's
    Descriptor listener;
    bool bound = false;
    Descriptor spare; ///< for the moment when there are no others
};
