// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "tools/corvanectl/story/Story.h"

#include <optional>
#include <string>
#include <vector>

/**
 * The story as a picture is drawn from it: what each node held and who asked for it, when a work mode was asked for,
 * when writes were suspended. Times are from the beginning; what is never given back lasts to the end.
 */
class Chart : public StoryListener {
public:
    using Time = PerfTimePoint::duration;

    struct Span {
        Time from;
        std::optional<Time> until{}; ///< nothing: not given back
    };

    /** Who holds something. */
    struct Owner {
        std::string text; ///< as a picture names it
        int pid;          ///< that it is booked under
        unsigned long long handle;
        std::string trigger{}; ///< the Key of an event or a probe; else empty
    };

    /** A floor or a ceiling that somebody asked for. */
    struct Claim {
        Span span;
        Owner owner;
        bool isFloor;      ///< in the node's own terms: what raises a maximum is a ceiling
        std::string value; ///< as the node takes it: of a level, its text
    };

    /** What a node took, or refused. */
    struct Step {
        Time at;
        std::string bytes;
        int error = 0;
    };

    /** One node. */
    struct Panel {
        Began::Node node;
        std::vector<Step> steps; ///< the first one is the base
        std::vector<Claim> claims{};
        std::vector<Span> suspends{};

        /** @return whether nobody asked for it and it held one value all the time. */
        bool IsQuiet() const;
    };

    struct Mode {
        Span span;
        Owner owner;
        unsigned int id;
    };

    struct Chapter {
        Time at;
        std::string title;
    };

    void Hear(StoryRecord const& record) override;

    std::vector<Panel> const& Panels() const { return panels; }
    std::vector<Mode> const& Modes() const { return modes; }
    std::vector<Chapter> const& Chapters() const { return chapters; }
    Time End() const { return end; }
    std::string const& Platform() const { return platform; }

private:
    void Begin(PerfTimePoint time, Began const& began);
    void Hold(Held const& held);
    void Release(Released const& released);
    void Trigger(Triggered const& triggered);
    void Suspend(Suspended const& suspended);
    void Write(NodeWrite const& write);
    void Claims(PerfQosId id, std::vector<GroupInfo> const& groups, Span const& span, Owner const& owner);
    template <typename Matches> void EndThose(Matches const& matches);

    PerfTimePoint start{};
    std::string platform; ///< its name
    Time now{0};          ///< of the current record
    Time end{0};          ///< the latest
    std::vector<Panel> panels;
    std::vector<Mode> modes;
    std::vector<Chapter> chapters;
};
