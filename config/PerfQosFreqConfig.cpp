// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "PF_CONFIG"

#include <corvane/PerfConfig.h>

#include "sys/Log.h"

#include <android-base/properties.h>

#include <cerrno>
#include <fstream>
#include <set>
#include <system_error>
#include <utility>

PerfQosFreqConfig::PerfQosFreqConfig(std::string const& name, std::vector<PerfGroupConfig> groups, std::string listNode,
                                     bool overwriteMax, float coefficient)
    : PerfQosConfig(name, std::move(groups)), freqListNode(std::move(listNode)), overwriteMaxFreq(overwriteMax),
      freqToBandwidthCoefficient(coefficient)
{
}

PerfQosFreqConfig::~PerfQosFreqConfig() = default;

int PerfQosFreqConfig::ReviseGroupConfigValue(unsigned int chipType)
{
    std::vector<int> freqs;
    if (GetAvlFreqs(freqListNode, freqs) != 0) {
        PF_LOGE("[%s:%d] [%s] getAvlFreqs failed!", qosName.c_str());
        return -1;
    }
    if (groupConfigs.size() != 1) {
        PF_LOGE("[%s:%d] [%s] invalid group num: %zu", qosName.c_str(), groupConfigs.size());
        return -1;
    }
    AdjustFreqsByProperty(chipType, freqs);
    AdjustMinMax(freqs);
    return 0;
}

int PerfQosFreqConfig::GetAvlFreqs(std::string const& path, std::vector<int>& freqs)
{
    std::ifstream node(path);
    if (!node.is_open()) {
        PF_LOGE("[%s:%d] [%s] freq list node open fail: %s", qosName.c_str(), path.c_str());
        return -1;
    }
    std::set<int> found;
    int freq = 0;
    errno = 0;
    for (; node >> freq; freq = 0) {
        found.insert(freq);
    }
    int const error = errno;
    if (error != 0) {
        PF_LOGE("[%s:%d] [%s] freq list node %s read fail, errno=%d (%s)", qosName.c_str(), path.c_str(), error,
                std::generic_category().message(error).c_str());
    } else if (freq != 0) { // where a number does not fit, it is the nearest that does
        PF_LOGE("[%s:%d] [%s] freq list node %s ends at a number too large", qosName.c_str(), path.c_str());
    }
    if (found.empty()) {
        PF_LOGE("[%s:%d] [%s] freqList read empty", qosName.c_str());
        return -1;
    }
    freqs.assign(found.begin(), found.end());
    return 0;
}

void PerfQosFreqConfig::AdjustFreqsByProperty(unsigned int chipType, std::vector<int> const& freqs)
{
    if (chipType != CHIP_TYPE_FREQ_SKIP || freqs.empty() || groupConfigs.empty()) {
        return;
    }
    auto const highest = static_cast<unsigned int>(freqs.size() - 1);
    auto const skip = android::base::GetUintProperty<unsigned int>("persist.vendor.cpub_min_freq_skip", 0, highest);
    if (skip == 0 || skip >= freqs.size()) {
        return;
    }
    PerfGroupConfig& config = groupConfigs.front();
    if (freqs[skip] > config.availableMin) {
        config.availableMin = freqs[skip];
        config.boostBase = freqs[skip];
    }
}

void PerfQosFreqConfig::AdjustMinMax(std::vector<int>& freqs)
{
    if (freqs.empty() || groupConfigs.empty()) {
        return;
    }
    int const lo = freqs.front();
    int const hi = freqs.back();
    PerfGroupConfig& config = groupConfigs.front();
    if (overwriteMaxFreq) {
        PF_LOGI("[%s:%d] overwrite max freq %u %u ->%u", config.availableMax, config.limitBase, hi);
        config.availableMax = hi;
        config.limitBase = hi;
    }
    if (config.availableMin < lo) {
        PF_LOGI("[%s:%d] adjust available min freq %u->%u", config.availableMin, lo);
        config.availableMin = lo;
    }
    if (config.boostBase < lo) {
        PF_LOGI("[%s:%d] adjust base min freq %u->%u", config.boostBase, lo);
        config.boostBase = lo;
    }
    if (config.availableMax > hi) {
        PF_LOGI("[%s:%d] adjust available max freq %u->%u", config.availableMax, hi);
        config.availableMax = hi;
    }
    if (config.limitBase > hi) {
        PF_LOGI("[%s:%d] adjust base max freq %u->%u", config.limitBase, hi);
        config.limitBase = hi;
    }
}
