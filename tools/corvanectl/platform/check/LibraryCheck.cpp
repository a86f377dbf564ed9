// SPDX-License-Identifier: Apache-2.0

#include "catalogue/EventManager.h"
#include "catalogue/ScenarioManager.h"
#include "catalogue/WorkModeManager.h"
#include "resource/ResourceManager.h"
#include "sandbox/Sandbox.h"
#include "tools/corvanectl/platform/FrequencyList.h"
#include "tools/corvanectl/platform/LibraryLog.h"
#include "tools/corvanectl/platform/PlatformConfigs.h"
#include "tools/corvanectl/platform/check/PlatformCheck.h"

#include <corvane/ConfigManager.h>

#include <algorithm>
#include <map>
#include <set>
#include <type_traits>
#include <utility>

namespace {

using LibraryLog::FieldOf;

/**
 * Puts a platform to the library piece by piece: what it refuses is a fault, and nothing else is. Each record goes by
 * the name of its place in the file, which the library's lines then say.
 */
class LibraryCheck {
public:
    LibraryCheck(Platform const& checked, Findings& list)
        : platform(NamedByPlace(checked)), findings(list),
          configs(
              platform, [](std::string const& node) { return node; }, // none is opened here
              [this](std::string const& node) { return AddList(node); })
    {
    }

    void Run()
    {
        CheckMode();
        CheckResources();
        CaughtLines const unheard;
        static_cast<void>(manager.Init({0, accepted, ControlOf()}, {}, {}, {}));
        CheckEvents();
        CheckScenarios();
        CheckHints();
    }

private:
    /** @return a path that exists, whatever the file calls the list. */
    std::string AddList(std::string const& list)
    {
        auto const names = [&list](QosEntry const& entry) { return entry.freqListNode == list; };
        QosEntry const& entry = *std::find_if(platform.qos.begin(), platform.qos.end(), names);
        lists.AddFile(entry.name, ContentOfList(platform, list));
        return lists.Path(entry.name);
    }

    static Platform NamedByPlace(Platform platform)
    {
        for (std::size_t i = 0; i < platform.qos.size(); ++i) {
            platform.qos[i].name = Indexed("qos", i);
            for (std::size_t group = 0; group < platform.qos[i].groups.size(); ++group) {
                platform.qos[i].groups[group].name = Indexed(platform.qos[i].name + ".groups", group);
            }
        }
        return platform;
    }

    void Add(std::string const& path, std::string const& why) { findings.Add(path + FieldOf(why), why); }

    void CheckMode()
    {
        CaughtLines const said;
        if (WorkModeManager().InitWorkMode(platform.control.workMode) != 0) {
            findings.Add("control.workMode", said.Why());
        }
    }

    /** The platform's switches, with a mode that is valid whatever the file says. */
    PerfConfigControlInfo ControlOf() const
    {
        PerfConfigControlInfo control = platform.control;
        control.workMode = PERF_WORK_MODE_DEFAULT;
        return control;
    }

    void CheckResources()
    {
        std::map<PerfQosId, std::string> seen;
        for (QosEntry const& entry : platform.qos) {
            auto const [first, isNew] = seen.emplace(entry.id, entry.name);
            if (findings.AnyUnreadableUnder(entry.name)) {
                inDoubt.insert(entry.id);
            } else if (!isNew) {
                findings.Add(entry.name + ".id",
                             std::to_string(entry.id) + " is the id of " + first->second + " already");
                inDoubt.insert(entry.id);
            } else if (CheckResource(entry)) {
                accepted.emplace(entry.id, configs.Of(entry.id));
            } else {
                inDoubt.insert(entry.id);
            }
        }
    }

    bool CheckResource(QosEntry const& entry)
    {
        std::map<PerfQosId, PerfQosConfig*> const alone = {{entry.id, configs.Of(entry.id)}};
        CaughtLines const said;
        if (configs.FitToDevice(entry) == 0 && ResourceManager().Init({0, alone, ControlOf()}) == 0) {
            return true;
        }
        std::string const why = said.Why();
        std::string const name = said.Name();
        std::size_t const group = why.find(entry.name + ".groups["); // of whose id it speaks
        if (group != std::string::npos) {
            Add(why.substr(group, why.find(']', group + entry.name.size() + 8) + 1 - group), why);
        } else if (name.rfind(entry.name, 0) == 0) {
            findings.Add(PlaceIn(name, entry, why), why);
        } else if (!name.empty()) {
            findings.Add(entry.name + ".globalBoostNode", why); // of the one group that the file has no name for
        } else if (KindOf(entry) == ResourceKind::UNKNOWN && !entry.groups.empty()) {
            findings.Add(entry.name + ".groups[0].nodes",
                         Count(entry.groups[0].nodePathVec.size(), "node") +
                             " and no levels fit no kind of resource: " + KindsByNodes());
        } else {
            Add(entry.name, why);
        }
        return false;
    }

