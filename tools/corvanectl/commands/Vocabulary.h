// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "tools/corvanectl/platform/Findings.h"
#include "tools/corvanectl/session/Session.h"

#include <string>
#include <vector>

struct Command;

// What has a name: for suggestions and for completion.

std::vector<std::string> CommandNames();
/** @return the words of a command's arguments, without what says how they belong together. */
std::vector<std::string> ArgumentWords(Command const& command);
/** @return the words that stand for themselves among a command's arguments, as in "start|stop TID". */
std::vector<std::string> FixedWords(Command const& command);
std::vector<std::string> QosNames(Session const& session);
std::vector<std::string> NodeNames(Session const& session);
std::vector<std::string> HintNames(Session const& session);
UnknownName NoSuchNode(Session const& session, std::string const& node);
