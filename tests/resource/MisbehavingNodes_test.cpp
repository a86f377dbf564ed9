// SPDX-License-Identifier: Apache-2.0

#include "tests/group/KindFixture.h"

#include "group/DdrGroup.h"
#include "group/FrequencyGroup.h"
#include "group/IpaSustainablePowerGroup.h"
#include "group/LevelMapGroup.h"
#include "group/SingleNodeValueGroup.h"
#include "tests/support/Random.h"

#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>

#include <sys/fsuid.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

std::ptrdiff_t OpenFiles()
{
    return std::distance(fs::directory_iterator("/proc/self/fd"), {});
}

using FaultyNodes = KindTest;

TEST_F(FaultyNodes, AHundredThousandWritesWithFaultsLeaveNoDescriptorBehind)
{
    std::ptrdiff_t const files = OpenFiles();
    std::vector<std::unique_ptr<PerfGroup>> groups;
    groups.push_back(std::make_unique<SingleNodeValueGroup>(Config({"a"}), PERF_WORK_MODE_DEFAULT));
    groups.push_back(std::make_unique<FrequencyGroup>(Config({"a", "b"}), PERF_WORK_MODE_DEFAULT));
    groups.push_back(std::make_unique<DdrGroup>(Config({"b"}), PERF_WORK_MODE_DEFAULT, 2.0f));
    groups.push_back(
        std::make_unique<IpaSustainablePowerGroup>(Config({"a", "b", "c"}), PERF_WORK_MODE_DEFAULT, true, 500, 400));
    LevelToValueMap const levels{{300, {"x", "y"}}, {500, {"", "z"}}};
    for (char const* const name : {"grp", "REMAINDER"}) {
        groups.push_back(std::make_unique<LevelMapGroup>(Levels({"b", "c"}, levels, name), PERF_WORK_MODE_DEFAULT));
    }
    static Fault const FAULTS[] = {Fault::Stale(),          Fault::Gone(),        Fault::Error(EINVAL, 2),
                                   Fault::Error(ENODEV, 1), Fault::ShortCount(0), Fault::OpenError(EACCES, 3),
                                   Fault::OpenError(EMFILE)};
    static char const* const NODES[] = {"a", "b", "c"};
    static int const VALUES[] = {300, 400, 500};
    Random random(1);
    std::size_t writes = 0;
    while (writes < 100'000) {
        if (random.Chance(4)) {
            sandbox.FailNode(random.Pick(NODES), random.Pick(FAULTS));
        } else if (random.Chance(3)) {
            sandbox.ClearFaults(random.Pick(NODES));
        }
        PerfGroup& group = *random.Pick(groups);
        group.DoConfig(random.Pick(VALUES), 8000);
        if (random.Chance(16)) {
            group.CloseAllFds();
        }
        writes += sandbox.TakeWrites().size();
        // Each group has at most one open on each of its nodes.
        ASSERT_LE(sandbox.OpenDescriptors(), 1 + 2 + 1 + 3 + 2 + 2) << "after " << writes << " writes";
        log.Clear();
    }
    groups.clear();
    EXPECT_EQ(sandbox.OpenDescriptors(), 0);
    EXPECT_EQ(OpenFiles(), files);
}

/** A file of a folder, without a sandbox, and a group on it. */
class RealNode : public testing::Test {
protected:
    RealNode()
    {
        std::string name = (TemporaryFolder() / "corvane-node-XXXXXX").string();
        folder = mkdtemp(name.data());
        path = (folder / "node").string();
    }
    ~RealNode() override { fs::remove_all(folder); }

    std::string Content() const
    {
        std::ifstream file(path);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    /** @return what the node holds when the group has written this, and what was logged. */
    Strings Write(SingleNodeValueGroup& group, int value)
    {
        log.Clear();
        group.DoConfig(value, 9000);
        Strings result = log.Lines("PF_SYS_WRAPPER");
        result.insert(result.begin(), fs::is_regular_file(path) ? Content() : "");
        return result;
    }
    std::string OpenFails(std::string const& why) const
    {
        return "E PF_SYS_WRAPPER SysOpenAndWriteStr: [grp] open file " + path + " failed, errno=" + why;
    }

    fs::path folder;
    std::string path;
    LogCapture log;
};

TEST_F(RealNode, IsWrittenAgainOnceItIsThereAgainAndMayBeWritten)
{
    // Root may do anything; file access goes by another user here. On this thread only, which ends with the test.
    bool const isRoot = geteuid() == 0;
    fs::permissions(folder, fs::perms::all);
    if (isRoot) {
        setfsuid(65534);
    }
    SingleNodeValueGroup group({"grp", false, 0, 9000, 300, 9000, {path}, CHIP_TYPE_ANY}, PERF_WORK_MODE_DEFAULT);
    std::ptrdiff_t const files = OpenFiles();
    EXPECT_EQ(Write(group, 100), (Strings{"", OpenFails("2 (No such file or directory)")}));
    fs::create_directory(path);
    EXPECT_EQ(Write(group, 100), (Strings{"", OpenFails("21 (Is a directory)")}));
    fs::remove(path);
    std::ofstream(path).close();
    fs::permissions(path, fs::perms::none);
    EXPECT_EQ(Write(group, 100), (Strings{"", OpenFails("13 (Permission denied)")}));
    EXPECT_EQ(OpenFiles(), files);
    fs::permissions(path, fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_EQ(Write(group, 100), Strings{"100"});
    fs::permissions(path, fs::perms::owner_read);
    EXPECT_EQ(Write(group, 101), Strings{"101"}) << "what is open stays open";

    // A plain file that was deleted goes on taking values without a name, where a kernel node answers ENODEV: only a
    // suspend and resume finds the new one.
    fs::remove(path);
    std::ofstream(path).close();
    EXPECT_EQ(Write(group, 102), Strings{""});
    group.SetSuspend(true);
    group.SetSuspend(false);
    EXPECT_EQ(Write(group, 103), Strings{"103"});
    if (isRoot) {
        setfsuid(0);
    }
}

} // namespace
