#include "sandbox/NodeWatch.h"
#include "sandbox/Sandbox.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <future>

#include <fcntl.h>
#include <unistd.h>

namespace {

using Strings = std::vector<std::string>;
using namespace std::chrono_literals;

constexpr int UNTOUCHED = 4711;

/** One write or, where a position is given, pwrite with errno preset, as "result errno". */
std::string Put(int fd, std::string const& text, off_t position = -1)
{
    errno = UNTOUCHED;
    auto const result =
        position < 0 ? write(fd, text.data(), text.size()) : pwrite(fd, text.data(), text.size(), position);
    return std::to_string(result) + (errno == UNTOUCHED ? "" : " " + ErrorName(errno));
}

int OpenFile(std::string const& path, int flags = 0)
{
    return open(path.c_str(), O_WRONLY | flags);
}

} // namespace

TEST(Sandbox, AWriteReplacesTheContentAndIsRecordedAndAnythingElsePasses)
{
    Sandbox sandbox;
    int const max = OpenFile(sandbox.AddNode("/sys/cpu0/max", "1800000"));
    int const raw = OpenFile(sandbox.AddNode("ddr", "whole"), O_TRUNC | O_APPEND);
    EXPECT_EQ(Put(max, "2000000"), "7");
    EXPECT_EQ(Put(max, "-1"), "2");
    EXPECT_EQ(Put(raw, {"\1\0\0\n", 4}), "4");
    EXPECT_EQ(Put(max, ""), "0");
    EXPECT_EQ(sandbox.Read("sys/cpu0/max"), "-1");
    close(raw);
    int const file = OpenFile(sandbox.AddFile("list", "100"), O_APPEND);
    ASSERT_EQ(file, raw) << "a number used again belongs to no node";
    EXPECT_EQ(Put(file, " 200"), "4");
    EXPECT_EQ(Put(file, " 300"), "4");
    EXPECT_EQ(sandbox.Read("list"), "100 200 300");
    EXPECT_EQ(Lines(sandbox.Writes()), (Strings{"/sys/cpu0/max <- 2000000", "/sys/cpu0/max <- -1",
                                                "ddr <- \\x01\\x00\\x00\\x0a", "/sys/cpu0/max <- "}));
    EXPECT_EQ(sandbox.TakeWrites()[3].sequence, 4U);
    EXPECT_EQ(sandbox.WriteCount(), 0U);
    close(file);
    close(max);
    EXPECT_EQ(sandbox.OpenDescriptors(), 0);
}

/** What the kernel answers to the same calls on /proc/sys/kernel/msgmax and /sys/class/net/lo/mtu. */
TEST(Sandbox, ASysctlIgnoresWhatIsWrittenElsewhereThanAtItsStart)
{
    struct Step {
        std::string text;
        off_t position; ///< -1: write, not pwrite
        std::string result;
        std::string sysctl; ///< what either node says afterwards
        std::string other;
        off_t next; ///< where the descriptor stands afterwards
    };
    Step const steps[] = {
        {"20000", -1, "5", "20000", "20000", 5}, {"900", -1, "3", "20000", "900", 8}, {"70", 0, "2", "70", "70", 8},
        {"800", 3, "3", "70", "800", 8},         {"", 0, "0", "70", "800", 8},        {"", 2, "0", "70", "800", 8},
        {"", -1, "0", "70", "800", 8},           {"40", 0, "2", "40", "40", 8},
    };
    Sandbox sandbox;
    int const sysctl = OpenFile(sandbox.AddNode("/proc/sys/kernel/msgmax", "8192"), O_APPEND);
    int const other = OpenFile(sandbox.AddNode("/sys/class/net/lo/mtu", "65536"));
    for (Step const& step : steps) {
        SCOPED_TRACE(&step - steps);
        EXPECT_EQ(Put(sysctl, step.text, step.position), step.result);
        EXPECT_EQ(Put(other, step.text, step.position), step.result);
        EXPECT_EQ(sandbox.Read("/proc/sys/kernel/msgmax"), step.sysctl);
        EXPECT_EQ(sandbox.Read("/sys/class/net/lo/mtu"), step.other);
        EXPECT_EQ(lseek(sysctl, 0, SEEK_CUR), step.next);
        EXPECT_EQ(lseek(other, 0, SEEK_CUR), step.next);
    }
    sandbox.FailNode("/proc/sys/kernel/msgmax", Fault::Error(EINVAL));
    EXPECT_EQ(Put(sysctl, "junk", 1), "4") << "not looked at, so not refused";
    EXPECT_EQ(Put(sysctl, "junk", 0), "-1 EINVAL");
    EXPECT_EQ(sandbox.Writes("/proc/sys/kernel/msgmax")[1].Line(), "/proc/sys/kernel/msgmax <- 900: ignored at 5");
    EXPECT_EQ(pwrite(other, "1", 1, -1), -1);
    EXPECT_EQ(errno, EINVAL);
    close(sysctl);
    close(other);
}

