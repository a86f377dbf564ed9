// SPDX-License-Identifier: Apache-2.0

#include "fuzz/FuzzChecks.h"

#include "tools/corvanectl/platform/LibraryLog.h"

#include <corvane/PfLogon.h>

#include <cstdio>
#include <cstdlib>

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
    LibraryLog::SendTo([](int, char const*, std::string const& line) {
        if (isShown) {
            std::fprintf(stderr, "%s\n", line.c_str());
        }
    });
    PfLogonNamespace::PfLogonSet(PfLogonNamespace::INFO_BIT | PfLogonNamespace::DEBUG_BIT);
}
