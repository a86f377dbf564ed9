// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/render/LogLines.h"

#include <sstream>

#include <android/log.h>

namespace {

char Letter(int priority)
{
    static char const LETTERS[] = "??VDIWEF";
    return priority >= 0 && priority <= ANDROID_LOG_FATAL ? LETTERS[priority] : '?';
}

} // namespace

void LogLines::Hear(StoryRecord const& record)
{
    record.Match(
        [this](Logged const& logged) {
            std::ostringstream line; // one insertion, so that the line stays whole beside other output
            line << "log: " << Letter(logged.priority) << " " << logged.tag << " " << logged.text;
            bool const isGrave = logged.priority >= ANDROID_LOG_ERROR;
            out << (isGrave ? paint.Red(line.str()) : line.str()) + "\n" << std::flush;
        },
        [this](Warned const& warned) { out << paint.Yellow("warning: ") + warned.text + "\n"
                                           << std::flush; });
}
