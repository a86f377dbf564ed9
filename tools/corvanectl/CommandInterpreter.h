#pragma once

#include "tools/corvanectl/Words.h"
#include "tools/corvanectl/Workbench.h"

#include <istream>
#include <map>
#include <string>
#include <vector>

/**
 * The command language of scripts and of the terminal: one command a line, which calls the library as a client would,
 * and then waits until the workers have done what it brought about.
 * A refusal by the library is an answer like any other; a command that cannot be read throws InputError.
 */
class CommandInterpreter {
public:
    /** @param echo whether to print each command before its answer. */
    CommandInterpreter(Workbench& live, bool echo) : workbench(live), echoes(echo) {}

    /** Empty lines and lines that begin with '#' do nothing. */
    void Execute(std::string const& line);

    bool HasQuit() const { return quit; }
    /** Whether an expectation of the script was not met. */
    bool HasFailed() const { return failed; }

private:
    struct Command {
        char const* name;
        char const* arguments;
        char const* meaning;
        void (CommandInterpreter::*run)(Words&);
    };
    static std::vector<Command> const& Commands();

    void Request(Words& words);
    void Release(Words& words);
    void ReleaseAll(Words& words);
    void Reset(Words& words);
    void Scenario(Words& words);
    void Mode(Words& words);
    void Suspend(Words& words);
    void Resume(Words& words);
    void Event(Words& words);
    void Probe(Words& words);
    void Dump(Words& words);
    void Debug(Words& words);
    void Version(Words& words);
    void Log(Words& words);
    void Sleep(Words& words);
    void Node(Words& words);
    void ExpectBase(Words& words);
    void Say(Words& words);
    void Help(Words& words);
    void Quit(Words& words);

    std::vector<PerfRequestInfo> TakeInfos(Words& words) const;
    PerfQosId ToQosId(std::string const& text) const;
    unsigned long long TakeHandle(int pid, Words& words) const;
    using HoldCall = int (ConfigManager::*)(int, unsigned int, unsigned long long&);
    /** A scenario or a mode, held until its handle is released. */
    void Hold(Words& words, char const* what, HoldCall call);
    void SetSuspend(unsigned int on, Words& words);
    void FailNode(std::string const& node, Words& words);
    /** Takes "as NAME" if it is there, and the end of the line. */
    static std::string TakeName(Words& words);
    void Answer(int result);
    void AnswerWithHandle(int result, int pid, unsigned long long handle, std::string const& name);

    Workbench& workbench;
    bool const echoes;
    std::map<std::string, unsigned long long> named;
    std::map<int, unsigned long long> last; ///< the last handle of each process
    bool quit = false;
    bool failed = false;
};

/**
 * Runs commands to the end of the stream or "quit". From a terminal, a command that cannot be read is reported and the
 * next one awaited; from a script it ends the run.
 * @throws InputError with name and line.
 */
void RunCommands(std::istream& in, std::string const& name, bool isTerminal, CommandInterpreter& interpreter);
