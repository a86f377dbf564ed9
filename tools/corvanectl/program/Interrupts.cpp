// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/program/Interrupts.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <iostream>
#include <system_error>
#include <utility>

#include <poll.h>
#include <pthread.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace {

constexpr int STATUS_OF_SIGNALS = 128; // as a shell counts

bool IsIgnored(int number)
{
    struct sigaction present {};
    sigaction(number, nullptr, &present);
    return present.sa_handler == SIG_IGN;
}

/** The signals to take: not those that whoever started the process keeps from it, as nohup does. */
sigset_t Signals()
{
    sigset_t signals;
    sigemptyset(&signals);
    for (int const number : {SIGINT, SIGQUIT, SIGTERM, SIGHUP}) {
        if (!IsIgnored(number)) {
            sigaddset(&signals, number);
        }
    }
    return signals;
}

int OpenSignals()
{
    sigset_t const signals = Signals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    int const descriptor = signalfd(-1, &signals, SFD_CLOEXEC);
    if (descriptor < 0) {
        throw std::system_error(errno, std::generic_category(), "signalfd");
    }
    return descriptor;
}

} // namespace

Interrupts::Interrupts(StopSignal& raised) : stop(raised), descriptor(OpenSignals()), thread([this] { Wait(); }) {}

Interrupts::~Interrupts()
{
    over.Raise();
    thread.join();
    close(descriptor);
    sigset_t const signals = Signals();
    if (came != 0) {
        std::cout << std::flush;
        std::signal(came, SIG_DFL);
        raise(came);
    }
    pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
}

void Interrupts::SetLastResort(std::function<void()> action)
{
    std::lock_guard<std::mutex> const lock(mutex);
    lastResort = std::move(action);
}

void Interrupts::Wait()
{
    while (true) {
        std::array<pollfd, 2> awaited{{{descriptor, POLLIN, 0}, {over.Descriptor(), POLLIN, 0}}};
        if (poll(awaited.data(), awaited.size(), -1) < 0 || over.IsRaised()) {
            return;
        }
        signalfd_siginfo signal{};
        if (read(descriptor, &signal, sizeof(signal)) == static_cast<ssize_t>(sizeof(signal))) {
            Take(static_cast<int>(signal.ssi_signo));
        }
    }
}

void Interrupts::Take(int number)
{
    if (came == 0) {
        came = number;
        stop.Raise();
        return;
    }
    std::lock_guard<std::mutex> const lock(mutex);
    if (lastResort) {
        lastResort();
    }
    _exit(STATUS_OF_SIGNALS + number);
}
