// A small tuning service: one process that owns the nodes, and clients that ask it. See docs/integrating.md.

#include "Commands.h"
#include "Descriptor.h"
#include "Platform.h"
#include "Service.h"

#include <corvane/ConfigManager.h>

#include <pthread.h>
#include <sys/signalfd.h>

#include <csignal>
#include <cstdio>
#include <string>

namespace {

/** What clients may hold at once: less than a client needs to slow the others down. */
ConfigManagerOptions Options()
{
    ConfigManagerOptions options;
    options.commandLimits.maxProcessNum = 256;
    options.commandLimits.maxHandleNumPerProcess = 64;
    options.commandLimits.maxTotalHandleNum = 1024;
    options.rewriteDelay = 100;
    return options;
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
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    Descriptor const stop(signalfd(-1, &signals, SFD_CLOEXEC));

    Platform platform(argv[1]); // stays behind when the library goes
    ConfigManager manager(Options());
    if (!platform.Start(manager)) {
        return 1;
    }
    Commands commands(manager);
    {
        Service service(manager, commands); // nobody can ask before all is ready
        if (!service.Listen(argv[2])) {
            return 1;
        }
        service.RunUntil(stop.Number());
    } // nor from here on
    commands.WindUp();
    return 0;
}
