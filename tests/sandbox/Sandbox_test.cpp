#include "sandbox/Sandbox.h"

#include "tests/support/LogCapture.h"
#include "tests/support/TraceCapture.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <filesystem>
#include <future>
#include <stdexcept>
#include <thread>

#include <cutils/trace.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

using Strings = std::vector<std::string>;
using namespace std::chrono_literals;

constexpr int UNTOUCHED = 4711;

/** One write with errno preset, as "result errno". */
std::string Put(int fd, std::string const& text)
{
    errno = UNTOUCHED;
    auto const result = write(fd, text.data(), text.size());
    return std::to_string(result) + (errno == UNTOUCHED ? "" : std::string(" ") + strerrorname_np(errno));
}

int OpenNode(std::string const& path)
{
    return open(path.c_str(), O_WRONLY);
}

/** A call of the process before any static object is made: nothing of the sandbox may need initialisation. */
bool wroteEarly = false;
__attribute__((constructor(101))) void WriteEarly()
{
    int const fd = open("/dev/null", O_WRONLY);
    wroteEarly = write(fd, "x", 1) == 1 && close(fd) == 0;
}

} // namespace

extern "C" void atrace_begin_body(char const* name);
extern "C" void atrace_end_body();

TEST(Sandbox, AWriteReplacesTheContentAndIsRecorded)
{
    Sandbox sandbox;
    int const max = OpenNode(sandbox.AddNode("/sys/cpu0/max", "1800000"));
    int const raw = open(sandbox.AddNode("ddr", "whole").c_str(), O_WRONLY | O_TRUNC | O_APPEND);
    EXPECT_EQ(sandbox.Read("ddr"), "whole");
    EXPECT_EQ(Put(max, "2000000"), "7");
    EXPECT_EQ(Put(max, "-1"), "2");
    EXPECT_EQ(sandbox.Read("sys/cpu0/max"), "-1");
    EXPECT_EQ(Put(raw, {"\1\0\0\n", 4}), "4");
    EXPECT_EQ(sandbox.Read("ddr").size(), 4U);
    EXPECT_EQ(Put(max, ""), "0");
    EXPECT_EQ(sandbox.Read("/sys/cpu0/max"), "-1");
    EXPECT_EQ(Lines(sandbox.Writes()), (Strings{"/sys/cpu0/max <- 2000000", "/sys/cpu0/max <- -1",
                                                "ddr <- \\x01\\x00\\x00\\x0a", "/sys/cpu0/max <- "}));
    EXPECT_EQ(Texts(sandbox.Writes("ddr")), Strings{"\\x01\\x00\\x00\\x0a"});
    auto const writes = sandbox.TakeWrites();
    EXPECT_LE(writes[0].time, writes[3].time);
    EXPECT_EQ(writes[3].sequence, 4U);
    EXPECT_EQ(sandbox.WriteCount(), 0U);
    close(max);
    close(raw);
}

TEST(Sandbox, AnythingElsePassesUntouched)
{
    EXPECT_TRUE(wroteEarly);
    Sandbox sandbox;
    sandbox.AddNode("node", "n");
    int const file = open(sandbox.AddFile("list", "100 200").c_str(), O_WRONLY | O_APPEND);
    std::array<int, 2> ends{};
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()), 0);
    EXPECT_EQ(Put(file, " 300"), "4");
    EXPECT_EQ(Put(ends[0], "abc"), "3");
    EXPECT_EQ(sandbox.Read("list"), "100 200 300");
    EXPECT_EQ(Put(-1, "x"), "-1 EBADF");
    EXPECT_EQ(OpenNode(sandbox.Path("nowhere")), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(close(-1), -1);
    EXPECT_EQ(errno, EBADF);
    int const made = open(sandbox.Path("made").c_str(), O_WRONLY | O_CREAT, 0600);
    EXPECT_EQ(std::filesystem::status(sandbox.Path("made")).permissions(), std::filesystem::perms(0600));
    EXPECT_EQ(sandbox.WriteCount(), 0U);
    for (int const fd : {file, ends[0], ends[1], made}) {
        close(fd);
    }
}

TEST(Sandbox, ANumberUsedAgainIsForgotten)
{
    Sandbox sandbox;
    int const fd = OpenNode(sandbox.AddNode("node", "kept"));
    EXPECT_EQ(sandbox.OpenDescriptors("node"), 1);
    close(fd);
    EXPECT_EQ(sandbox.OpenDescriptors(), 0);
    int const reused = open(sandbox.AddFile("file").c_str(), O_WRONLY | O_APPEND);
    ASSERT_EQ(reused, fd);
    EXPECT_EQ(Put(reused, "a"), "1");
    EXPECT_EQ(Put(reused, "b"), "1");
    EXPECT_EQ(sandbox.Read("file"), "ab");
    EXPECT_EQ(sandbox.WriteCount(), 0U);
    close(reused);
}

