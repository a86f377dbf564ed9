// SPDX-License-Identifier: Apache-2.0

#include "Service.h"

#include <poll.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <system_error>
#include <utility>

namespace {

constexpr int NO_PROCESS = 1 << 22; // from here on, numbers are no process's
constexpr int OWNERS = 2000000000;
constexpr int TICK_MS = 10;
constexpr int PEER_PIDFD = 77; // SO_PEERPIDFD, which older headers lack

bool HasEnded(Descriptor const& process)
{
    pollfd now{process.Number(), POLLIN, 0};
    return poll(&now, 1, 0) == 1;
}

/** The process that connected, whoever has its number or its socket by now. */
Descriptor PeerProcess(int socket)
{
    int pidfd = -1;
    socklen_t size = sizeof(pidfd);
    return Descriptor(getsockopt(socket, SOL_SOCKET, PEER_PIDFD, &pidfd, &size) == 0 ? pidfd : -1);
}

/** All of it at once, or not at all: a client that lets its answers pile up is not worth a buffer. */
bool Send(Descriptor const& socket, std::string const& text)
{
    ssize_t const sent = send(socket.Number(), text.data(), text.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    return sent == static_cast<ssize_t>(text.size());
}

} // namespace

Service::Service(Commands& clientCommands, Endpoint& socketPlace)
    : commands(clientCommands), endpoint(socketPlace), epoll(epoll_create1(EPOLL_CLOEXEC)),
      dumpDone(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
}

bool Service::Start()
{
    if (!endpoint.Listen() || !Watch(endpoint.Number(), EPOLLIN) || !Watch(dumpDone.Number(), EPOLLIN)) {
        return false;
    }
    knowsProcesses = PeerProcess(endpoint.Number()).IsOpen(); // of the socket itself: us
    if (!knowsProcesses) {
        std::fputs("this kernel does not tell processes: what a client asks for ends with its connection\n", stderr);
    }
    return true;
}

void Service::RunUntilSignal(int signals)
{
    // One at a time: what one event closes cannot stand further on in the same batch. The kernel goes round all that
    // have something, so that everybody's turn comes.
    epoll_event event{};
    for (bool running = Watch(signals, EPOLLIN); running;) {
        int const count = epoll_wait(epoll.Number(), &event, 1, ticking ? TICK_MS : -1);
        running = count < 0 ? errno == EINTR : count == 0 || event.data.fd != signals;
        if (count == 1 && running) {
            Handle(event.data.fd);
        }
        if (ticking && Clock::now() >= nextTick) {
            nextTick = Clock::now() + std::chrono::milliseconds(TICK_MS);
            ticking = commands.SettleEvents();
            std::for_each(connections.begin(), connections.end(), [this](auto& entry) { Heed(entry.second); });
        }
    }
    signalfd_siginfo first{};
    static_cast<void>(read(signals, &first, sizeof(first))); // a second one stays
    endpoint.Close();
    connections.clear();
}

void Service::Handle(int fd)
{
    auto const isProcess = [fd](auto const& entry) { return entry.second.process.Number() == fd; };
    if (fd == endpoint.Number()) {
        Admit(endpoint.Accept()); // one of them, and then others have their turn
    } else if (fd == dumpDone.Number()) {
        FinishDump();
    } else if (auto const connection = connections.find(fd); connection != connections.end()) {
        Receive(connection);
    } else if (auto const client = std::find_if(clients.begin(), clients.end(), isProcess); client != clients.end()) {
        Bury(client);
    }
}

void Service::Admit(Descriptor socket)
{
    int const fd = socket.Number();
    ucred peer{}; // as it was when it connected
    socklen_t size = sizeof(peer);
    if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0 || peer.pid <= 0 || !Watch(fd, EPOLLIN)) {
        return; // nobody waits any more, or 0: a process that this pid namespace does not show
    }
    int const yes = 1; // a byte out of band would else wake us for ever, and never be read
    setsockopt(fd, SOL_SOCKET, SO_OOBINLINE, &yes, sizeof(yes));
    ++lastSerial;
    bool const trusted = peer.uid == 0 || peer.uid == geteuid();
    int const owner = knowsProcesses ? peer.pid : NO_PROCESS + static_cast<int>(lastSerial % OWNERS);
    Asker const asker{owner, peer.uid, trusted};
    if (!Know(fd, asker)) {
        return;
    }
    bool const hasRoom = HasRoom(CONNECTIONS, connections, asker);
    auto const connection = connections.emplace(fd, Connection{std::move(socket), asker, lastSerial, true, {}}).first;
    if (!hasRoom) {
        Close(connection);
    }
}

