// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/commands/Status.h"

#include "tools/corvanectl/platform/Findings.h"
#include "tools/corvanectl/session/LibraryState.h"
#include "tools/corvanectl/story/NodeText.h"

#include <algorithm>
#include <sstream>
#include <vector>

namespace {

constexpr std::size_t MOST_HELD = 12; ///< lines; a screen has little more

/** @return what is asked for, as a request is written. */
std::string Asked(Platform const& platform, std::vector<PerfRequestInfo> const& infos)
{
    std::ostringstream text;
    for (PerfRequestInfo const& info : infos) {
        text << " " << NameOf(platform, info.qosId);
        for (GroupInfo const& group : info.groupInfos) {
            text << (group.groupId == 0 ? "" : " group=" + std::to_string(group.groupId));
            for (auto const& [operation, value] : group.operations) {
                text << " " << OperationName(operation) << "=" << value;
            }
        }
    }
    return text.str();
}

/** What is held, a line each. */
class HeldLines {
public:
    explicit HeldLines(Session const& session)
        : platform(session.GetPlatform()), start(session.GetLedger().Start()), now(SessionTime::Now())
    {
        for (Ledger::Entry const& entry : session.GetLedger().Outstanding(now)) {
            Add(entry);
        }
        for (Ledger::Trigger const& trigger : session.GetLedger().Running(now)) {
            lines.push_back(trigger.triggered.Text() + Time(trigger.since, trigger.until));
        }
    }

    void Print(std::ostream& out) const
    {
        out << "    held: " << (lines.empty() ? "nothing" : std::to_string(lines.size())) << "\n";
        std::size_t const shown = lines.size() > MOST_HELD ? MOST_HELD - 1 : lines.size();
        for (std::size_t i = 0; i < shown; ++i) {
            out << "        " << lines[i] << "\n";
        }
        if (shown < lines.size()) {
            out << "        and " << lines.size() - shown << " more\n";
        }
    }

private:
    void Add(Ledger::Entry const& entry)
    {
        Held const& held = entry.held;
        bool const hasId = held.what != "request";
        lines.push_back("handle " + std::to_string(held.handle) + (held.name.empty() ? "" : " \"" + held.name + "\"") +
                        ": " + held.what + (hasId ? " " + std::to_string(held.id) : "") + " of process " +
                        std::to_string(held.pid) + Time(entry.since, entry.until) +
                        (held.infos.empty() ? "" : ":" + Asked(platform, held.infos)));
    }

    std::string Time(PerfTimePoint since, std::optional<PerfTimePoint> until) const
    {
        return ", since " + At(since) + (until ? ", until " + At(*until) : "");
    }

    std::string At(PerfTimePoint time) const { return SecondsText(time - start); }

    Platform const& platform;
    PerfTimePoint const start;
    PerfTimePoint const now;
    std::vector<std::string> lines;
};

std::string SuspendedOf(Session const& session)
{
    std::string names;
    for (QosEntry const& entry : session.GetPlatform().qos) {
        if (session.GetLedger().SuspensionOf(entry.id)) {
            names += (names.empty() ? "" : ", ") + entry.name;
        }
    }
    return names.empty() ? "nothing" : names;
}

} // namespace

std::string StatusOf(Session& session)
{
    auto const& base = session.Base();
    auto const away = std::count_if(base.begin(), base.end(), [&session](BaseNode const& node) {
        return !Holds(session.HeldBy(node.node).value_or(node.bytes), node.bytes);
    });
    std::ostringstream out;
    out << "    time: " << SecondsText(SessionTime::Now() - session.GetLedger().Start()) << ", "
        << (session.Clock().IsVirtual() ? "virtual" : "real") << "\n"
        << "    work mode: " << WorkModeText(LibraryState::Modes(session.Manager()).mode) << "\n"
        << "    suspended: " << SuspendedOf(session) << "\n"
        << "    away from base: " << away << " of " << Count(base.size(), "node") << "\n";
    HeldLines(session).Print(out);
    return out.str();
}
