// SPDX-License-Identifier: Apache-2.0

#include "sys/SysWrapper.h"

#include "sandbox/Sandbox.h"
#include "sys/NodeIo.h"
#include "tests/support/LogCapture.h"

#include <gtest/gtest.h>

#include <cerrno>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using Strings = std::vector<std::string>;

enum Writer { TEXT, UINT };

class SysWrapperTest : public testing::Test {
protected:
    SysWrapperTest() { sandbox.AddNode("/proc/node"); }
    ~SysWrapperTest() override { SysWrapper::SysClose(fd); }

    /** @return "result; writes; log lines", of these the priority and what errno was. */
    std::string Write(Writer writer)
    {
        sandbox.TakeWrites();
        log.Clear();
        errno = ENODEV; // what an earlier call left behind must not be taken for this one's error
        int const result = writer == TEXT ? SysWrapper::SysOpenAndWriteStr("cpu", path, "57", fd)
                                          : SysWrapper::SysOpenAndWriteUint("cpu", path, 57, fd);
        std::string outcome = std::to_string(result) + (result == 0 && errno != ENODEV ? " and errno lost" : "");
        for (NodeWrite const& write : sandbox.TakeWrites()) {
            outcome += "; " + write.Line();
        }
        for (std::string const& line : log.Lines("PF_SYS_WRAPPER")) {
            outcome += "; " + line.substr(0, 2) + line.substr(line.find("errno="));
        }
        return outcome;
    }

    Sandbox sandbox;
    LogCapture log;
    std::string const path = sandbox.Path("/proc/node");
    int fd = -1;
};

TEST_F(SysWrapperTest, EveryFaultHasItsOutcome)
{
    struct Row {
        Writer writer;
        bool opened; ///< a good write came before
        std::vector<Fault> faults;
        std::string expected;
    };
    std::string const node = "; /proc/node <- 57";
    std::string const stale = node + ": ENODEV";
    std::string const partly = node + ": 1 of 2 bytes";
    std::string const raw = "; /proc/node <- 9\\x00\\x00\\x00";
    Row const rows[] = {
        {TEXT, false, {}, "0" + node},
        {TEXT, true, {}, "0" + node},
        {TEXT, false, {Fault::OpenError(EACCES)}, "-1; E errno=13 (Permission denied)"},
        {TEXT, true, {Fault::Error(EINVAL)}, "-1" + node + ": EINVAL; W errno=22 (Invalid argument)"},
        {TEXT, true, {Fault::ShortCount(1)}, "-1" + partly + "; W errno=0 (Success)"},
        {TEXT, true, {Fault::Stale()}, "0" + stale + node},
        {TEXT, true, {Fault::Gone()}, "-1" + stale + stale + "; E errno=19 (No such device)"},
        {TEXT, true, {Fault::Stale(), Fault::ShortCount(1)}, "-1" + stale + partly + "; E errno=0 (Success)"},
        {TEXT, true, {Fault::Stale(), Fault::OpenError(EACCES)}, "-1" + stale + "; E errno=13 (Permission denied)"},
        {UINT, false, {}, "0" + raw},
        {UINT, false, {Fault::OpenError(ENOENT)}, "-1; E errno=2 (No such file or directory)"},
        {UINT, true, {Fault::ShortCount(2)}, "-1" + raw + ": 2 of 4 bytes; E errno=0 (Success)"},
        {UINT, true, {Fault::Stale()}, "-1" + raw + ": ENODEV; E errno=19 (No such device)"}, // never retried
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(&row - rows);
        ASSERT_TRUE(!row.opened || Write(row.writer)[0] == '0');
        for (Fault const& fault : row.faults) {
            sandbox.FailNode("/proc/node", fault);
        }
        EXPECT_EQ(Write(row.writer), row.expected);
        EXPECT_EQ(fd >= 0, row.expected[0] == '0');
        EXPECT_EQ(sandbox.OpenDescriptors(), fd >= 0 ? 1 : 0);
        sandbox.ClearFaults("/proc/node");
        EXPECT_EQ(Write(row.writer)[0], '0') << "the next call starts afresh";
        SysWrapper::SysClose(fd);
    }
}

TEST(SysWrapper, WhatCannotSeekTakesValuesOneAfterTheOther)
{
    Sandbox const folder;
    std::string const path = folder.Path("fifo");
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    int const reader = open(path.c_str(), O_RDWR | O_NONBLOCK);
    int fd = -1;
    errno = ENODEV;
    EXPECT_EQ(SysWrapper::SysOpenAndWriteStr("binder", path, "0F|7", fd), 0);
    EXPECT_EQ(SysWrapper::SysOpenAndWriteUint("binder", path, 0x41414141, fd), 0);
    EXPECT_EQ(SysWrapper::SysOpenAndWriteStr("binder", path, "FF|7", fd), 0);
    EXPECT_EQ(errno, ENODEV);
    char taken[16] = {};
    EXPECT_EQ(read(reader, taken, sizeof(taken)), 12);
    EXPECT_STREQ(taken, "0F|7AAAAFF|7");
    SysWrapper::SysClose(fd);
    close(reader);
}

/** Takes a text that is longer than what there is room for, with errno preset. @return "count errno". */
std::string PutTooMuch(int fd)
{
    std::string const text(100'000, '1');
    errno = ENODEV;
    ssize_t const taken = NodeIo::Write(fd, text.data(), text.size());
    return std::to_string(taken) + " " + std::to_string(errno);
}

TEST(SysWrapper, AShortCountOfTheDeviceIsNotTakenForAnEarlierError)
{
    Sandbox const folder;
    std::string const path = folder.Path("fifo");
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    int const reader = open(path.c_str(), O_RDWR);
    int const fifo = NodeIo::Open(path);
    fcntl(fifo, F_SETFL, O_NONBLOCK);
    EXPECT_EQ(PutTooMuch(fifo), "65536 0");
    NodeIo::Close(fifo);
    close(reader);

    Sandbox plain;
    int const file = NodeIo::Open(plain.AddFile("file"));
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    rlimit const small{3, before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &small);
    std::string const outcome = PutTooMuch(file);
    setrlimit(RLIMIT_FSIZE, &before);
    EXPECT_EQ(outcome, "3 0");
    NodeIo::Close(file);
}

TEST(SysWrapper, TimesCountMonthsFromZeroWithoutLeadingZeros)
{
    tm time{};
    time.tm_mday = 5;
    time.tm_sec = 3;
    time.tm_hour = 9;
    time.tm_year = 126;
    EXPECT_EQ(SysWrapper::PutTime(time), "0-5 9:0:3");
}

} // namespace
