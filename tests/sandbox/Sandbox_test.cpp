#include "sandbox/NodeWatch.h"
#include "sandbox/Sandbox.h"
#include "sandbox/VirtualTime.h"
#include "tests/support/Random.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <future>
#include <map>
#include <optional>
#include <sstream>

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

/** Two sandboxes with two nodes each, played at random and told again by what every node should hold and do. */
class SandboxModel : public testing::Test {
protected:
    struct Node {
        std::size_t box;
        std::string name;
        std::string content;
        std::map<Fault::Kind, Fault> faults{};
    };
    struct Descriptor {
        Node* node; ///< null once its sandbox is gone
        off_t position = 0;
        bool isStale = false;
    };

    SandboxModel()
    {
        Renew(0);
        Renew(1);
    }
    ~SandboxModel() override
    {
        for (auto const& descriptor : open) {
            close(descriptor.first);
        }
    }

    void Renew(std::size_t box)
    {
        boxes[box].reset();
        boxes[box] = std::make_unique<Sandbox>();
        boxes[box]->OnWrite([this, box](NodeWrite const& write) { observed[box] += Told(write); });
        sequence[box] = 0;
        for (auto& descriptor : open) {
            Node*& node = descriptor.second.node;
            node = node != nullptr && node->box == box ? nullptr : node;
        }
        for (Node& node : nodes) {
            if (node.box == box) {
                node = {box, node.name, "first"};
                boxes[box]->AddNode(node.name, "first");
            }
        }
    }

    static std::optional<long long> Take(Node& node, Fault::Kind kind)
    {
        auto const found = node.faults.find(kind);
        if (found == node.faults.end()) {
            return std::nullopt;
        }
        Fault const fault = found->second;
        if (fault.times != Fault::UNTIL_CLEARED && --found->second.times == 0) {
            node.faults.erase(found);
        }
        return fault.value;
    }

    void Open(Node& node, int flags)
    {
        errno = UNTOUCHED;
        int const fd = OpenFile(boxes[node.box]->Path(node.name), flags);
        if (auto const error = Take(node, Fault::Kind::OPEN_ERROR)) {
            EXPECT_EQ(fd, -1);
            EXPECT_EQ(errno, *error);
        } else {
            EXPECT_EQ(errno, UNTOUCHED);
            ASSERT_TRUE(open.emplace(fd, Descriptor{&node}).second);
        }
    }

    void Write(int fd, Descriptor& descriptor, std::string const& text, std::optional<off_t> place)
    {
        std::string const outcome = Put(fd, text, place.value_or(-1));
        if (descriptor.node == nullptr) {
            EXPECT_EQ(outcome, std::to_string(text.size())) << "an ordinary, deleted file";
            return;
        }
        Node& node = *descriptor.node;
        NodeWrite write;
        write.node = node.name;
        write.bytes = text;
        write.position = place.value_or(descriptor.position);
        write.time = now += Take(node, Fault::Kind::DELAY).value_or(0) * 1ms;
        write.sequence = ++sequence[node.box];
        auto taken = static_cast<long long>(text.size());
        if (descriptor.isStale) {
            write.error = ENODEV;
        } else if (write.position != 0 && node.name == "/proc/b") {
            write.ignored = true;
        } else if (auto const error = Take(node, Fault::Kind::ERROR)) {
            write.error = static_cast<int>(*error);
        } else {
            taken = std::min(taken, Take(node, Fault::Kind::SHORT_COUNT).value_or(taken));
            node.content = taken == 0 ? node.content : text.substr(0, static_cast<std::size_t>(taken));
        }
        write.result = write.error == 0 ? static_cast<ssize_t>(taken) : -1;
        descriptor.position += place || write.error != 0 ? 0 : write.result;
        EXPECT_EQ(outcome, std::to_string(write.result) + (write.error == 0 ? "" : " " + ErrorName(write.error)));
        records[node.box] += Told(write);
    }

    static std::string Told(NodeWrite const& write)
    {
        std::ostringstream out;
        out << write.sequence << " " << write << " = " << write.result << " " << write.error << " at " << write.position
            << (write.ignored ? " ignored " : " ") << write.time.time_since_epoch().count() << "\n";
        return out.str();
    }

