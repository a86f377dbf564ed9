// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "tools/corvanectl/story/JsonLines.h"
#include "tools/corvanectl/story/Story.h"

#include <chrono>
#include <deque>
#include <exception>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

/** What of two runs is compared. */
enum class Compared {
    WRITES, ///< each write
    HELD,   ///< what each node holds once the writes of a time, or of a command, are done
};

/** Something of a run that is compared. */
struct ComparedItem {
    std::chrono::nanoseconds time; ///< since the start
    std::string text;              ///< the node and what was written, and how that failed; or what it holds
    std::string command;           ///< that brought it about, or behind which it came; empty before the first
};

/** Picks what is compared from a story. */
class ComparedItems : public StoryListener {
public:
    explicit ComparedItems(Compared what) : compared(what) {}

    void Hear(StoryRecord const& record) override;
    /** Nothing more is heard. */
    void End() { TakeHeld(); }

    std::deque<ComparedItem> items; ///< whoever compares them takes them away

private:
    struct Node {
        std::string held;
        std::string told; ///< of what it held
    };

    void Write(NodeWrite const& write);
    void TakeHeld();

    Compared const compared;
    PerfTimePoint start{};
    PerfTimePoint written{}; ///< the latest write's time
    std::string command;
    std::map<std::string, Node> nodes;
    std::set<std::string> changed; ///< the nodes written since what they hold was taken
};

/**
 * Holds the run that it hears to another one that is on record: by time, and within one by as few differences as will
 * do. Keeps no more than the items of one time, and the text of the first differences.
 */
class StoryDiff : public StoryListener {
public:
    /** @throws RecordError if the record does not even begin as one. */
    StoryDiff(StoredStory& onRecord, Compared what, std::size_t mostShown);

    void Hear(StoryRecord const& heard) override;
    /** Nothing more is heard: compares what is left. @throws RecordError if the record could not be read. */
    void End();

    /** How many lines differ. */
    std::size_t Count() const { return different; }
    /** How many there are on record. */
    std::size_t CountExpected() const { return taken; }
    /** The first of these lines, below their commands: those that only the record has with '-', the run's with '+'. */
    std::string Text() const { return text.str(); }

private:
    using Items = std::vector<ComparedItem>;

    ComparedItem const* NextExpected();
    void Compare(bool isOver);
    void CompareTime(std::chrono::nanoseconds time);
    void ShowDifferences(Items const& first, Items const& second);
    void Show(char sign, ComparedItem const& item);

    StoredStory& record;
    std::size_t const most; ///< lines that are shown
    bool recordIsOver = false;
    std::exception_ptr failure; ///< of the reading: whoever tells must not be stopped by it
    ComparedItems expected;
    ComparedItems actual;
    std::size_t taken = 0;
    std::size_t different = 0;
    std::ostringstream text;
    std::string above; ///< the command of the line before
};
