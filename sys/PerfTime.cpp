// SPDX-License-Identifier: Apache-2.0

#include "sys/PerfTime.h"

#include "sys/DeviceTime.h"

#include <utility>

PerfTimePoint PerfTime::Now()
{
    return DeviceTime::Now();
}

std::chrono::system_clock::time_point PerfTime::WallNow()
{
    return DeviceTime::WallNow();
}

void PerfThread::Start(std::string const& name, std::function<void()> body)
{
    native = DeviceTime::StartThread(name, std::move(body));
}

void PerfThread::Join()
{
    if (native.joinable()) {
        native.join();
    }
}
