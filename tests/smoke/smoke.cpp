// SPDX-License-Identifier: Apache-2.0

// A service in one page: it knows the installed headers and the shared object, and nothing else. What it calls its own
// may bear the names of the library's inside.

#include "resource/ResourceManager.h"

#include <corvane/PerfHold.h>
#include <corvane/PfLogon.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <utility>

namespace {

constexpr PerfQosId QOS_LEVEL = 10;
constexpr int PID = 100;

class EventManager {
public:
    int Count() const { return 0; }
};

std::string Content(std::string const& path)
{
    std::stringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

void Check(bool ok, char const* what)
{
    if (!ok) {
        std::fprintf(stderr, "failed: %s\n", what);
        std::exit(EXIT_FAILURE);
    }
}

/** What holds one handle, of the two that a process may have, leaves them as they were. */
void CheckHolds(ConfigManager& manager)
{
    using Reason = PerfHold::Reason;
    std::chrono::milliseconds const forever{0};
    auto const request = [&](std::chrono::milliseconds duration, PerfRequestInfo const& info) {
        return PerfHold::Request(manager, PID, duration, {info});
    };
    for (int round = 0; round < 3; ++round) {
        PerfHold kept = request(forever, Boost(QOS_LEVEL, 1));
        PerfHold moved(std::move(kept));
        Check(moved && !kept && kept.Why() == Reason::GIVEN_UP, "moved");
        kept = PerfHold::Mode(manager, PID, PERF_WORK_MODE_LIMIT_FIRST);
        Check(request(forever, Limit(QOS_LEVEL, 1)).Why() == Reason::QUOTA, "two at once");
        moved = std::move(kept); // the first is released
        Check(request(forever, Boost(QOS_LEVEL + 1, 1)).Why() == Reason::NOT_SENT, "the left handle is released");
        Check(request(std::chrono::milliseconds((1LL << 32) + 100), Boost(QOS_LEVEL, 1)).Why() == Reason::REFUSED,
              "too long");
        Check(PerfHold::Scenario(manager, PID, 0).Why() == Reason::REFUSED, "no scenarios here");
        PerfHold timed = request(std::chrono::milliseconds(60000), Boost(QOS_LEVEL, 1));
        unsigned long long const handle = timed.Detach();
        Check(!timed && handle != NO_HANDLE && manager.PerfRelease(PID, handle) == 0, "detached");
    }
}

} // namespace

int main(int argc, char** argv)
{
    Check(argc == 2, "usage: smoke FOLDER");
    std::filesystem::path const folder = argv[1];
    std::filesystem::create_directories(folder);
    std::string const first = folder / "first";
    std::string const second = folder / "second";
    std::ofstream{first};
    std::ofstream{second};

    LevelToValueMap const texts{{0, {"<idle>", "<off>"}}, {1, {"<busy>", "<on>"}}};
    std::string const name = "level";
    PerfQosConfig qos(name, {PerfGroupConfig(0, "group", 0, {first, second}, texts, CHIP_TYPE_ANY)});
    PerfConfigControlInfo const control;
    qos.GetGroupConfigByChipType(0, control);
    Check(qos.ReviseGroupConfigValue(control.chipType) == 0, "revise");

    std::map<PerfQosId, PerfQosConfig*> const configs{{QOS_LEVEL, &qos}};
    Check(ResourceManager().own && EventManager().Count() == 0, "classes of the service's own");
    ConfigManagerOptions options;
    options.commandLimits.maxHandleNumPerProcess = 2;
    ConfigManager manager(options);
    Check(manager.Init(PerfDefaultConfig{0, configs, control}, {}, {}, ProbeEvent{}) == 0, "init");

    PfLogonNamespace::PfLogonSet(PfLogonNamespace::INFO_BIT);
    Check(PfLogonNamespace::PfLogonGet() == PfLogonNamespace::INFO_BIT, "log switch");

    std::ostringstream version;
    manager.DumpCoreVersion(version);
    Check(version.str() == "core version: " CORVANE_VERSION "\n", "the library says the version that it is built as");

    auto const nodesHold = [&](std::string const& expected) {
        std::ostringstream state;
        Check(manager.Dump(state, {"--task"}) == 0, "dump"); // waits for the workers
        return Content(first) + Content(second) == expected;
    };
    unsigned long long handle = 0;
    Check(manager.PerfRequest(PID, 0, {Boost(QOS_LEVEL, 1)}, handle) == 0, "request");
    Check(nodesHold("<busy><on>"), "the boost reaches both nodes");
    Check(manager.PerfRelease(PID, handle) == 0, "release");
    Check(nodesHold("<idle><off>"), "the release takes it back");
    CheckHolds(manager);
    Check(nodesHold("<idle><off>"), "what was held has gone");
    return EXIT_SUCCESS;
}
