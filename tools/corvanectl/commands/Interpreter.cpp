// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/commands/Interpreter.h"

#include "tools/corvanectl/commands/Command.h"
#include "tools/corvanectl/platform/Findings.h"

void Interpreter::Execute(std::string const& line)
{
    Words words(line);
    if (words.Empty()) {
        return;
    }
    std::string const name = words.Take("COMMAND");
    if (name.front() == '#') {
        return;
    }
    Command const& command = FindCommand(name);
    if (!command.speaksForItself) {
        session.Publish(Asked{line});
    }
    expectsRefusal = expectsFailedWrite = false;
    try {
        command.Run(*this, words);
    } catch (UnknownName const& error) {
        throw UnknownName(name + ": " + error.what());
    } catch (InputError const& error) {
        throw InputError(name + ": " + error.what());
    }
    if (!command.speaksForItself) {
        session.WaitForWorkers();
        Judge();
    }
}

void Interpreter::Judge()
{
    bool const isRefused = session.GetLedger().LastResult().value_or(0) != 0;
    bool const hasFailedWrite = session.TakeFailedWrites() != 0;
    auto const judge = [this](bool happened, bool expected, char const* what, char const* command) {
        if (happened == expected || (happened && !isScript)) {
            return;
        }
        session.Publish(Output{happened ? std::string("    not expected, unless by ") + command
                                        : std::string("    expected was ") + what});
        Fail();
    };
    judge(isRefused, expectsRefusal, "a refusal", "expect-refused");
    judge(hasFailedWrite, expectsFailedWrite, "a write that fails", "expect-failure");
}
