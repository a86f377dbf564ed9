// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "PF_LEVEL_MAP_GROUP"

#include "group/LevelMapGroup.h"

#include "sys/Log.h"
#include "sys/SysWrapper.h"

namespace {

/**
 * Service descriptions rely on this name: the nodes of a group that bears it, and of no other, may be missing without
 * an error line.
 */
constexpr char const* SKIPPING_GROUP = "REMAINDER";

} // namespace

LevelMapGroup::LevelMapGroup(PerfGroupConfig const& config, PerfWorkMode mode)
    : PerfGroup(config, mode), skipsUnopenableNodes(config.name == SKIPPING_GROUP), levelMap(config.level2ValueMap)
{
}

bool LevelMapGroup::GroupParametersValidate(PerfGroupConfig& config)
{
    char const* const tag = config.name.c_str();
    if (config.level2ValueMap.empty()) {
        PF_LOGE("[%s:%d] [%s] level2value mapping is empty", tag);
        return false;
    }
    for (auto const& [level, texts] : config.level2ValueMap) {
        if (texts.size() != config.nodePathVec.size()) {
            PF_LOGE("[%s:%d] [%s] invalid group value size %zu, not equal to paths size %zu", tag, texts.size(),
                    config.nodePathVec.size());
            return false;
        }
    }
    if (!PerfGroup::GroupParametersValidate(config)) {
        PF_LOGE("[%s:%d] [%s] GroupParametersValidate failed!", tag);
        return false;
    }
    return true;
}

void LevelMapGroup::DumpBaseValueAfterMapping(std::vector<SpecifiedGroupDumpInfo>& out) const
{
    auto const found = levelMap.find(BoostBaseValue());
    if (found == levelMap.end()) {
        PF_LOGE("[%s:%d] [%s] invalid level: %u", name.c_str(), BoostBaseValue());
        return;
    }
    std::vector<std::string> const& texts = found->second;
    if (texts.size() != nodes.size()) {
        return;
    }
    out.clear();
    for (size_t i = 0; i < nodes.size(); ++i) {
        out.push_back({texts[i], "", nodes[i].path, ""});
    }
}

int LevelMapGroup::OperationValueValidate(int& value) const
{
    if (PerfGroup::OperationValueValidate(value) != 0) {
        PF_LOGE("[%s:%d] [%s] OperationValueValidate failed!", name.c_str());
        return -1;
    }
    if (levelMap.count(value) == 0) {
        PF_LOGE("[%s:%d] [%s] cmd value can't be found in levelMapping: %d", name.c_str(), value);
        return -1;
    }
    return 0;
}

void LevelMapGroup::DoConfig(int boostValue, int)
{
    auto const found = levelMap.find(boostValue);
    if (found == levelMap.end()) {
        PF_LOGE("[%s:%d] [%s] invalid level: %d", name.c_str(), boostValue);
        return;
    }
    writtenLevel = boostValue;
    // A monitor-enable group may carry fewer texts than nodes: a node without a text is left alone.
    std::vector<std::string> const& texts = found->second;
    for (size_t i = 0; i < nodes.size() && i < texts.size(); ++i) {
        Node& node = nodes[i];
        if (skipsUnopenableNodes && node.fd < 0) {
            node.fd = SysWrapper::SysOpenWithWrOnly(node.path);
            if (node.fd < 0) {
                node.failed = false;
                PF_LOGD("[%s:%d] [%s] open file [%s] failed", name.c_str(), node.path.c_str());
                continue;
            }
        }
        PF_LOGI_VERBOSE("[%s:%d] ############ [%s] final write %d: %s\n", name.c_str(), boostValue, texts[i].c_str());
        WriteText(node, texts[i]);
    }
}

void LevelMapGroup::CloseAllFds()
{
    CloseNodes();
}

void LevelMapGroup::WriteAnew()
{
    if (writtenLevel) {
        LevelMapGroup::DoConfig(*writtenLevel, *writtenLevel);
    }
}
