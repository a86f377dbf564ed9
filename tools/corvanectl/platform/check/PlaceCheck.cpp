// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/platform/check/PlatformCheck.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace {

namespace fs = std::filesystem;

/** A file that the platform names. */
struct Place {
    enum class Use { WRITTEN, READ, UNUSED }; ///< unused: of another chip's variant, or of a resource that is not built

    std::string field; ///< where it is named, as in "qos[2].groups[0].nodes[1]"
    std::string name;
    Use use;
    std::vector<int> const* frequencies = nullptr; ///< what a list holds
};

class Places {
public:
    explicit Places(Findings& list) : findings(list) {}

    void Add(Place const& place)
    {
        if (place.name.empty() || findings.AnyUnreadableUnder(place.field)) {
            return; // told elsewhere
        }
        std::string const fault = FaultOfPath(place.name);
        if (!fault.empty()) {
            findings.Add(place.field, fault);
            return;
        }
        Place& first = known.try_emplace(Normal(place.name), place).first->second;
        if (first.use == Place::Use::UNUSED || place.use == Place::Use::UNUSED) {
            first = first.use == Place::Use::UNUSED ? place : first;
        } else if (first.field != place.field && !IsSharedList(first, place)) {
            findings.Add(place.field, "\"" + place.name + "\" is " + first.field + " already");
        }
    }

    /** Where one file's path is a folder of another's. */
    void CheckFolders()
    {
        for (auto const& [path, place] : known) {
            for (fs::path folder = fs::path(path).parent_path(); folder.has_relative_path();
                 folder = folder.parent_path()) {
                auto const file = known.find(folder.string());
                if (file != known.end()) {
                    findings.Add(place.field, "\"" + place.name + "\" is below a file, " + file->second.field);
                }
            }
        }
    }

private:
    static std::string Normal(std::string const& name)
    {
        return (fs::path("/") / fs::path(name).relative_path()).lexically_normal().string();
    }

    static std::string FaultOfPath(std::string const& name)
    {
        // The system's bounds, with room for another root before the path.
        constexpr std::size_t LONGEST_NAME = 255;
        constexpr std::size_t LONGEST_PATH = 3840;
        fs::path const path(name);
        if (name.find('\0') != std::string::npos) {
            return "the path holds a zero byte";
        }
        if (std::find(path.begin(), path.end(), "..") != path.end()) {
            return "\"" + name + "\" must not contain \"..\"";
        }
        if (!path.has_filename() || path.filename() == ".") {
            return "\"" + name + "\" is the path of a folder";
        }
        bool const fits = std::all_of(path.begin(), path.end(),
                                      [](fs::path const& part) { return part.native().size() <= LONGEST_NAME; });
        return fits && name.size() <= LONGEST_PATH ? "" : "the path is too long";
    }

    static bool IsSharedList(Place const& first, Place const& second)
    {
        return first.use == Place::Use::READ && second.use == Place::Use::READ &&
               *first.frequencies == *second.frequencies;
    }

    Findings& findings;
    std::map<std::string, Place> known; ///< by normal path
};

void AddResource(std::string const& path, QosEntry const& entry, PerfConfigControlInfo const& control, Places& places)
{
    bool const isBuilt = IsBuilt(entry, control);
    auto const use = [isBuilt](Place::Use whenBuilt) { return isBuilt ? whenBuilt : Place::Use::UNUSED; };
    auto const selected = SelectedGroups(entry, control);
    for (std::size_t group = 0; group < entry.groups.size(); ++group) {
        bool const isSelected = std::find(selected.begin(), selected.end(), group) != selected.end();
        auto const& nodes = entry.groups[group].nodePathVec;
        for (std::size_t node = 0; node < nodes.size(); ++node) {
            places.Add({path + ".groups[" + std::to_string(group) + "].nodes[" + std::to_string(node) + "]",
                        nodes[node], isSelected ? use(Place::Use::WRITTEN) : Place::Use::UNUSED});
        }
    }
    places.Add({path + ".globalBoostNode", entry.globalBoostNode, use(Place::Use::WRITTEN)});
    places.Add({path + ".freqListNode", entry.freqListNode, use(Place::Use::READ), &entry.frequencies});
}

} // namespace

void CheckPlaces(Platform const& platform, Findings& findings)
{
    Places places(findings);
    for (std::size_t i = 0; i < platform.qos.size(); ++i) {
        std::string const path = "qos[" + std::to_string(i) + "]";
        if (!findings.AnyUnreadableUnder(path)) {
            AddResource(path, platform.qos[i], platform.control, places);
        }
    }
    places.Add({"probe.threadBinderNode", platform.threadBinderNode, Place::Use::WRITTEN});
    places.CheckFolders();
}