TEST(Sandbox, FaultsStrikeAsLongAsTheySay)
{
    struct Row {
        char const* name;
        std::vector<Fault> faults;
        Strings onOldDescriptor;
        Strings afterReopening;
        std::string content;
    };
    std::vector<Row> const rows = {
        {"none", {}, {"4", "4"}, {"4", "4"}, "1234"},
        {"stale", {Fault::Stale()}, {"-1 ENODEV", "-1 ENODEV"}, {"4", "4"}, "1234"},
        {"gone", {Fault::Gone()}, {"-1 ENODEV", "-1 ENODEV"}, {"-1 ENODEV", "-1 ENODEV"}, "old"},
        {"error", {Fault::Error(EBUSY, 3)}, {"-1 EBUSY", "-1 EBUSY"}, {"-1 EBUSY", "4"}, "1234"},
        {"short", {Fault::ShortCount(2, 1)}, {"2", "4"}, {"4", "4"}, "1234"},
        {"short for ever", {Fault::ShortCount(2)}, {"2", "2"}, {"2", "2"}, "12"},
        {"open", {Fault::OpenError(EACCES)}, {"4", "4"}, {"EACCES"}, "1234"},
        {"open once", {Fault::Stale(), Fault::OpenError(EACCES, 1)}, {"-1 ENODEV", "-1 ENODEV"}, {"EACCES"}, "old"},
        {"stale, then refused",
         {Fault::Stale(), Fault::Error(EINVAL, 1)},
         {"-1 ENODEV", "-1 ENODEV"},
         {"-1 EINVAL", "4"},
         "1234"},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.name);
        Sandbox sandbox;
        std::string const path = sandbox.AddNode("node", "old");
        int fd = OpenNode(path);
        for (Fault const& fault : row.faults) {
            sandbox.FailNode("node", fault);
        }
        EXPECT_EQ((Strings{Put(fd, "1234"), Put(fd, "1234")}), row.onOldDescriptor);
        close(fd);
        fd = OpenNode(path);
        EXPECT_EQ(fd < 0 ? Strings{strerrorname_np(errno)} : (Strings{Put(fd, "1234"), Put(fd, "1234")}),
                  row.afterReopening);
        EXPECT_EQ(sandbox.Read("node"), row.content);
        EXPECT_EQ(sandbox.WriteCount(), fd < 0 ? 2U : 4U);
        close(fd);
        sandbox.ClearFaults(path);
        fd = OpenNode(path);
        EXPECT_EQ(Put(fd, "end"), "3");
        close(fd);
    }
}

TEST(Sandbox, ARecordTellsWhatWasRefused)
{
    Sandbox sandbox;
    int const fd = OpenNode(sandbox.AddNode("node"));
    sandbox.FailNode("node", Fault::Error(EINVAL, 1));
    sandbox.FailNode("node", Fault::ShortCount(2, 1));
    sandbox.FailNode("node", Fault::Delay(30ms, 1));
    auto const before = std::chrono::steady_clock::now();
    Put(fd, "1234");
    Put(fd, "5678");
    EXPECT_EQ(Lines(sandbox.Writes()), (Strings{"node <- 1234: EINVAL", "node <- 5678: 2 of 4 bytes"}));
    EXPECT_GE(sandbox.Writes()[0].time - before, 30ms);
    EXPECT_EQ(sandbox.Writes()[0].error, EINVAL);
    close(fd);
    EXPECT_THROW(sandbox.FailNode("other", Fault::Gone()), std::out_of_range);
    EXPECT_THROW(sandbox.AddNode("../other"), std::invalid_argument);
}

TEST(Sandbox, AGateHoldsOneNodeBack)
{
    Sandbox sandbox;
    int const held = OpenNode(sandbox.AddNode("held"));
    int const other = OpenNode(sandbox.AddNode("other"));
    std::future<std::string> writer;
    NodeGate gate(sandbox, "held");
    EXPECT_FALSE(gate.WaitBlocked(0ms));
    writer = std::async(std::launch::async, [held] { return Put(held, "1"); });
    ASSERT_TRUE(gate.WaitBlocked());
    EXPECT_EQ(Put(other, "2"), "1");
    EXPECT_EQ(sandbox.WriteCount(), 1U);
    EXPECT_FALSE(sandbox.WaitForContent("held", "1", 1ms));
    gate.Release();
    EXPECT_TRUE(sandbox.WaitForContent("held", "1"));
    EXPECT_EQ(writer.get(), "1");
    EXPECT_EQ(Lines(sandbox.Writes()), (Strings{"other <- 2", "held <- 1"}));
    NodeGate again(sandbox, "held");
    writer = std::async(std::launch::async, [held] { return Put(held, "3"); });
    ASSERT_TRUE(again.WaitBlocked());
    close(held);
    ASSERT_EQ(OpenNode(sandbox.Path("held")), held); // the number is the same, the descriptor is not
    again.Release();
    EXPECT_EQ(writer.get(), "-1 EBADF");
    close(held);
    close(other);
}

