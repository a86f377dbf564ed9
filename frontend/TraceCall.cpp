// SPDX-License-Identifier: Apache-2.0

#include "frontend/TraceCall.h"

#include "sys/SysWrapper.h"

#include <string>

void TraceCall(char const* label, unsigned int const* id, std::vector<unsigned int> const& params)
{
    if (!SysWrapper::IsSysTraceEnabled()) {
        return;
    }
    std::string text = label;
    if (id != nullptr) {
        text += std::to_string(*id);
    }
    for (unsigned int const param : params) {
        text += " " + std::to_string(param);
    }
    SysWrapper::SysTraceName(text);
}
