#pragma once

#include "Commands.h"
#include "Descriptor.h"

#include <corvane/ConfigManager.h>

#include <sys/socket.h>

#include <cstdint>
#include <map>
#include <string>
#include <thread>

/**
 * Serves clients on a Unix socket: lines in, lines out.
 *
 * What a client asks for belongs to its process, whose id the kernel tells, and not to the connection: it lasts until
 * it is released (through any connection of the process) or the process dies, which a pidfd tells.
 *
 * One thread, which waits in epoll only: no call of the library that it makes waits for a node. Dumps do, and have a
 * thread of their own.
 */
class Service {
public:
    Service(ConfigManager& configManager, Commands& clientCommands);
    Service(Service const&) = delete;
    Service& operator=(Service const&) = delete;
    /** Waits for a dump that is being made. */
    ~Service();

    bool Listen(std::string const& path);

    /** Returns when the descriptor becomes readable. */
    void RunUntil(int stop);

private:
    // Bounds on what clients can make the service hold; together they stay below the usual 1,024 descriptors.
    static constexpr size_t MAX_CLIENTS = 256;
    static constexpr size_t MAX_CONNECTIONS = 512;
    static constexpr unsigned int MAX_CONNECTIONS_OF_ONE = 8;
    static constexpr size_t MAX_LINE = 512;

    /** A process that has connected. It stays known until it dies, also without a connection. */
    struct Client {
        Descriptor pidfd; ///< readable when the process has ended
        Asker asker;
        unsigned int connections = 0;
    };
    struct Connection {
        Descriptor socket;
        Client& client;
        uint64_t serial;
        std::string input; ///< what has not been carried out yet
    };
    using Connections = std::map<int, Connection>; // by socket
    using Clients = std::map<int, Client>;         // by pidfd

    void Handle(int fd);
    void Accept();
    Client* ClientOf(Descriptor const& socket);
    Client* NewClient(Descriptor const& socket, ucred const& peer);
    void Bury(Clients::iterator client);

    void Receive(Connections::iterator connection);
    void CarryOut(Connections::iterator connection);
    void Close(Connections::iterator connection);

    std::string StartDump(Connection& connection, std::string const& option);
    void FinishDump();

    bool Watch(int fd, unsigned int events);

    ConfigManager& manager;
    Commands& commands;
    Descriptor epoll;
    Descriptor listener;
    Clients clients;
    Connections connections;
    uint64_t lastSerial = 0;

    std::thread dumper; ///< joinable while a dump is being made
    Descriptor dumpDone;
    uint64_t dumpFor = 0; ///< the serial of the connection that waits, whose number may be another's by then; or 0
    std::string dumpText; ///< the dumper's until it is joined
};
