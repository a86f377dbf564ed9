// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/commands/Command.h"
#include "tools/corvanectl/commands/Interpreter.h"
#include "tools/corvanectl/commands/Vocabulary.h"
#include "tools/corvanectl/nodes/NodeFile.h"
#include "tools/corvanectl/platform/Findings.h"
#include "tools/corvanectl/story/NodeText.h"

#include <cerrno>
#include <chrono>
#include <sstream>

namespace {

Fault TakeFault(Words& words)
{
    std::string const how = words.Take("ERROR");
    if (how == "ENODEV") {
        return Fault::Stale();
    }
    if (how == "open") {
        return Fault::OpenError(EACCES);
    }
    if (how == "short") {
        return Fault::ShortCount(words.TakeUnsigned("BYTES"));
    }
    auto const error = ErrorNumber(how);
    if (!error) {
        throw InputError("\"" + how + "\" is none of short, open and errors such as EBUSY");
    }
    return Fault::Error(*error, words.Empty() ? Fault::UNTIL_CLEARED : words.TakeUnsigned("TIMES"));
}

void Node(Interpreter& interpreter, Words& words)
{
    std::string const node = words.Take("NODE");
    Sandbox& box = interpreter.CurrentSession().GetNodes().Box();
    ExpectNode(interpreter.CurrentSession(), node);
    if (words.TakeIf("clear")) {
        words.End();
        box.ClearFaults(node);
    } else if (words.TakeIf("delay")) {
        std::chrono::milliseconds const time(words.TakeUnsigned("MS"));
        words.End();
        box.FailNode(node, Fault::Delay(time));
        interpreter.CurrentSession().Clock().NodesAreSlow();
    } else if (words.TakeIf("fail")) {
        Fault const fault = TakeFault(words);
        words.End();
        box.FailNode(node, fault);
    } else {
        throw InputError("none of fail, delay and clear");
    }
}

/** Reports the nodes that are away from their base. @return how many there are. */
std::size_t ReportAway(Session& session, std::vector<BaseNode> const& expected, std::ostream& report)
{
    std::size_t away = 0;
    PerfTimePoint const deadline = SessionTime::Now() + READ_BACK_TIME;
    for (BaseNode const& base : expected) {
        auto const isAtBase = [&base](std::string const& content) { return Holds(content, base.bytes); };
        auto const held = session.HeldBy(base.node, deadline, isAtBase);
        std::string const actual = held.value_or(base.bytes); // not read, and never written
        if (!isAtBase(actual)) {
            report << "    " << base.node << " is at " << ReadableBytes(SettingOf(actual)) << ", its base is "
                   << ReadableBytes(base.bytes) << "\n";
            ++away;
        }
    }
    return away;
}

/** Reports the threads that are bound. @return how many there are. */
std::size_t ReportBound(Session& session, std::ostream& report)
{
    auto const bound = session.GetBoundThreads().All();
    for (std::string const& thread : bound) {
        report << "    thread " << thread << " is still bound\n";
    }
    return bound.size();
}

void Expect(Interpreter& interpreter, Words& words)
{
    Session& session = interpreter.CurrentSession();
    std::string const node = words.Take("NODE");
    std::string expected = words.Take("VALUE");
    for (std::string const& word : words.TakeRest()) {
        expected += " " + word;
    }
    ExpectNode(session, node);
    auto const fits = [&expected](std::string const& content) {
        return Holds(content, expected) || ReadableBytes(content) == expected;
    };
    auto const held = session.HeldBy(node, SessionTime::Now() + READ_BACK_TIME, fits);
    bool const isMet = held && fits(*held);
    std::string const state =
        held ? " is at " + ReadableBytes(SettingOf(*held)) : " cannot be read and was not written";
    session.Publish(Output{"    " + node + state + (isMet ? "" : ", expected was " + expected)});
    if (!isMet) {
        interpreter.Fail();
    }
}

void ExpectBase(Interpreter& interpreter, Words& words)
{
    words.End();
    Session& session = interpreter.CurrentSession();
    session.Sleep(std::chrono::milliseconds(0));
    std::ostringstream report;
    auto const& expected = session.Base();
    std::size_t const away = ReportAway(session, expected, report);
    std::size_t const bound = ReportBound(session, report);
    if (away == 0) {
        report << "    each of " << expected.size() << " nodes is at its base\n";
    } else {
        report << "    " << away << " of " << expected.size() << " nodes are not at their base\n";
    }
    session.Publish(Output{report.str()});
    if (away + bound != 0) {
        interpreter.Fail();
    }
}

} // namespace

std::vector<Command> NodeCommands()
{
    return {
        {"node", "NODE fail ERROR [TIMES] | fail short BYTES | fail open | delay MS | clear",
         "make a node of the sandbox misbehave", "node /dev/memory_bandwidth fail EBUSY 1", Node},
        {"expect", "NODE VALUE", "fail unless the node is at this value", "expect /dev/memory_bandwidth 6640", Expect},
        {"expect-base", "", "fail unless every node is at its base", "expect-base", ExpectBase},
    };
}
