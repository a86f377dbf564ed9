// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/story/StoryDiff.h"

#include "tools/corvanectl/story/NodeText.h"

#include <algorithm>

namespace {

constexpr std::int64_t PER_SECOND = 1'000'000'000;
constexpr std::size_t DECIMALS = 3;        ///< of a time, at least
constexpr std::size_t MOST_TOGETHER = 500; ///< of one time; a table of that many each is small, and made at once

/** Without trailing zeros. */
std::string SecondsOf(std::chrono::nanoseconds time)
{
    std::string decimals = std::to_string(PER_SECOND + time.count() % PER_SECOND).substr(1);
    while (decimals.size() > DECIMALS && decimals.back() == '0') {
        decimals.pop_back();
    }
    return std::to_string(time.count() / PER_SECOND) + "." + decimals + "s";
}

bool IsSame(ComparedItem const& left, ComparedItem const& right)
{
    return left.time == right.time && left.text == right.text;
}

} // namespace

void ComparedItems::Hear(StoryRecord const& heard)
{
    if (heard.time > written) {
        TakeHeld();
    }
    heard.Match(
        [&](Began const& began) {
            start = written = heard.time;
            for (Began::Node const& node : began.nodes) {
                nodes[node.name].held = SettingOf(node.bytes);
                changed.insert(node.name);
            }
        },
        [&](Asked const& asked) {
            TakeHeld(); // the command before is done
            command = asked.line;
        },
        [&](Wrote const& wrote) { Write(wrote.write); });
}

void ComparedItems::Write(NodeWrite const& write)
{
    written = write.time;
    if (compared == Compared::WRITES) {
        items.push_back({write.time - start, TextOf(write), command});
    } else if (write.error == 0) {
        nodes[write.node].held = write.bytes;
        changed.insert(write.node);
    }
}

void ComparedItems::TakeHeld()
{
    for (std::string const& name : changed) {
        Node& node = nodes[name];
        std::string const now = ReadableBytes(node.held);
        if (compared == Compared::HELD && node.told != now) {
            items.push_back({written - start, std::string(name).append(" is at ").append(now), command});
            node.told = now;
        }
    }
    changed.clear();
}

StoryDiff::StoryDiff(StoredStory& onRecord, Compared what, std::size_t mostShown)
    : record(onRecord), most(mostShown), expected(what), actual(what)
{
    NextExpected();
    if (failure) {
        std::rethrow_exception(failure);
    }
}

void StoryDiff::Hear(StoryRecord const& heard)
{
    actual.Hear(heard);
    Compare(false);
}

void StoryDiff::End()
{
    actual.End();
    Compare(true);
    if (failure) {
        std::rethrow_exception(failure);
    }
}

/** @param isOver nothing more is heard; else the run's latest time may still go on. */
void StoryDiff::Compare(bool isOver)
{
    auto& run = actual.items;
    while (isOver || !run.empty()) {
        ComparedItem const* const next = NextExpected();
        if (next == nullptr && run.empty()) {
            return;
        }
        if (next != nullptr && !run.empty() && IsSame(*next, run.front())) {
            expected.items.pop_front();
            run.pop_front();
            ++taken;
            continue;
        }
        bool const recordIsFirst = next != nullptr && (run.empty() || next->time < run.front().time);
        auto const time = recordIsFirst ? next->time : run.front().time;
        if (!isOver && !recordIsFirst && run.back().time == time && run.size() < MOST_TOGETHER) {
            return;
        }
        CompareTime(time);
    }
}

/** @return the next item of the record, or nullptr at its end. */
ComparedItem const* StoryDiff::NextExpected()
{
    while (expected.items.empty() && !recordIsOver) {
        try {
            auto const next = record.Next();
            recordIsOver = !next;
            next ? expected.Hear(*next) : expected.End();
        } catch (RecordError const&) {
            failure = std::current_exception();
            recordIsOver = true;
        }
    }
    return expected.items.empty() ? nullptr : &expected.items.front();
}

/** Takes what both have of a time. */
void StoryDiff::CompareTime(std::chrono::nanoseconds time)
{
    Items first;
    Items second;
    for (auto const* next = NextExpected(); next != nullptr && next->time == time && first.size() < MOST_TOGETHER;
         next = NextExpected()) {
        first.push_back(*next);
        expected.items.pop_front();
        ++taken;
    }
    while (!actual.items.empty() && actual.items.front().time == time && second.size() < MOST_TOGETHER) {
        second.push_back(actual.items.front());
        actual.items.pop_front();
    }
    ShowDifferences(first, second);
}

/** Shows as few lines as will do: all but a longest sequence that both have. */
void StoryDiff::ShowDifferences(Items const& first, Items const& second)
{
    std::size_t const width = second.size() + 1;
    std::vector<std::size_t> common((first.size() + 1) * width); // of what is left from here on
    for (std::size_t i = first.size(); i-- > 0;) {
        for (std::size_t j = second.size(); j-- > 0;) {
            common[i * width + j] = IsSame(first[i], second[j])
                                        ? common[(i + 1) * width + j + 1] + 1
                                        : std::max(common[(i + 1) * width + j], common[i * width + j + 1]);
        }
    }
    std::size_t i = 0;
    std::size_t j = 0;
    while (i < first.size() || j < second.size()) {
        if (i < first.size() && j < second.size() && IsSame(first[i], second[j])) {
            ++i;
            ++j;
        } else if (j == second.size() ||
                   (i < first.size() && common[(i + 1) * width + j] >= common[i * width + j + 1])) {
            Show('-', first[i++]);
        } else {
            Show('+', second[j++]);
        }
    }
}

void StoryDiff::Show(char sign, ComparedItem const& item)
{
    if (different++ >= most) {
        return;
    }
    if (different == 1 || item.command != above) {
        text << "> " << item.command << "\n";
        above = item.command;
    }
    text << "  " << sign << " " << SecondsOf(item.time) << "  " << item.text << "\n";
}
