// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "tools/corvanectl/platform/Findings.h"
#include "tools/corvanectl/session/Session.h"

#include <string>
#include <vector>

struct Command;

// What has a name: for suggestions and for completion.

/** A word in the arguments of commands, as help shows them, that another one takes the place of. */
struct Placeholder {
    char const* word;
    char const* meaning;                               ///< of what stands there
    std::vector<std::string> (*names)(Session const&); ///< that may stand there; nullptr where nobody knows them
};

/** @return what is said of any word if there is none of this one. */
Placeholder const& FindPlaceholder(std::string const& word);
std::vector<std::string> CommandNames();
/** @return the words of a command's arguments, without what says how they belong together. */
std::vector<std::string> ArgumentWords(Command const& command);
/** @return the words that stand for themselves among a command's arguments, as in "start|stop TID". */
std::vector<std::string> FixedWords(Command const& command);
std::vector<std::string> QosNames(Session const& session);
std::vector<std::string> NodeNames(Session const& session);
std::vector<std::string> HintNames(Session const& session);
/** @return whether the platform names this node. */
bool IsNode(Session const& session, std::string const& node);
/** @throws UnknownName if it does not. */
void ExpectNode(Session const& session, std::string const& node);
