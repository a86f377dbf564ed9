// SPDX-License-Identifier: Apache-2.0

#include "group/SingleNodeValueGroup.h"

#include "sandbox/Sandbox.h"
#include "tests/support/LogCapture.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <sys/fsuid.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using Strings = std::vector<std::string>;

std::ptrdiff_t OpenFiles()
{
    return std::distance(fs::directory_iterator("/proc/self/fd"), {});
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