    /** @return which kind a resource without levels is by the number of its nodes. */
    static std::string KindsByNodes()
    {
        std::string text;
        PerfGroupConfig group(0, "", 0, {""}, CHIP_TYPE_ANY);
        for (auto kind = SharedKindOf({group}); kind != ResourceKind::UNKNOWN; kind = SharedKindOf({group})) {
            text += (text.empty() ? "" : ", ") + std::to_string(group.nodePathVec.size()) +
                    (text.empty() ? " is a " : " a ") + KindName(kind);
            group.nodePathVec.emplace_back();
        }
        return text;
    }

    /** @return the field below a resource or a group, and in it the element. */
    std::string PlaceIn(std::string const& path, QosEntry const& entry, std::string const& why) const
    {
        std::string const field = FieldOf(why);
        for (auto const& [level, value] : entry.easLevels) {
            CaughtLines const unheard;
            PerfQosEasConfig alone(entry.name, {}, {{level, value}}, entry.boostMin, entry.boostMax, "");
            if (field == ".levelToValueMap" && alone.ReviseGroupConfigValue(platform.control.chipType) != 0) {
                return path + field + "." + std::to_string(level);
            }
        }
        auto const group = std::find_if(entry.groups.begin(), entry.groups.end(),
                                        [&path](PerfGroupConfig const& each) { return each.name == path; });
        if (group == entry.groups.end()) {
            return path + field;
        }
        auto const& nodes = group->nodePathVec;
        auto const empty = std::find(nodes.begin(), nodes.end(), "");
        if (field == ".nodes" && empty != nodes.end()) {
            return Indexed(path + field, static_cast<std::size_t>(empty - nodes.begin()));
        }
        for (auto const& [level, texts] : group->level2ValueMap) {
            if (field == ".levels" && why.find("size " + std::to_string(texts.size()) + ",") != std::string::npos) {
                return path + field + "." + std::to_string(level);
            }
        }
        return path + field;
    }

    /**
     * Finds what in a list the library refuses: an element that it refuses by itself, of which inside looks for the
     * part, or one that does not go with those before it.
     * @param ask says why a list is refused; nothing if it is not.
     * @param inside returns whether it has found anything.
     * @return whether anything was found.
     */
    template <typename Item, typename Ask, typename Inside>
    bool Narrow(std::string const& path, std::vector<Item> const& items, Ask const& ask, Inside const& inside)
    {
        if (items.empty() && !findings.AnyUnreadableUnder(path)) {
            findings.Add(path, "there is nothing in it");
            return true;
        }
        if (!findings.AnyUnreadableUnder(path) && ask(items).empty()) {
            return false;
        }
        std::vector<Item> kept;
        std::vector<std::size_t> indices; // of what is kept
        for (std::size_t i = 0; i < items.size(); ++i) {
            std::string const where = Indexed(path, i);
            if (findings.AnyUnreadableUnder(where)) {
                continue; // what it asks for is not known
            }
            std::string const why = ask(std::vector<Item>{items[i]});
            if (why.empty()) {
                kept.push_back(items[i]);
                indices.push_back(i);
            } else if (!inside(where, items[i])) {
                Add(where, why);
            }
        }
        NarrowClashes(path, std::move(kept), std::move(indices), ask);
        return true;
    }

    /** Finds what does not go with those before it, each by bisection: a longer list is refused as well. */
    template <typename Item, typename Ask>
    void NarrowClashes(std::string const& path, std::vector<Item> kept, std::vector<std::size_t> indices,
                       Ask const& ask)
    {
        auto const at = [](auto& list, std::size_t index) { return list.begin() + static_cast<std::ptrdiff_t>(index); };
        std::size_t taken = 0; // so many of the first are taken together
        auto const clash = [&] { return kept.empty() ? std::string() : ask(kept); }; // nothing is refused as such
        for (std::string why = clash(); !why.empty(); why = clash()) {
            std::size_t refused = kept.size();
            while (taken + 1 < refused) {
                std::size_t const middle = taken + (refused - taken) / 2;
                (ask(std::vector<Item>(kept.begin(), at(kept, middle))).empty() ? taken : refused) = middle;
            }
            findings.Add(
                Indexed(path, indices[refused - 1]) + (why.find("duplicate") == std::string::npos ? "" : ".id"), why);
            kept.erase(at(kept, refused - 1));
            indices.erase(at(indices, refused - 1));
        }
    }

    template <typename Ask> bool InGroups(std::string const& path, std::vector<GroupInfo> const& groups, Ask const& ask)
    {
        return Narrow(path, groups, ask, [&](std::string const& where, GroupInfo const& group) {
            bool isAny = false;
            for (auto const& operation : group.operations) {
                std::string const why = ask(std::vector<GroupInfo>{{group.groupId, {operation}}});
                if (!why.empty() && FieldOf(why).empty()) {
                    findings.Add(where + "." + OperationName(operation.first), why);
                    isAny = true;
                }
            }
            return isAny;
        });
    }

