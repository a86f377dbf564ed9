// Drives builds of the library and the floor side by side; scripts/bench makes a table of what it prints.
//
// usage: corvane_paced [--check] NAME=MODULE...     --check: only what noise does not touch

#include "bench/paced/Figures.h"
#include "bench/paced/Floor.h"

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
        std::fprintf(stderr, "usage: corvane_paced [--check] NAME=MODULE...\n");
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

void MeasureAll(Entries const& entries, bool check)
{
    Report report;
    MeasureHeap(entries, report);
    MeasureIdle(entries, report);
    MeasureExpiry(entries, report, check ? 1 : 8, check ? 40 : 100);
    if (check) {
        return;
    }
    MeasureStartUp(entries, report, 15);
    MeasureModeChange(entries, report, 10);
    MeasureExpiredCrowd(entries, report, 7);
    MeasureThroughput(entries, report, 12);
    MeasurePaced(entries, report, 12, 1000);
}

} // namespace

int main(int argc, char** argv)
{
    prctl(PR_SET_TIMERSLACK, 1); // ns; the threads that are started take it over
    Entries entries{{"floor", MakeFloor}};
    bool check = false;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--check") == 0) {
            check = true;
        } else if (!AddModule(argv[i], entries)) {
            return 2;
        }
    }
    MeasureAll(entries, check);
    return 0;
}
