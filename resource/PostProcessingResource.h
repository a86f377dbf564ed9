// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "resource/PerfResource.h"

/** A resource that decides its writes from its groups together, after each command and each change of work mode. */
class PostProcessingResource : public PerfResource {
public:
    explicit PostProcessingResource(ResConstructParam const& param);
    ~PostProcessingResource() override;

    int SetWorkMode(PerfCommandItem const& item) override;
    int CommandProcess(PerfCommandItem const& item, GroupOperation const& operation) override;
    virtual int CommandPostProcess() = 0;
};
