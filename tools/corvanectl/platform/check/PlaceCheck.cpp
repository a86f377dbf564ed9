// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/platform/check/PlatformCheck.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

enum class Use { WRITTEN, READ, UNUSED }; ///< unused: of another chip's variant, or of a resource that is not built

/** A file that the platform names. */
struct NamedFile {
    std::string field; ///< where it is named, as in "qos[2].groups[0].nodes[1]"
    std::string name;
    Use use;
    std::vector<int> const* frequencies = nullptr; ///< what a list holds
};

class NamedFiles {
public:
    explicit NamedFiles(Findings& list) : findings(list) {}

    void Add(NamedFile const& file)
    {
        if (file.name.empty() || findings.AnyUnreadableUnder(file.field)) {
            return; // told elsewhere
        }
        std::string const fault = FaultOfPath(file.name);
        if (!fault.empty()) {
            findings.Add(file.field, fault);
            return;
        }
        NamedFile& first = known.try_emplace(Normal(file.name), file).first->second;
        if (first.use == Use::UNUSED || file.use == Use::UNUSED) {
            first = first.use == Use::UNUSED ? file : first;
        } else if (first.field != file.field && !IsSharedList(first, file)) {
            findings.Add(file.field, "\"" + file.name + "\" is " + first.field + " already");
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

    static bool IsSharedList(NamedFile const& first, NamedFile const& second)
    {
        return first.use == Use::READ && second.use == Use::READ && *first.frequencies == *second.frequencies;
    }

    Findings& findings;
    std::map<std::string, NamedFile> known; ///< by normal path
};

} // namespace

void CheckPlaces(Platform const& platform, Findings& findings)
{
    std::set<std::string> written;
    for (PlatformNode const& node : WrittenNodesOf(platform)) {
        written.insert(node.path);
    }
    std::vector<PlatformNode> const nodes = NodesOf(platform);
    NamedFiles files(findings);
    auto node = nodes.begin();
    auto const addNodesOf = [&](std::size_t resource, bool isReadable) {
        for (; node != nodes.end() && node->resource == resource; ++node) {
            if (isReadable) {
                files.Add({node->path, node->name, written.count(node->path) != 0 ? Use::WRITTEN : Use::UNUSED});
            }
        }
    };
    for (std::size_t i = 0; i < platform.qos.size(); ++i) {
        QosEntry const& entry = platform.qos[i];
        std::string const path = Indexed("qos", i);
        bool const isReadable = !findings.AnyUnreadableUnder(path);
        addNodesOf(i, isReadable);
        if (isReadable) {
            files.Add({path + ".freqListNode", entry.freqListNode,
                       IsBuilt(entry, platform.control) ? Use::READ : Use::UNUSED, &entry.frequencies});
        }
    }
    addNodesOf(platform.qos.size(), true);
    files.CheckFolders();
}