TEST(Sandbox, FaultsStrikeAsLongAsTheySay)
{
    struct Row {
        std::vector<Fault> faults;
        Strings onOldDescriptor;
        Strings afterReopening;
        std::string content;
    };
    Row const rows[] = {
        {{Fault::Stale()}, {"-1 ENODEV", "-1 ENODEV"}, {"4", "4"}, "1234"},
        {{Fault::Gone()}, {"-1 ENODEV", "-1 ENODEV"}, {"-1 ENODEV", "-1 ENODEV"}, "old"},
        {{Fault::Error(EBUSY, 3)}, {"-1 EBUSY", "-1 EBUSY"}, {"-1 EBUSY", "4"}, "1234"},
        {{Fault::ShortCount(2, 1)}, {"2", "4"}, {"4", "4"}, "1234"},
        {{Fault::OpenError(EACCES)}, {"4", "4"}, {"EACCES"}, "1234"},
        {{Fault::Stale(), Fault::Error(EINVAL, 1)}, {"-1 ENODEV", "-1 ENODEV"}, {"-1 EINVAL", "4"}, "1234"},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(&row - rows);
        Sandbox sandbox;
        std::string const path = sandbox.AddNode("node", "old");
        int fd = OpenFile(path);
        for (Fault const& fault : row.faults) {
            sandbox.FailNode("node", fault);
        }
        EXPECT_EQ((Strings{Put(fd, "1234"), Put(fd, "1234")}), row.onOldDescriptor);
        close(fd);
        fd = OpenFile(path);
        Strings const outcome = fd < 0 ? Strings{ErrorName(errno)} : Strings{Put(fd, "1234"), Put(fd, "1234")};
        EXPECT_EQ(outcome, row.afterReopening);
        EXPECT_EQ(sandbox.Read("node"), row.content);
        close(fd);
        sandbox.ClearFaults(path);
        fd = OpenFile(path);
        EXPECT_EQ(Put(fd, "end"), "3");
        close(fd);
    }
}

TEST(Sandbox, AGateHoldsOneNodeBackAndTheEndLetsWritersGo)
{
    auto sandbox = std::make_unique<Sandbox>();
    std::string const root = sandbox->Root();
    int const held = OpenFile(sandbox->AddNode("held"));
    int const other = OpenFile(sandbox->AddNode("other"));
    std::future<std::string> writer;
    NodeGate gate(*sandbox, "held");
    writer = std::async(std::launch::async, [held] { return Put(held, "1"); });
    ASSERT_TRUE(gate.WaitBlocked());
    EXPECT_EQ(Put(other, "2"), "1");
    EXPECT_FALSE(sandbox->WaitForContent("held", "1", 1ms));
    gate.Release();
    EXPECT_TRUE(sandbox->WaitForContent("held", "1"));
    EXPECT_EQ(Lines(sandbox->Writes()), (Strings{"other <- 2", "held <- 1"}));
    NodeGate again(*sandbox, "held");
    writer = std::async(std::launch::async, [held] { return Put(held, "3"); });
    ASSERT_TRUE(again.WaitBlocked());
    sandbox.reset();
    EXPECT_EQ(writer.get(), "-1 EBADF");
    EXPECT_FALSE(std::filesystem::exists(root));
    close(held);
    close(other);
}

TEST(NodeWatch, SeesWhatIsWrittenToRealFilesAndLeavesItAlone)
{
    char path[] = "/tmp/corvane-watched-XXXXXX";
    char other[] = "/tmp/corvane-unwatched-XXXXXX";
    close(mkstemp(path));
    close(mkstemp(other));
    int const before = OpenFile(path);
    std::vector<std::string> seen;
    {
        NodeWatch const watch({{path, "/sys/node"}, {"/dev/full", "/sys/full"}},
                              [&](NodeWrite const& write) { seen.push_back(write.Line()); });
        int const watched = OpenFile(path);
        int const full = OpenFile("/dev/full");
        int const unwatched = OpenFile(other);
        EXPECT_EQ(Put(watched, "1200"), "4");
        EXPECT_EQ(Put(watched, "7", 0), "1");
        EXPECT_EQ(Put(full, "1"), "-1 ENOSPC");
        EXPECT_EQ(Put(unwatched, "unseen"), "6");
        EXPECT_EQ(Put(before, "9", 1), "1") << "opened before";
        close(unwatched);
        close(full);
        close(watched);
        EXPECT_EQ(OpenFile(other), watched) << "a number used again belongs to no node";
        EXPECT_EQ(Put(watched, "unseen"), "6");
        close(watched);
    }
    int const after = OpenFile(path);
    EXPECT_EQ(Put(after, "8", 2), "1");
    close(after);
    close(before);
    std::string content(8, '\0');
    std::ifstream(path).read(content.data(), 8);
    EXPECT_STREQ(content.c_str(), "9280");
    EXPECT_EQ(seen, (Strings{"/sys/node <- 1200", "/sys/node <- 7", "/sys/full <- 1: ENOSPC"}));
    unlink(path);
    unlink(other);
}
