#pragma once

#include "sandbox/Sandbox.h"

#include <chrono>
#include <mutex>
#include <set>
#include <string>

#include <nlohmann/json.hpp>

/**
 * Collects what happens and writes it as a Chrome-JSON trace: the library's labels as instants of their thread, each
 * node as a counter track where its text is a number and as instants of the node's name where it is not.
 *
 * While it lives it switches the library's labels on. One at a time; threads may report at any time.
 */
class Trace {
public:
    using Clock = std::chrono::steady_clock;

    /** Opens the file at once, so that a bad name is known before anything runs. @throws InputError */
    explicit Trace(std::string file);
    Trace(Trace const&) = delete;
    Trace& operator=(Trace const&) = delete;
    /** Stops collecting and writes the file. */
    ~Trace();

    void AddLabel(std::string const& label);
    void AddWrite(NodeWrite const& write);

    /** The trace that lives at present, or nullptr. */
    static Trace* Current();

private:
    nlohmann::json& AddEvent(char const* phase, std::string const& name, Clock::time_point time);
    void NameThreadLocked();
    bool WriteFile();

    std::string const file;
    Clock::time_point const start = Clock::now();
    std::mutex mutex;
    // guarded by mutex
    nlohmann::json events = nlohmann::json::array();
    std::set<int> namedThreads;
};