    void Fail(Node& node)
    {
        Fault const faults[] = {Fault::Stale(),       Fault::Gone(),     Fault::Error(EBUSY),     Fault::ShortCount(2),
                                Fault::ShortCount(0), Fault::Delay(5ms), Fault::OpenError(EACCES)};
        Fault fault = random.Pick(faults);
        bool const isStale = fault.kind == Fault::Kind::STALE;
        fault.times = isStale || random.Chance(4) ? fault.times : 1 + static_cast<unsigned int>(random.Below(3));
        boxes[node.box]->FailNode(node.name, fault);
        isStale ? MakeStale(node, true) : void(node.faults.insert_or_assign(fault.kind, fault));
    }

    void MakeStale(Node const& node, bool isStale)
    {
        for (auto& descriptor : open) {
            bool& stale = descriptor.second.isStale;
            stale = descriptor.second.node == &node ? isStale : stale;
        }
    }

    void Step()
    {
        Node& node = random.Pick(nodes);
        int const dice = random.Below(100);
        if (dice < 15 && open.size() < 8) {
            int const flags[] = {0, O_TRUNC, O_APPEND, O_TRUNC | O_APPEND};
            Open(node, random.Pick(flags));
        } else if (dice < 75 && !open.empty()) {
            auto const at = std::next(open.begin(), random.Below(static_cast<int>(open.size())));
            if (dice < 23) {
                EXPECT_EQ(close(at->first), 0);
                open.erase(at);
                return;
            }
            std::string const texts[] = {"", "1", "22", "333", "-4\n"};
            std::optional<off_t> const places[] = {std::nullopt, std::nullopt, 0, 0, 3};
            Write(at->first, at->second, random.Pick(texts), random.Pick(places));
        } else if (dice < 85) {
            Fail(node);
        } else if (dice < 92) {
            boxes[node.box]->ClearFaults(node.name);
            node.faults.clear();
            MakeStale(node, false);
        } else if (dice < 98) {
            node.content = std::to_string(dice); // without a record, and its descriptors and faults stay
            boxes[node.box]->AddNode(node.name, node.content);
        } else {
            Renew(node.box);
        }
    }

    VirtualTime time;
    PerfTimePoint now = time.Now();
    Random random{1};
    std::unique_ptr<Sandbox> boxes[2];
    Node nodes[4] = {{0, "/sys/a", ""}, {0, "/proc/b", ""}, {1, "/sys/a", ""}, {1, "/sys/c", ""}};
    std::map<int, Descriptor> open;
    std::uint64_t sequence[2]{};
    std::string records[2];  ///< what each should have recorded since the last step
    std::string observed[2]; ///< what it called back about
};

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
    EXPECT_EQ(sandbox.WriteCount(), 4U);
    sandbox.FailNode("/sys/cpu0/max", Fault::ShortCount(2));
    EXPECT_EQ(Put(max, "4000"), "2");
    EXPECT_EQ(sandbox.Writes(sandbox.Path("sys/cpu0/max"))[3].Line(), "/sys/cpu0/max <- 4000: 2 of 4 bytes");
    EXPECT_THROW(sandbox.FailNode("list", Fault::Gone()), std::out_of_range);
    EXPECT_THROW(sandbox.AddNode("sys/../up"), std::invalid_argument);
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

TEST_F(SandboxModel, EveryCallDoesWhatANaiveSandboxDoes)
{
    for (int step = 0; step < 6000 && !HasFailure(); ++step) {
        SCOPED_TRACE("step " + std::to_string(step));
        Step();
        std::string seen[2];
        for (std::size_t box = 0; box < 2; ++box) {
            for (NodeWrite const& write : boxes[box]->TakeWrites()) {
                seen[box] += Told(write);
            }
            EXPECT_EQ(seen[box], std::exchange(records[box], ""));
            EXPECT_EQ(seen[box], std::exchange(observed[box], ""));
        }
        for (Node const& node : nodes) {
            EXPECT_EQ(boxes[node.box]->Read(node.name), node.content);
            auto const isHis = [&](auto const& descriptor) { return descriptor.second.node == &node; };
            EXPECT_EQ(boxes[node.box]->OpenDescriptors(node.name), std::count_if(open.begin(), open.end(), isHis));
        }
        EXPECT_EQ(time.Now(), now);
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
    EXPECT_STREQ(content.c_str(), "7980");
    EXPECT_EQ(seen, (Strings{"/sys/node <- 1200", "/sys/node <- 7", "/sys/full <- 1: ENOSPC"}));
    unlink(path);
    unlink(other);
}
