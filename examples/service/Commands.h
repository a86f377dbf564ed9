#pragma once

#include <corvane/ConfigManager.h>
#include <corvane/PerfTypes.h>

#include <sys/types.h>

#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

/** Who asks, as the kernel says. */
struct Asker {
    pid_t pid = 0;
    bool trusted = false; ///< may do what concerns everybody
};

/**
 * What clients can ask for, a line each, and the calls of the library behind it.
 *
 *   request MS QOS GROUP boost|limit VALUE ...   for MS ms, or with 0 until it is released; answers its handle
 *   release HANDLE | release all
 *   scenario ID                                  until it is released; answers its handle
 *   mode ID                                      likewise
 *   event ID [MS|stop]                           nobody's: it ends by itself
 *   suspend QOS ... | resume QOS ...             for trusted ones; ends with whoever asked for it
 *
 * The answer begins with "ok" or "error". Owned by one thread.
 */
class Commands {
public:
    explicit Commands(ConfigManager& configManager) : manager(configManager) {}

    std::string Execute(Asker const& asker, std::string_view line);

    /** Takes back everything that was done in the name of a process. */
    void Forget(pid_t pid);

    /** Brings every node to its base, and returns when it is there. */
    void WindUp();

    using Words = std::vector<std::string_view>;
    static Words Split(std::string_view line);

private:
    std::string Request(Asker const& asker, Words const& words);
    std::string Release(Asker const& asker, Words const& words);
    std::string Scenario(Asker const& asker, Words const& words);
    std::string Mode(Asker const& asker, Words const& words);
    std::string Event(Asker const& asker, Words const& words);
    std::string Suspend(Asker const& asker, Words const& words);
    std::string Resume(Asker const& asker, Words const& words);

    std::string Granted(Asker const& asker, int result, unsigned long long handle);
    void ResumeFor(pid_t pid, PerfQosId id);

    ConfigManager& manager;
    std::map<PerfQosId, std::set<pid_t>> suspendedBy; ///< never an empty set
};
