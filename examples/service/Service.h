// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "Commands.h"
#include "Descriptor.h"
#include "Endpoint.h"
#include "Fairness.h"

#include <chrono>
#include <future>
#include <map>
#include <string>
#include <string_view>

/**
 * Serves clients on a Unix socket: lines in, lines out.
 *
 * What a client asks for belongs to its process and not to the connection: it lasts until it is released, through any
 * connection of the process, or the process dies. Where the kernel cannot tell which process has connected (before
 * Linux 6.5), it belongs to the connection. Rights are those that the process had when it connected.
 *
 * One thread, which waits in epoll only: no call of the library that it makes waits for a node. Task dumps do, on
 * another.
 */
class Service {
public:
    Service(Commands& clientCommands, Endpoint& socketPlace);

    bool Start();

    /** Takes the first signal from a signalfd and returns; from then on nobody is served. */
    void RunUntilSignal(int signals);

private:
    // Bounds on what clients can make the service hold; together they stay below the usual 1,024 descriptors.
    static constexpr Quota CLIENTS{256, 64, 32, 1};
    static constexpr Quota CONNECTIONS{512, 128, 64, 8};
    static constexpr size_t MAX_LINE = 512;
    static constexpr size_t TURN = 16; ///< lines of one connection before others have theirs

    /** What ends what was asked for: a process, known until it dies, also without a connection; or one connection. */
    struct Client {
        Asker asker;        ///< who came first
        Descriptor process; ///< a pidfd, readable when it has ended; closed if this stands for a connection
    };
    struct Connection {
        Descriptor socket;
        Asker asker;
        unsigned long long serial;
        bool listening = true; ///< if not, only its end is watched for
        std::string input;     ///< what has not been carried out yet
    };
    using Clock = std::chrono::steady_clock;
    using Connections = std::map<int, Connection>; // by socket
    using Clients = std::map<int, Client>;         // by owner

    void Handle(int fd);
    void Admit(Descriptor socket);
    /** @return whether there is room for it, or it is known, and lives. */
    bool Know(int socket, Asker const& asker);
    void Bury(Clients::iterator client);
    void Receive(Connections::iterator connection);
    /** @param answers what is to be sent before. */
    void CarryOut(Connections::iterator connection, std::string answers);
    void Close(Connections::iterator connection);
    /** Goes on reading, or stops while it waits for its dump, or its user has run ahead. */
    void Heed(Connection& connection);
    std::string StartDump(Connection const& connection, std::string_view line);
    void FinishDump();
    bool Watch(int fd, unsigned int events);

    Commands& commands;
    Endpoint& endpoint;
    bool knowsProcesses = false; ///< or the kernel only tells connections
    Descriptor epoll;
    Pace pace;
    bool ticking = false; ///< while some wait for the time
    Clock::time_point nextTick;
    Clients clients;
    Connections connections;
    unsigned long long lastSerial = 0;

    Descriptor dumpDone;
    unsigned long long dumpFor = 0; ///< the connection that waits, by its serial: its number may be another's by then
    std::future<std::string> dump;  ///< its end waits for the thread
};