bool Service::Know(int socket, Asker const& asker)
{
    Client client{asker, knowsProcesses ? PeerProcess(socket) : Descriptor()};
    if (knowsProcesses) {
        if (!client.process.IsOpen() || HasEnded(client.process)) {
            return false; // it has died meanwhile
        }
        auto const known = clients.find(asker.owner);
        if (known != clients.end() && !HasEnded(known->second.process)) {
            return true;
        }
        if (known != clients.end()) {
            Bury(known); // its end is only not handled yet: another process has its number now
        }
    }
    if (!HasRoom(CLIENTS, clients, asker) || (knowsProcesses && !Watch(client.process.Number(), EPOLLIN))) {
        return false;
    }
    return clients.emplace(asker.owner, std::move(client)).second;
}

void Service::Bury(Clients::iterator client)
{
    // A connection can outlive its process, in a child that has inherited it.
    EraseIf(connections, [&](auto const& entry) { return entry.second.asker.owner == client->first; });
    commands.Forget(client->first);
    clients.erase(client);
    ticking = ticking || commands.SettleEvents();
}

void Service::Receive(Connections::iterator connection)
{
    if (!connection->second.listening) {
        Close(connection); // only its end is watched for
        return;
    }
    char buffer[4096];
    ssize_t const received = recv(connection->first, buffer, sizeof(buffer), MSG_PEEK);
    if (received <= 0) {
        if (received == 0 || (errno != EAGAIN && errno != EINTR)) {
            Close(connection);
        }
        return;
    }
    // What is more than a turn stays with the kernel, which brings it up again behind everybody else's.
    size_t taken = 0;
    std::string_view const waiting(buffer, static_cast<size_t>(received));
    for (size_t line = 0; line < TURN && taken < waiting.size(); ++line) {
        taken = std::min(waiting.find('\n', taken), waiting.size() - 1) + 1;
    }
    recv(connection->first, buffer, taken, 0);
    connection->second.input.append(buffer, taken);
    CarryOut(connection, "");
}

void Service::CarryOut(Connections::iterator connection, std::string answers)
{
    auto& [socket, asker, serial, listening, input] = connection->second;
    size_t lines = 0;
    size_t begin = 0;
    for (size_t end = 0; serial != dumpFor; begin = end + 1, ++lines) {
        end = input.find('\n', begin);
        if (end == std::string::npos || end - begin > MAX_LINE) {
            break;
        }
        std::string_view const line = std::string_view(input).substr(begin, end - begin);
        bool const waits = Commands::WaitsForWorkers(asker, line);
        answers += waits ? StartDump(connection->second, line) : commands.Execute(asker, line) + "\n";
    }
    input.erase(0, begin);
    bool const tooLong = serial != dumpFor && input.size() > MAX_LINE;
    if (!Send(socket, answers) || tooLong) {
        Close(connection);
        return;
    }
    pace.Pay(asker.uid, std::max<size_t>(lines, 1));
    Heed(connection->second);
    ticking = ticking || commands.SettleEvents();
}

void Service::Close(Connections::iterator connection)
{
    if (knowsProcesses) {
        connections.erase(connection);
    } else {
        Bury(clients.find(connection->second.asker.owner));
    }
}

void Service::Heed(Connection& connection)
{
    bool const waits = connection.serial == dumpFor;
    bool const listening = !waits && pace.MayGo(connection.asker.uid);
    if (connection.listening != listening) {
        connection.listening = listening;
        Watch(connection.socket.Number(), listening ? unsigned{EPOLLIN} : 0U);
    }
    ticking = ticking || !(listening || waits);
}

std::string Service::StartDump(Connection const& connection, std::string_view line)
{
    if (dump.valid()) {
        return "error another dump is being made\n";
    }
    try {
        dump = std::async(std::launch::async, [this, asker = connection.asker, request = std::string(line)] {
            std::string text = commands.Execute(asker, request) + "\n";
            eventfd_write(dumpDone.Number(), 1);
            return text;
        });
    } catch (std::system_error const&) {
        return "error no thread for it\n";
    }
    dumpFor = connection.serial;
    return "";
}

void Service::FinishDump()
{
    eventfd_t ignored = 0;
    eventfd_read(dumpDone.Number(), &ignored);
    std::string const text = dump.get();
    auto const asked = [this](auto const& entry) { return entry.second.serial == dumpFor; };
    auto const connection = std::find_if(connections.begin(), connections.end(), asked);
    dumpFor = 0;
    if (connection != connections.end()) {
        CarryOut(connection, text); // and what it has sent behind the dump
    }
}

bool Service::Watch(int fd, unsigned int events)
{
    epoll_event event{events, {}};
    event.data.fd = fd;
    return epoll_ctl(epoll.Number(), EPOLL_CTL_ADD, fd, &event) == 0 ||
           (errno == EEXIST && epoll_ctl(epoll.Number(), EPOLL_CTL_MOD, fd, &event) == 0);
}