TEST(Sandbox, ItsEndLetsWritersGoAndDescriptorsLiveOn)
{
    auto sandbox = std::make_unique<Sandbox>();
    Sandbox neighbour;
    std::string const root = sandbox->Root();
    int const held = OpenNode(sandbox->AddNode("held"));
    int const idle = OpenNode(sandbox->AddNode("idle"));
    int const next = OpenNode(neighbour.AddNode("held"));
    NodeGate gate(*sandbox, "held");
    auto writer = std::async(std::launch::async, [held] { return Put(held, "1"); });
    ASSERT_TRUE(gate.WaitBlocked());
    sandbox.reset();
    EXPECT_EQ(writer.get(), "-1 EBADF");
    EXPECT_EQ(Put(idle, "1"), "1");
    EXPECT_EQ(Put(next, "2"), "1");
    EXPECT_EQ(Lines(neighbour.Writes()), Strings{"held <- 2"});
    EXPECT_FALSE(std::filesystem::exists(root));
    for (int const fd : {held, idle, next}) {
        EXPECT_EQ(close(fd), 0);
    }
}

TEST(Sandbox, ManyThreadsAreSeenInOneOrder)
{
    constexpr std::size_t THREADS = 4;
    constexpr std::size_t ROUNDS = 200;
    Sandbox sandbox;
    std::atomic<std::size_t> observed{0};
    sandbox.OnWrite([&](NodeWrite const& write) {
        observed += write.result == 2 && sandbox.WriteCount() >= write.sequence ? 1 : 0;
    });
    std::vector<std::thread> threads;
    threads.reserve(THREADS);
    for (std::size_t number = 0; number < THREADS; ++number) {
        threads.emplace_back([path = sandbox.AddNode("node" + std::to_string(number))] {
            for (std::size_t round = 0; round < ROUNDS; ++round) {
                int const fd = OpenNode(path);
                int const null = open("/dev/null", O_WRONLY);
                Put(fd, std::to_string(10 + round % 90));
                Put(null, "x");
                close(null);
                close(fd);
            }
        });
    }
    EXPECT_TRUE(sandbox.WaitForWrites(THREADS * ROUNDS));
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(observed, THREADS * ROUNDS);
    EXPECT_EQ(sandbox.OpenDescriptors(), 0);
    auto const writes = sandbox.TakeWrites();
    for (std::size_t index = 0; index < writes.size(); ++index) {
        ASSERT_EQ(writes[index].sequence, index + 1);
    }
    EXPECT_FALSE(sandbox.WaitForWrites(1, 0ms));
}

TEST(TestSupport, LogLinesAreTakenApart)
{
    std::atomic<bool> stop{false};
    std::thread noise([&stop] {
        while (!stop) {
            __android_log_print(ANDROID_LOG_DEBUG, "NOISE", "while captures begin and end");
        }
    });
    for (int round = 0; round < 100; ++round) {
        LogCapture const passing;
    }
    stop = true;
    noise.join();
    LogCapture log;
    __android_log_print(ANDROID_LOG_ERROR, "PF_GROUP", "[%s:%d] [%s] refused \n", "ShortTermStart", 12, "cpu");
    __android_log_print(ANDROID_LOG_DEBUG, "PF_RES", "[cpu] no prefix");
    EXPECT_TRUE(log.Has(ANDROID_LOG_ERROR, "PF_GROUP", "ShortTermStart", "[cpu] refused"));
    EXPECT_FALSE(log.Has(ANDROID_LOG_WARN, "PF_GROUP", "ShortTermStart", "[cpu] refused"));
    EXPECT_EQ(log.Lines(), (Strings{"E PF_GROUP ShortTermStart: [cpu] refused", "D PF_RES [cpu] no prefix"}));
    EXPECT_EQ(log.Lines("PF_RES"), Strings{"D PF_RES [cpu] no prefix"});
    log.Clear();
    EXPECT_EQ(log.Count(ANDROID_LOG_ERROR), 0U);
}

TEST(TestSupport, TraceLabelsAreCollected)
{
    auto const tags = atrace_enabled_tags;
    atrace_begin_body("before");
    {
        TraceCapture trace;
        EXPECT_EQ(atrace_enabled_tags, std::uint64_t{ATRACE_TAG_GRAPHICS});
        atrace_begin_body("label");
        EXPECT_EQ(trace.OpenSlices(), 1);
        atrace_end_body();
        EXPECT_EQ(trace.OpenSlices(), 0);
        EXPECT_EQ(trace.Labels(), Strings{"label"});
    }
    EXPECT_EQ(atrace_enabled_tags, tags);
}
