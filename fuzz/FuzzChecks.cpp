#include "fuzz/FuzzChecks.h"

#include <corvane/PfLogon.h>

#include <cstdio>
#include <cstdlib>

#include <android/log.h>

void Expect(bool isSo, std::string const& text)
{
    if (!isSo) {
        std::fprintf(stderr, "not as expected: %s\n", text.c_str());
        std::abort();
    }
}

void DivertLog()
{
    static bool const isShown = std::getenv("CORVANE_FUZZ_LOG") != nullptr;
    __android_log_set_logger([](__android_logger_data const*, char const* line) {
        if (isShown) {
            std::fprintf(stderr, "%s\n", line);
        }
    });
    __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
    PfLogonNamespace::PfLogonSet(PfLogonNamespace::INFO_BIT | PfLogonNamespace::DEBUG_BIT);
}
