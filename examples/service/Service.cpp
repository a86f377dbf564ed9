#include "Service.h"

#include <poll.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sstream>
#include <utility>

namespace {

bool Is(int fd, short condition)
{
    pollfd now{fd, condition, 0};
    return poll(&now, 1, 0) == 1 && (now.revents & condition) != 0;
}

/** All of it at once, or not at all: a client that lets its answers pile up is not worth a buffer. */
bool Send(Descriptor const& socket, std::string const& text)
{
    ssize_t const sent = send(socket.Number(), text.data(), text.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    return sent == static_cast<ssize_t>(text.size());
}

} // namespace

Service::Service(ConfigManager& configManager, Commands& clientCommands)
    : manager(configManager), commands(clientCommands), epoll(epoll_create1(EPOLL_CLOEXEC)),
      listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)),
      dumpDone(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
}

Service::~Service()
{
    if (dumper.joinable()) {
        dumper.join();
    }
}

bool Service::Listen(std::string const& path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof(address.sun_path)) {
        std::fprintf(stderr, "%s: too long for a socket\n", path.c_str());
        return false;
    }
    std::memcpy(address.sun_path, path.c_str(), path.size());
    unlink(path.c_str()); // what a service before this one has left
    if (bind(listener.Number(), reinterpret_cast<sockaddr const*>(&address), sizeof(address)) != 0 ||
        listen(listener.Number(), SOMAXCONN) != 0 || !Watch(listener.Number(), EPOLLIN) ||
        !Watch(dumpDone.Number(), EPOLLIN)) {
        std::perror(path.c_str());
        return false;
    }
    return true;
}

void Service::RunUntil(int stop)
{
    if (!Watch(stop, EPOLLIN)) {
        return;
    }
    for (;;) {
        // One at a time: what one event closes cannot stand further on in the same batch.
        epoll_event event{};
        int const count = epoll_wait(epoll.Number(), &event, 1, -1);
        if ((count < 0 && errno != EINTR) || (count == 1 && event.data.fd == stop)) {
            return;
        }
        if (count == 1) {
            Handle(event.data.fd);
        }
    }
}

void Service::Handle(int fd)
{
    if (fd == listener.Number()) {
        Accept();
    } else if (fd == dumpDone.Number()) {
        FinishDump();
    } else if (auto const client = clients.find(fd); client != clients.end()) {
        Bury(client);
    } else if (auto const connection = connections.find(fd); connection != connections.end()) {
        Receive(connection);
    }
}

