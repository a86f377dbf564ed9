// SPDX-License-Identifier: Apache-2.0

// Drives builds of the library and the floor side by side; scripts/bench makes a table of what it prints.
//
// usage: corvane_paced [--check | --only=FIGURES] [--one-core] NAME=MODULE...
//
//   --check      only what noise does not touch
//   --one-core   everybody on one processor, and the client goes before the workers: a call is not held up by what it
//                wakes. Without it they go where the scheduler puts them.

#include "bench/paced/Figures.h"
#include "bench/paced/Floor.h"
#include "bench/paced/Placement.h"

#include <cstdio>
#include <cstring>
#include <string>

#include <dlfcn.h>
#include <sys/prctl.h>

namespace {

bool AddModule(std::string const& argument, Entries& entries)
{
    auto const equals = argument.find('=');
    if (equals == std::string::npos) {
        std::fprintf(stderr, "usage: corvane_paced [--check | --only=FIGURES] [--one-core] NAME=MODULE...\n");
        return false;
    }
    void* const module = dlopen(argument.c_str() + equals + 1, RTLD_NOW | RTLD_LOCAL);
    void* const maker = module != nullptr ? dlsym(module, Contender::MAKER_NAME) : nullptr;
    if (maker == nullptr) {
        std::fprintf(stderr, "corvane_paced: %s\n", dlerror());
        return false;
    }
    entries.push_back({argument.substr(0, equals), reinterpret_cast<Contender::Maker>(maker)});
    return true;
}

struct Measurement {
    char const* name;
    bool isChecked;
    void (*run)(Entries const&, Report&, bool check);
};

Measurement const MEASUREMENTS[] = {
    {"heap", true, [](Entries const& all, Report& report, bool) { MeasureHeap(all, report); }},
    {"idle", true, [](Entries const& all, Report& report, bool) { MeasureIdle(all, report); }},
    {"expiry", true,
     [](Entries const& all, Report& report, bool check) {
         MeasureExpiry(all, report, check ? 1 : 8, check ? 40 : 100);
     }},
    {"start-up", false, [](Entries const& all, Report& report, bool) { MeasureStartUp(all, report, 15); }},
    {"mode", false, [](Entries const& all, Report& report, bool) { MeasureModeChange(all, report, 10); }},
    {"expired", false, [](Entries const& all, Report& report, bool) { MeasureExpiredCrowd(all, report, 7); }},
    {"pairs", false, [](Entries const& all, Report& report, bool) { MeasureThroughput(all, report, 12); }},
    {"paced", false, [](Entries const& all, Report& report, bool) { MeasurePaced(all, report, 12, 1000); }},
};

} // namespace

int main(int argc, char** argv)
{
    prctl(PR_SET_TIMERSLACK, 1); // ns; the threads that are started take it over
    Entries entries{{"floor", MakeFloor}};
    bool check = false;
    std::string only;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--check") == 0) {
            check = true;
        } else if (std::strncmp(argv[i], "--only=", 7) == 0) {
            only = argv[i] + 7;
        } else if (std::strcmp(argv[i], "--one-core") == 0) {
            Placement::StayOnOneCore();
        } else if (!AddModule(argv[i], entries)) {
            return 2;
        }
    }
    Report report;
    for (Measurement const& measurement : MEASUREMENTS) {
        bool const isAsked = only.empty() ? measurement.isChecked || !check : only == measurement.name;
        if (isAsked) {
            measurement.run(entries, report, check);
        }
    }
    return 0;
}
