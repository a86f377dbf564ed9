// SPDX-License-Identifier: Apache-2.0

#include "fuzz/FuzzChecks.h"
#include "fuzz/FuzzedLibrary.h"
#include "tools/corvanectl/platform/Reader.h"
#include "tools/corvanectl/platform/Summary.h"
#include "tools/corvanectl/platform/check/PlatformCheck.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <sstream>
#include <string>

namespace {

using std::chrono::milliseconds;

/** @return false of what is no JSON. */
bool Read(std::string const& text, Platform& platform, Findings& findings)
{
    try {
        platform = ReadPlatform("input", text, findings);
        return true;
    } catch (InputError const&) {
        return false;
    }
}

/** Every finding has its line. */
void Locate(std::string const& text, Findings const& findings)
{
    auto const lines = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')) + 1;
    for (Finding const& finding : findings.All()) {
        std::size_t const line = findings.LineOf(finding.path);
        Expect(line >= 1 && line <= lines, "a finding has no line");
    }
}

/** Everything that the catalogues offer, once. */
void UseCatalogues(ConfigManager& manager, Platform const& platform)
{
    unsigned long long handle = 0;
    for (ConfigurableScenario const& scenario : platform.scenarios) {
        Expect(manager.PerfSetScenario(1, scenario.scenarioId, handle) == 0, "a scenario cannot be set");
    }
    for (ConfigurableEvent const& event : platform.events) {
        static_cast<void>(manager.StartEvent(event.eventId, 0)); // fails where the platform has none of its resources
    }
    if (platform.hasProbe) {
        static_cast<void>(manager.StartProbe(7)); // so does this
    }
}

/** What the check accepts the library takes, and all nodes are at their base when everything is over. */
void Run(Platform const& platform)
{
    std::ostringstream summary;
    SummarisePlatform(platform, summary);
    FuzzedLibrary library(platform);
    library.Start();
    UseCatalogues(library.Manager(), platform);
    library.time.AdvanceBy(milliseconds(100));
    for (char const* const option : {"--event", "--scenario", "--base_info", "--task", "--limit_history"}) {
        library.Dump(option);
    }
    library.Manager().Reset();
    library.time.AdvanceBy(milliseconds(100));
    library.ExpectAtBase();
    library.End();
}

} // namespace

/** The bytes are a platform file. */
extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
    DivertLog();
    std::string const text(reinterpret_cast<char const*>(data), size);
    Platform platform;
    Findings findings;
    if (!Read(text, platform, findings)) {
        return 0;
    }
    CheckPlatform(platform, findings);
    Locate(text, findings);
    if (!findings.HasErrors()) {
        Run(platform);
    }
    return 0;
}
