// SPDX-License-Identifier: Apache-2.0

#include "fuzz/DrawnPlatform.h"
#include "fuzz/FuzzBytes.h"
#include "fuzz/FuzzChecks.h"
#include "tools/corvanectl/commands/Calls.h"
#include "tools/corvanectl/nodes/SandboxNodes.h"
#include "tools/corvanectl/platform/PlatformConfigs.h"
#include "tools/corvanectl/platform/check/PlatformCheck.h"
#include "tools/corvanectl/session/Session.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace {

std::vector<std::uint8_t> Random(std::mt19937& random, std::size_t count)
{
    std::vector<std::uint8_t> bytes(count);
    std::generate(bytes.begin(), bytes.end(), [&random] { return static_cast<std::uint8_t>(random()); });
    return bytes;
}

bool HasTwins(Platform const& platform)
{
    std::set<PerfQosId> ids;
    return std::any_of(platform.qos.begin(), platform.qos.end(),
                       [&ids](QosEntry const& entry) { return !ids.insert(entry.id).second; });
}

/** What a service would do with the platform. */
bool IsTaken(Platform const& platform)
{
    SandboxNodes nodes;
    nodes.Prepare(platform);
    PlatformConfigs configs(platform, [&nodes](std::string const& node) { return nodes.PathOf(node); });
    for (QosEntry const& entry : platform.qos) {
        if (configs.FitToDevice(entry) != 0) {
            return false;
        }
    }
    return ConfigManager().Init(configs.Config(), platform.events, platform.scenarios, platform.probe) == 0;
}

class LastAnswer : public StoryListener {
public:
    void Hear(StoryRecord const& record) override
    {
        record.Match([this](Answered const& answered) { last = answered; });
    }

    Answered last;
};

Held DrawRequest(FuzzBytes& bytes, Platform const& platform)
{
    static constexpr unsigned int DURATIONS[] = {0, 0, 0, 0, 0, 20, PERF_DURATION_MAX_MS, 19, 60001};
    Held asked;
    asked.what = "request";
    asked.pid = bytes.Chance(16) ? 0 : 1;
    asked.duration = bytes.Pick(DURATIONS);
    for (unsigned int parts = bytes.Below(3) + (bytes.Chance(16) ? 0 : 1); parts > 0; --parts) {
        QosEntry const& entry = bytes.Pick(platform.qos);
        PerfQosId const id = bytes.Chance(16) ? bytes.Below(64) : entry.id;
        asked.infos.push_back({id, DrawValues(bytes, entry, bytes.Chance(2))});
    }
    return asked;
}

/** Whether the library makes of the parts something else than what they say. */
bool IsAltered(ConfigManager& manager, Held const& asked)
{
    auto const before = manager.RequestFilter(asked.infos);
    auto after = before;
    PerfCommandType type = PERF_COMMAND_LONG_START;
    PerfQosId missing = 0;
    static_cast<void>(manager.PreHandleEasBaseCommand(asked.duration, type, asked.infos));
    static_cast<void>(manager.RequestValidate(type, after, missing));
    return !std::equal(before.begin(), before.end(), after.begin(), after.end(),
                       [](QosInfoInt const& one, QosInfoInt const& other) {
                           auto groups = other.groupInfo;
                           if (one.qosId == PERF_QOS_EAS) {
                               groups.erase(8); // the switch of the global boost, which follows from the others
                           }
                           return one.qosId == other.qosId && one.groupInfo == groups;
                       });
}

struct Counts {
    long platforms = 0;
    long taken = 0;
    long requests = 0;
    long refused = 0;
    long altered = 0;
};

void TryRequests(Platform const& platform, std::mt19937& random, int count, Counts& counts)
{
    StopSignal const stop;
    SessionTime time(SessionTime::Kind::VIRTUAL);
    SandboxNodes nodes;
    Story story;
    LastAnswer answer;
    story.Add(answer);
    Session session(platform, nodes, story, time, stop);
    for (int i = 0; i < count; ++i) {
        auto const drawn = Random(random, 64);
        FuzzBytes bytes(drawn.data(), drawn.size());
        Held const asked = DrawRequest(bytes, platform);
        CallFor(session, asked);
        bool const isRefused = answer.last.result != 0;
        bool const isAltered = !isRefused && IsAltered(session.Manager(), asked);
        Expect(answer.last.reasons.empty() != (isRefused || isAltered), "a reason without a cause, or none for one");
        for (std::string const& reason : answer.last.reasons) {
            Expect(!reason.empty(), "a reason says nothing");
        }
        counts.requests += 1;
        counts.refused += isRefused ? 1 : 0;
        counts.altered += isAltered ? 1 : 0;
        if (i % 16 == 15) {
            CallRelease(session, {1, std::nullopt});
        }
    }
}

} // namespace

/**
 * Draws platforms and requests: the check accepts a platform exactly when the library takes it, and an answer has a
 * reason exactly when it is a refusal or grants something else. usage: PLATFORMS REQUESTS [SEED]
 */
int main(int argc, char** argv)
{
    if (argc < 3) {
        return 2;
    }
    DivertLog();
    long const platforms = std::atol(argv[1]);
    long const requests = std::atol(argv[2]);
    std::mt19937 random(argc > 3 ? static_cast<std::uint32_t>(std::atol(argv[3])) : 1);
    Counts counts;
    while (counts.platforms < platforms || counts.requests < requests) {
        auto const drawn = Random(random, 700);
        FuzzBytes bytes(drawn.data(), drawn.size());
        Platform const platform = DrawPlatform(bytes);
        if (HasTwins(platform)) {
            continue; // of which the library gets to see only one
        }
        Findings findings;
        CheckPlatform(platform, findings);
        bool const isTaken = IsTaken(platform);
        Expect(findings.HasErrors() != isTaken,
               "platform " + std::to_string(counts.platforms) + ": " +
                   (findings.HasErrors() ? findings.All().front().path + ": " + findings.All().front().text
                                         : "is refused, and the check has nothing against it"));
        counts.platforms += 1;
        counts.taken += isTaken ? 1 : 0;
        if (isTaken && counts.requests < requests) {
            TryRequests(platform, random, 16, counts);
        }
    }
    std::cout << counts.platforms << " platforms, " << counts.taken << " taken; " << counts.requests << " requests, "
              << counts.refused << " refused, " << counts.altered << " altered\n";
    return 0;
}
