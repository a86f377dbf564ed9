// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "tools/corvanectl/render/Paint.h"
#include "tools/corvanectl/story/Story.h"

#include <map>
#include <ostream>
#include <string>
#include <vector>

/**
 * The story as a person reads it: commands, their answers and the node writes, each line whole.
 *
 * Live, a write is shown the moment it happens. Otherwise writes are held until things have settled, and shown resource
 * by resource in the order of the platform file: workers run side by side, so that their common order is nobody's
 * promise, but each one's own order is.
 */
class Transcript : public StoryListener {
public:
    struct Style {
        bool live;          ///< show writes at once
        bool echo;          ///< show the commands: nobody sees them typed
        bool brief = false; ///< leave out writes that repeat what a node holds, and commands of which nothing comes
    };

    Transcript(std::ostream& stream, Style const& chosen) : out(stream), paint(stream), style(chosen) {}

    void Hear(StoryRecord const& record) override;

private:
    void Begin(PerfTimePoint time, Began const& began);
    void Ask(std::string const& line);
    void Answer(Answered const& answer);
    void ShowAsked();
    bool Repeats(NodeWrite const& write);
    void Say(std::string const& text);
    void ShowHeld(std::size_t belowPosition);
    void ShowWrite(NodeWrite const& write);
    std::size_t PositionOf(NodeWrite const& write) const;

    std::ostream& out;
    Paint const paint;
    Style const style;
    PerfTimePoint start{};
    std::map<std::string, std::size_t> positions; ///< of the nodes' resources
    std::size_t binderPosition = 0;
    std::vector<NodeWrite> held;
    std::string asked;                        ///< brief: the command of which nothing has come yet
    std::map<std::string, std::string> taken; ///< brief: by the nodes
};