    static std::string Verdict(bool isTaken, CaughtLines const& said)
    {
        std::string const why = isTaken ? "" : said.Why();
        return isTaken || !why.empty() ? why : "is refused";
    }

    /** The resource that a part of a catalogue or of a request is for. */
    template <typename Item> static PerfQosId ResourceOf(Item const& item)
    {
        return std::is_same_v<Item, PerfRequestInfo> ? ResourceIdOf(item.qosId) : item.qosId;
    }

    /** Leaves out what concerns resources in doubt. @return whether there was such. */
    template <typename Item> bool DropDoubtful(std::vector<Item>& items) const
    {
        auto const doubtful = std::remove_if(items.begin(), items.end(),
                                             [this](Item const& item) { return inDoubt.count(ResourceOf(item)) != 0; });
        bool const isAny = doubtful != items.end();
        items.erase(doubtful, items.end());
        return isAny;
    }

    /** Why the library refuses a catalogue of these entries. */
    template <typename Catalogue, typename Entry, typename Part, typename Validate>
    std::string Against(std::vector<Entry> entries, std::vector<Part> Entry::*parts, Validate validate)
    {
        auto const isUnknown = [&](Entry& entry) { return DropDoubtful(entry.*parts) && (entry.*parts).empty(); };
        entries.erase(std::remove_if(entries.begin(), entries.end(), isUnknown), entries.end());
        CaughtLines const said;
        auto table = Catalogue().Init(entries);
        return Verdict(entries.empty() || (!table.empty() && (manager.*validate)(table) == 0), said);
    }

    std::string AgainstEvents(std::vector<ConfigurableEvent> const& events)
    {
        return Against<EventManager>(events, &ConfigurableEvent::qosCommands, &ConfigManager::EventValidate);
    }

    std::string AgainstScenarios(std::vector<ConfigurableScenario> const& scenarios)
    {
        return Against<ScenarioManager>(scenarios, &ConfigurableScenario::qosItems, &ConfigManager::ScenarioValidate);
    }

    /** @param type of the command that the library makes of it. */
    std::string AgainstBases(NamedHint const& hint, PerfCommandType& type)
    {
        CaughtLines const said;
        return Verdict(manager.PreHandleEasBaseCommand(hint.duration, type, hint.infos) == 0, said);
    }

    std::string AgainstRequest(PerfCommandType type, std::vector<PerfRequestInfo> infos)
    {
        if (DropDoubtful(infos) && infos.empty()) {
            return "";
        }
        CaughtLines const said;
        PerfQosId missing = 0;
        auto request = manager.RequestFilter(infos);
        if (request.empty()) {
            return ASKS_FOR_NOTHING;
        }
        return Verdict(manager.RequestValidate(type, request, missing) == 0, said);
    }

    /** Whether the library has no resource of this id. */
    bool IsMissing(PerfQosId id)
    {
        CaughtLines const unheard;
        PerfQosId missing = 0;
        std::vector<QosInfoInt> part = {{id, {}}};
        static_cast<void>(manager.RequestValidate(PERF_COMMAND_LONG_START, part, missing));
        return part.empty() && inDoubt.count(id) == 0;
    }

    std::string WhyMissing(PerfQosId id) const
    {
        QosEntry const* const entry = FindQos(platform, id);
        std::string const number = "resource " + std::to_string(id);
        if (entry == nullptr) {
            return "there is no " + number;
        }
        std::string const off = SwitchedOffBy(*entry, platform.control);
        return number + " is not on this platform" + (off.empty() ? "" : " without " + off);
    }

    void CheckEvents()
    {
        auto const ask = [this](std::vector<ConfigurableEvent> const& events) { return AgainstEvents(events); };
        if (!platform.events.empty()) {
            Narrow("events", platform.events, ask, [this](std::string const& path, ConfigurableEvent const& event) {
                return InCommands(path + ".qos", event.qosCommands);
            });
        }
    }

    bool InCommands(std::string const& path, std::vector<QosCommand> const& commands)
    {
        auto const ask = [this](std::vector<QosCommand> const& some) { return AgainstEvents({{0, some}}); };
        return Narrow(path, commands, ask, [this](std::string const& where, QosCommand const& command) {
            return InPhases(where + ".phases", command);
        });
    }

    bool InPhases(std::string const& path, QosCommand const& command)
    {
        auto const ask = [this, &command](std::vector<EventPhase> const& phases) {
            return AgainstEvents({{0, {{command.qosId, phases}}}});
        };
        return Narrow(path, command.phases, ask, [&](std::string const& where, EventPhase const& phase) {
            return InGroups(where + ".groups", phase.groupInfos, [&](std::vector<GroupInfo> const& groups) {
                return ask(std::vector<EventPhase>{{PERF_DURATION_MIN_MS, groups}});
            });
        });
    }

