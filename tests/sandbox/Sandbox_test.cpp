// SPDX-License-Identifier: Apache-2.0

#include "sandbox/NodeWatch.h"
#include "sandbox/Sandbox.h"
#include "sandbox/VirtualTime.h"
#include "sys/NodeIo.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

using Strings = std::vector<std::string>;

constexpr int UNTOUCHED = 4711;

/** One write, with errno preset, as "result errno". */
std::string Put(int fd, std::string const& text)
{
    errno = UNTOUCHED;
    auto const result = NodeIo::Write(fd, text.data(), text.size());
    return std::to_string(result) + (errno == 0 ? "" : " " + ErrorName(errno));
}

} // namespace

TEST(Sandbox, AWriteReplacesTheContentAndIsRecordedAndAnythingElsePasses)
{
    Sandbox sandbox;
    int const max = NodeIo::Open(sandbox.AddNode("/sys/cpu0/max", "1800000"));
    int const raw = NodeIo::Open(sandbox.AddNode("ddr", "whole"));
    int gone = -1;
    {
        Sandbox other;
        gone = NodeIo::Open(other.AddNode("/sys/cpu0/max"));
        EXPECT_EQ(Put(gone, "1"), "1");
    }
    EXPECT_EQ(Put(gone, "22"), "2") << "an ordinary file that was deleted";
    NodeIo::Close(gone);
    EXPECT_EQ(Put(max, "2000000"), "7");
    EXPECT_EQ(Put(max, "-1"), "2");
    EXPECT_EQ(Put(raw, {"\1\0\0\n", 4}), "4");
    EXPECT_EQ(Put(max, ""), "0");
    EXPECT_EQ(sandbox.Read("sys/cpu0/max"), "-1");
    NodeIo::Close(raw);
    int const file = NodeIo::Open(sandbox.AddFile("list", "100"));
    ASSERT_EQ(file, raw) << "a number used again belongs to no node";
    EXPECT_EQ(Put(file, " 200"), "4");
    EXPECT_EQ(Put(file, "3"), "1");
    EXPECT_EQ(sandbox.Read("list"), "3200") << "always at the start";
    EXPECT_EQ(Lines(sandbox.Writes()), (Strings{"/sys/cpu0/max <- 2000000", "/sys/cpu0/max <- -1",
                                                "ddr <- \\x01\\x00\\x00\\x0a", "/sys/cpu0/max <- "}));
    EXPECT_EQ(sandbox.Writes().size(), 4U);
    sandbox.FailNode("/sys/cpu0/max", Fault::ShortCount(2));
    EXPECT_EQ(Put(max, "4000"), "2");
    EXPECT_EQ(sandbox.Writes(sandbox.Path("sys/cpu0/max"))[3].Line(), "/sys/cpu0/max <- 4000: 2 of 4 bytes");
    sandbox.FailNode("/sys/cpu0/max", Fault::Stale());
    EXPECT_EQ(Put(max, "1"), "-1 ENODEV");
    sandbox.ClearFaults("/sys/cpu0/max");
    EXPECT_EQ(Put(max, "1"), "1") << "what is open is good again";
    EXPECT_THROW(sandbox.FailNode("list", Fault::Gone()), std::out_of_range);
    EXPECT_THROW(sandbox.AddNode("sys/../up"), std::invalid_argument);
    NodeIo::Close(file);
    NodeIo::Close(max);
    EXPECT_EQ(sandbox.OpenDescriptors(), 0);
}

TEST(Sandbox, AGateHoldsOneNodeBackAndTheEndLetsWritersGo)
{
    VirtualTime time;
    auto sandbox = std::make_unique<Sandbox>();
    std::string const root = sandbox->Root();
    int const held = NodeIo::Open(sandbox->AddNode("held"));
    int const other = NodeIo::Open(sandbox->AddNode("other"));
    std::string outcome;
    auto const write = [&](std::string const& text) {
        time.Start("writer", [&, text] { outcome = Put(held, text); });
        time.Settle();
    };
    NodeGate gate(*sandbox, "held");
    write("1");
    EXPECT_EQ(Put(other, "2"), "1");
    EXPECT_EQ(outcome, "");
    gate.Release();
    time.Settle();
    EXPECT_EQ(std::exchange(outcome, ""), "1");
    EXPECT_EQ(Lines(sandbox->Writes()), (Strings{"other <- 2", "held <- 1"}));
    NodeGate again(*sandbox, "held");
    write("3");
    EXPECT_EQ(outcome, "");
    sandbox.reset();
    time.Play();
    EXPECT_EQ(outcome, "-1 EBADF");
    EXPECT_FALSE(std::filesystem::exists(root));
    NodeIo::Close(held);
    NodeIo::Close(other);
}

TEST(NodeWatch, SeesWhatIsWrittenToRealFilesAndLeavesItAlone)
{
    Sandbox folder;
    std::string const path = folder.AddFile("watched");
    std::string const other = folder.AddFile("unwatched");
    int const before = NodeIo::Open(path);
    std::vector<std::string> seen;
    {
        NodeWatch const watch({{path, "/sys/node"}, {"/dev/full", "/sys/full"}},
                              [&](NodeWrite const& write) { seen.push_back(write.Line()); });
        int const watched = NodeIo::Open(path);
        int const full = NodeIo::Open("/dev/full");
        int const unwatched = NodeIo::Open(other);
        EXPECT_EQ(Put(watched, "1200"), "4");
        EXPECT_EQ(Put(watched, "7"), "1");
        EXPECT_EQ(Put(full, "1"), "-1 ENOSPC");
        EXPECT_EQ(Put(unwatched, "unseen"), "6");
        EXPECT_EQ(Put(before, "9"), "1") << "opened before";
        NodeIo::Close(unwatched);
        NodeIo::Close(full);
        NodeIo::Close(watched);
        EXPECT_EQ(NodeIo::Open(other), watched) << "a number used again belongs to no node";
        EXPECT_EQ(Put(watched, "unseen"), "6");
        NodeIo::Close(watched);
    }
    int const after = NodeIo::Open(path);
    EXPECT_EQ(Put(after, "8"), "1");
    NodeIo::Close(after);
    NodeIo::Close(before);
    std::string content(8, '\0');
    std::ifstream(path).read(content.data(), 8);
    EXPECT_STREQ(content.c_str(), "8200");
    EXPECT_EQ(seen, (Strings{"/sys/node <- 1200", "/sys/node <- 7", "/sys/full <- 1: ENOSPC"}));
}
