// SPDX-License-Identifier: Apache-2.0

#include "sandbox/NodeWatch.h"
#include "sandbox/Sandbox.h"
#include "sandbox/VirtualTime.h"
#include "sys/NodeIo.h"
#include "tests/support/Random.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <sstream>
#include <utility>

#include <unistd.h>

namespace {

using Strings = std::vector<std::string>;
using namespace std::chrono_literals;

constexpr int UNTOUCHED = 4711;

/** One write, with errno preset, as "result errno". */
std::string Put(int fd, std::string const& text)
{
    errno = UNTOUCHED;
    auto const result = NodeIo::Write(fd, text.data(), text.size());
    return std::to_string(result) + (errno == 0 ? "" : " " + ErrorName(errno));
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
            NodeIo::Close(descriptor.first);
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

    void Open(Node& node)
    {
        int const fd = NodeIo::Open(boxes[node.box]->Path(node.name));
        if (auto const error = Take(node, Fault::Kind::OPEN_ERROR)) {
            EXPECT_EQ(errno, *error);
            EXPECT_EQ(fd, -1);
            NodeWrite failure; // the observer hears of it, and nobody else
            failure.node = node.name;
            failure.time = now;
            failure.sequence = ++sequence[node.box];
            failure.result = -1;
            failure.error = static_cast<int>(*error);
            unrecorded[node.box] += Told(failure);
        } else {
            ASSERT_TRUE(open.emplace(fd, Descriptor{&node}).second);
        }
    }

    void Write(int fd, Descriptor& descriptor, std::string const& text)
    {
        std::string const outcome = Put(fd, text);
        if (descriptor.node == nullptr) {
            EXPECT_EQ(outcome, std::to_string(text.size())) << "an ordinary, deleted file";
            return;
        }
        Node& node = *descriptor.node;
        NodeWrite write;
        write.node = node.name;
        write.bytes = text;
        write.time = now += Take(node, Fault::Kind::DELAY).value_or(0) * 1ms;
        write.sequence = ++sequence[node.box];
        auto taken = static_cast<long long>(text.size());
        if (descriptor.isStale) {
            write.error = ENODEV;
        } else if (auto const error = Take(node, Fault::Kind::ERROR)) {
            write.error = static_cast<int>(*error);
        } else {
            taken = std::min(taken, Take(node, Fault::Kind::SHORT_COUNT).value_or(taken));
            node.content = taken == 0 ? node.content : text.substr(0, static_cast<std::size_t>(taken));
        }
        write.result = write.error == 0 ? static_cast<ssize_t>(taken) : -1;
        EXPECT_EQ(outcome, std::to_string(write.result) + (write.error == 0 ? "" : " " + ErrorName(write.error)));
        records[node.box] += Told(write);
    }

    static std::string Told(NodeWrite const& write)
    {
        std::ostringstream out;
        out << write.sequence << " " << write << " = " << write.result << " " << write.error << " "
            << write.time.time_since_epoch().count() << "\n";
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
            Open(node);
        } else if (dice < 75 && !open.empty()) {
            auto const at = std::next(open.begin(), random.Below(static_cast<int>(open.size())));
            if (dice < 23) {
                NodeIo::Close(at->first);
                open.erase(at);
                return;
            }
            std::string const texts[] = {"", "1", "22", "333", "-4\n"};
            Write(at->first, at->second, random.Pick(texts));
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
    Node nodes[4] = {{0, "/sys/a", ""}, {0, "b", ""}, {1, "/sys/a", ""}, {1, "/sys/c", ""}};
    std::map<int, Descriptor> open;
    std::uint64_t sequence[2]{};
    std::string records[2];    ///< what each should have recorded since the last step
    std::string observed[2];   ///< what it called back about
    std::string unrecorded[2]; ///< what it should have called back about without recording it
};

} // namespace

TEST(Sandbox, AWriteReplacesTheContentAndIsRecordedAndAnythingElsePasses)
{
    Sandbox sandbox;
    int const max = NodeIo::Open(sandbox.AddNode("/sys/cpu0/max", "1800000"));
    int const raw = NodeIo::Open(sandbox.AddNode("ddr", "whole"));
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
    EXPECT_THROW(sandbox.FailNode("list", Fault::Gone()), std::out_of_range);
    EXPECT_THROW(sandbox.AddNode("sys/../up"), std::invalid_argument);
    NodeIo::Close(file);
    NodeIo::Close(max);
    EXPECT_EQ(sandbox.OpenDescriptors(), 0);
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
            EXPECT_EQ(seen[box] + std::exchange(unrecorded[box], ""), std::exchange(observed[box], ""));
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