void Service::Accept()
{
    for (;;) {
        Descriptor socket(accept4(listener.Number(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
        if (!socket.IsOpen()) {
            return;
        }
        Client* const client = connections.size() < MAX_CONNECTIONS ? ClientOf(socket) : nullptr;
        if (client == nullptr || client->connections == MAX_CONNECTIONS_OF_ONE || !Watch(socket.Number(), EPOLLIN)) {
            continue; // which closes it
        }
        ++client->connections;
        int const fd = socket.Number();
        connections.emplace(fd, Connection{std::move(socket), *client, ++lastSerial, {}});
    }
}

Service::Client* Service::ClientOf(Descriptor const& socket)
{
    // As they were when the client connected; nothing that it says itself is believed.
    ucred peer{};
    socklen_t size = sizeof(peer);
    if (getsockopt(socket.Number(), SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0 || peer.pid <= 0) {
        return nullptr; // 0: a process that this pid namespace does not show
    }
    auto const known = std::find_if(clients.begin(), clients.end(),
                                    [&](auto const& entry) { return entry.second.asker.pid == peer.pid; });
    if (known == clients.end()) {
        return NewClient(socket, peer);
    }
    if (!Is(known->first, POLLIN)) {
        return &known->second;
    }
    // The known one is dead, its end only not handled yet: another process has its number now.
    Bury(known);
    return NewClient(socket, peer);
}

Service::Client* Service::NewClient(Descriptor const& socket, ucred const& peer)
{
    if (clients.size() == MAX_CLIENTS) {
        return nullptr;
    }
    // From here on the process is held by the descriptor, whoever gets its number later. Whether the number was still
    // its own, the connection tells: the end of a process closes it. (Since Linux 6.5 SO_PEERPIDFD asks for both in
    // one.)
    Descriptor pidfd(static_cast<int>(syscall(SYS_pidfd_open, peer.pid, 0)));
    if (!pidfd.IsOpen() || Is(socket.Number(), POLLHUP) || !Watch(pidfd.Number(), EPOLLIN)) {
        return nullptr;
    }
    bool const trusted = peer.uid == 0 || peer.uid == geteuid();
    int const fd = pidfd.Number();
    return &clients.emplace(fd, Client{std::move(pidfd), {peer.pid, trusted}, 0}).first->second;
}

void Service::Bury(Clients::iterator client)
{
    // A connection can outlive its process, in a child that has inherited it.
    for (auto next = connections.begin(); next != connections.end();) {
        auto const connection = next++;
        if (&connection->second.client == &client->second) {
            Close(connection);
        }
    }
    commands.Forget(client->second.asker.pid);
    clients.erase(client);
}

void Service::Receive(Connections::iterator connection)
{
    if (connection->second.serial == dumpFor) {
        Close(connection); // while it waits for a dump, it is only watched for its end
        return;
    }
    char buffer[4096];
    ssize_t const received = recv(connection->first, buffer, sizeof(buffer), 0);
    if (received > 0) {
        connection->second.input.append(buffer, static_cast<size_t>(received));
        CarryOut(connection);
    } else if (received == 0 || (errno != EAGAIN && errno != EINTR)) {
        Close(connection);
    }
}

void Service::CarryOut(Connections::iterator connection)
{
    auto& [socket, client, serial, input] = connection->second;
    std::string answers;
    size_t begin = 0;
    for (size_t end = 0; serial != dumpFor && (end = input.find('\n', begin)) != std::string::npos; begin = end + 1) {
        std::string const line = input.substr(begin, end - begin);
        auto const words = Commands::Split(line);
        bool const isDump = words.size() == 2 && words[0] == "dump";
        answers +=
            isDump ? StartDump(connection->second, std::string(words[1])) : commands.Execute(client.asker, line) + "\n";
    }
    input.erase(0, begin);
    bool const endless = serial != dumpFor && input.size() > MAX_LINE;
    if (!Send(socket, answers) || endless) {
        Close(connection);
    }
}

void Service::Close(Connections::iterator connection)
{
    --connection->second.client.connections;
    connections.erase(connection);
}

std::string Service::StartDump(Connection& connection, std::string const& option)
{
    if (!connection.client.asker.trusted) {
        return "error not allowed\n";
    }
    if (dumper.joinable()) {
        return "error another dump is being made\n";
    }
    dumpFor = connection.serial;
    Watch(connection.socket.Number(), 0);
    dumper = std::thread([this, option] {
        std::ostringstream text;
        int const result = manager.Dump(text, {option});
        dumpText = text.str() + (result == 0 ? "ok\n" : "error refused; the log says why\n");
        eventfd_write(dumpDone.Number(), 1);
    });
    return "";
}

void Service::FinishDump()
{
    eventfd_t ignored = 0;
    eventfd_read(dumpDone.Number(), &ignored);
    dumper.join();
    uint64_t const serial = std::exchange(dumpFor, 0);
    auto const connection = std::find_if(connections.begin(), connections.end(),
                                         [&](auto const& entry) { return entry.second.serial == serial; });
    if (connection == connections.end()) {
        return;
    }
    if (!Watch(connection->first, EPOLLIN) || !Send(connection->second.socket, dumpText)) {
        Close(connection);
        return;
    }
    CarryOut(connection); // what it has sent behind the dump
}

bool Service::Watch(int fd, unsigned int events)
{
    epoll_event event{};
    event.events = events;
    event.data.fd = fd;
    return epoll_ctl(epoll.Number(), EPOLL_CTL_ADD, fd, &event) == 0 ||
           (errno == EEXIST && epoll_ctl(epoll.Number(), EPOLL_CTL_MOD, fd, &event) == 0);
}
