// SPDX-License-Identifier: Apache-2.0

// Requests and releases, long and timed in turns, for scripts/count-lines to see what code they run through.
//
// usage: corvane_counted PAIRS

#include <corvane/ConfigManager.h>

#include <cstdlib>
#include <ctime>
#include <map>
#include <string>
#include <vector>

#include <sys/mman.h>

int main(int argc, char** argv)
{
    int const pairs = argc == 2 ? std::atoi(argv[1]) : 0;
    std::string const node = "/proc/self/fd/" + std::to_string(memfd_create("node", MFD_CLOEXEC));
    std::string const name = "counted";
    PerfQosConfig qos(name, {PerfGroupConfig(0u, name, 1000000, 3000000, 1000000, 3000000, {node}, CHIP_TYPE_ANY)});
    std::map<PerfQosId, PerfQosConfig*> const configs{{1, &qos}};
    PerfConfigControlInfo const control;
    ConfigManager manager;
    if (pairs <= 0 || manager.Init(PerfDefaultConfig{0, configs, control}, {}, {}, {}) != 0) {
        return EXIT_FAILURE;
    }
    std::vector<PerfRequestInfo> const infos{{1, {{0, {{PERF_OPERATION_BOOST, 1500000}}}}}};
    timespec const pause{0, 1000000}; // ns; the worker falls asleep again
    for (int i = 0; i < pairs; ++i) {
        unsigned long long handle = 0;
        if (manager.PerfRequest(100, i % 2 == 0 ? 0 : 60000, infos, handle) != 0) {
            return EXIT_FAILURE;
        }
        nanosleep(&pause, nullptr);
        if (manager.PerfRelease(100, handle) != 0) {
            return EXIT_FAILURE;
        }
        nanosleep(&pause, nullptr);
    }
    return EXIT_SUCCESS;
}
