// A service in one page: it knows the installed headers and the shared object, and nothing else.

#include <corvane/ConfigManager.h>
#include <corvane/PfLogon.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <thread>

namespace {

constexpr PerfQosId QOS_LEVEL = 10;
constexpr int PID = 100;

/** A plain file takes every write behind the one before it, so its text is the history of its node. */
std::string History(std::string const& path)
{
    std::stringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

bool WaitForHistory(std::string const& path, std::string const& expected)
{
    auto const giveUp = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (History(path) != expected && std::chrono::steady_clock::now() < giveUp) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return History(path) == expected;
}

void Check(bool ok, char const* what)
{
    if (!ok) {
        std::fprintf(stderr, "failed: %s\n", what);
        std::exit(EXIT_FAILURE);
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
    ConfigManager manager;
    Check(manager.Init(PerfDefaultConfig{0, configs, control}, {}, {}, ProbeEvent{}) == 0, "init");

    PfLogonNamespace::PfLogonSet(PfLogonNamespace::INFO_BIT);
    Check(PfLogonNamespace::PfLogonGet() == PfLogonNamespace::INFO_BIT, "log switch");

    unsigned long long handle = 0;
    Check(manager.PerfRequest(PID, 0, {{QOS_LEVEL, {{0, {{PERF_OPERATION_BOOST, 1}}}}}}, handle) == 0, "request");
    Check(WaitForHistory(first, "<busy>") && WaitForHistory(second, "<on>"), "the boost reaches both nodes");
    Check(manager.PerfRelease(PID, handle) == 0, "release");
    Check(WaitForHistory(first, "<busy><idle>") && WaitForHistory(second, "<on><off>"), "the release takes it back");
    return EXIT_SUCCESS;
}
