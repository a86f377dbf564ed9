// SPDX-License-Identifier: Apache-2.0

#include <corvane/PfLogon.h>

#include <atomic>

namespace PfLogonNamespace {
namespace {

std::atomic<unsigned int> g_logon{0};

} // namespace

void PfLogonSet(unsigned int value)
{
    g_logon.store(value, std::memory_order_relaxed);
}

unsigned int PfLogonGet()
{
    return g_logon.load(std::memory_order_relaxed);
}

} // namespace PfLogonNamespace
