// SPDX-License-Identifier: Apache-2.0

// A small tuning service: one process that owns the nodes, and clients that ask it. See docs/integrating.md.

#include "Commands.h"
#include "Descriptor.h"
#include "Endpoint.h"
#include "Platform.h"
#include "Service.h"

#include <corvane/ConfigManager.h>

#include <fcntl.h>
#include <pthread.h>
#include <sys/signalfd.h>
#include <sys/stat.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <future>
#include <sstream>

namespace {

ConfigManagerOptions Options()
{
    ConfigManagerOptions options;
    options.rewriteDelay = 100;
    auto& limits = options.commandLimits;
    limits.maxHandleNumPerProcess = limits.maxTotalHandleNum = Commands::HANDLES.all; // the service counts by itself
    // Clients may still have handles of a service before this one: none of them is given again.
    timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now);
    limits.firstHandle = 1000000000ULL * static_cast<unsigned int>(now.tv_sec) + static_cast<unsigned int>(now.tv_nsec);
    return options;
}

/** A pipe that nobody reads must not hold the service up: its lines are lost instead. */
void KeepLogFromBlocking()
{
    struct stat log {};
    if (fstat(STDERR_FILENO, &log) == 0 && S_ISFIFO(log.st_mode)) {
        // Opened anew: the flag is ours alone, and not everybody's who writes to the pipe.
        Descriptor const own(open("/proc/self/fd/2", O_WRONLY | O_NONBLOCK | O_CLOEXEC));
        dup2(own.Number(), STDERR_FILENO); // which stays as it is where that could not be opened
    }
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: %s ROOT SOCKET   (ROOT: / or a folder that looks like it)\n", argv[0]);
        return 2;
    }
    // Before the library starts its threads, which inherit this: the signals are the descriptor's alone.
    sigset_t signals;
    sigemptyset(&signals);
    for (int const number : {SIGTERM, SIGINT, SIGHUP}) {
        sigaddset(&signals, number);
    }
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    std::signal(SIGPIPE, SIG_IGN); // the log's reader may go
    Descriptor const stop(signalfd(-1, &signals, SFD_CLOEXEC));
    KeepLogFromBlocking();

    Endpoint endpoint(argv[2]);
    if (!endpoint.Claim()) { // before a node is written
        return 1;
    }
    Platform platform(argv[1]); // stays behind when the library goes
    ConfigManager manager(Options());
    if (!platform.Start(manager)) {
        return 1;
    }
    Commands commands(manager, Platform::Events());
    Service service(commands, endpoint);
    if (!service.Start()) { // nobody can ask before all is ready
        return 1;
    }
    service.RunUntilSignal(stop.Number()); // nor from here on

    // Whatever anybody holds goes, and every base is written anew, also where the last write failed. This queues only,
    // and the destructor drops what is queued. A dump returns when every worker has come to it, and so has done all
    // before.
    manager.Reset();
    platform.Renew(manager);
    std::ostringstream unused;
    auto dump = std::async([&] { return manager.Dump(unused, {"--task"}); });
    // Nodes that do not hang are done within a second, whatever signals come. Then a further one ends the process at
    // once.
    if (dump.wait_for(std::chrono::seconds(1)) != std::future_status::ready) {
        pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
    }
    return dump.get() == 0 ? 0 : 1;
}