    /** Items of a scenario or a request, whose resources must all be there. */
    template <typename Item, typename Ask>
    bool InItems(std::string const& path, std::vector<Item> const& items, Ask const& ask)
    {
        bool isAny = false;
        for (std::size_t i = 0; i < items.size(); ++i) {
            if (IsMissing(ResourceOf(items[i]))) {
                findings.Add(Indexed(path, i) + ".id", WhyMissing(ResourceOf(items[i])));
                isAny = true;
            }
        }
        return isAny || Narrow(path, items, ask, [&](std::string const& where, Item const& item) {
                   return InGroups(where + ".groups", item.groupInfos, [&](std::vector<GroupInfo> const& groups) {
                       return ask(std::vector<Item>{{item.qosId, groups}});
                   });
               });
    }

    void CheckScenarios()
    {
        auto const ask = [this](std::vector<ConfigurableScenario> const& scenarios) {
            return AgainstScenarios(scenarios);
        };
        if (platform.scenarios.empty()) {
            return;
        }
        Narrow("scenarios", platform.scenarios, ask,
               [this](std::string const& path, ConfigurableScenario const& scenario) {
                   return InItems(path + ".qos", scenario.qosItems, [this](std::vector<ScenarioQosItem> const& items) {
                       return AgainstScenarios({{0, items}});
                   });
               });
    }

    void CheckHints()
    {
        std::set<std::string> names;
        for (std::size_t i = 0; i < platform.hints.size(); ++i) {
            NamedHint const& hint = platform.hints[i];
            std::string const path = Indexed("hints", i);
            if (findings.AnyUnreadableUnder(path)) {
                continue;
            }
            if (!names.insert(hint.name).second) {
                findings.Add(path + ".name", hint.name + " is the name of another hint already");
            }
            CheckHint(path, hint);
            CheckOtherHints(path + ".starts", hint.starts);
            CheckOtherHints(path + ".ends", hint.ends);
        }
    }

    void CheckOtherHints(std::string const& path, std::vector<std::string> const& others)
    {
        for (std::string const& other : others) {
            auto const isIt = [&other](NamedHint const& each) { return each.name == other; };
            if (std::none_of(platform.hints.begin(), platform.hints.end(), isIt)) {
                findings.Add(path, "there is no hint " + other);
            }
        }
    }

    void CheckHint(std::string const& path, NamedHint const& hint)
    {
        auto const hasEvent = [&](ConfigurableEvent const& event) { return event.eventId == hint.event; };
        auto const hasScenario = [&](ConfigurableScenario const& each) { return each.scenarioId == hint.scenario; };
        auto const& events = platform.events;
        auto const& scenarios = platform.scenarios;
        if (hint.event && std::none_of(events.begin(), events.end(), hasEvent)) {
            findings.Add(path + ".event", "there is no event " + std::to_string(*hint.event));
        } else if (hint.scenario && std::none_of(scenarios.begin(), scenarios.end(), hasScenario)) {
            findings.Add(path + ".scenario", "there is no scenario " + std::to_string(*hint.scenario));
        } else if (!hint.event && !hint.scenario) {
            CheckRequest(path, hint);
        }
    }

    void CheckRequest(std::string const& path, NamedHint const& hint)
    {
        // A phase has the bounds of a request.
        std::string const against =
            hint.duration == 0 ? "" : AgainstEvents({{0, {{PERF_QOS_ID_COUNT, {{hint.duration, {{0, {}}}}}}}}});
        if (!against.empty()) {
            Add(path, against);
        }
        if (hint.infos.empty() && hint.starts.empty() && hint.ends.empty()) {
            findings.Add(path, "there is neither an event nor a scenario nor a resource nor another hint");
        } else if (!hint.infos.empty()) {
            PerfCommandType type = PERF_COMMAND_LONG_START;
            std::string const why = AgainstBases(hint, type);
            if (!why.empty()) {
                findings.Add(path, why);
                return;
            }
            InItems(path + ".qos", hint.infos,
                    [&](std::vector<PerfRequestInfo> const& some) { return AgainstRequest(type, some); });
        }
    }

    Platform const platform;
    Findings& findings;
    Sandbox lists;
    PlatformConfigs configs;
    std::map<PerfQosId, PerfQosConfig*> accepted;
    std::set<PerfQosId> inDoubt; ///< resources that are not accepted
    ConfigManager manager;       ///< of what is accepted
};

} // namespace

void CheckLibrary(Platform const& platform, Findings& findings)
{
    LibraryCheck(platform, findings).Run();
}
