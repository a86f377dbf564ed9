// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "tools/corvanectl/platform/Findings.h"
#include "tools/corvanectl/platform/JsonObject.h"

#include <string>
#include <vector>

/** A node of a power-hint file. Of the active hints' values the first of the list is written, of none the default. */
struct HintNode {
    std::string name;
    std::string path;
    std::vector<std::string> values;
    std::size_t defaultIndex = 0;
    bool resetOnInit = false;
};

/** What a hint asks of one node. */
struct HintAction {
    std::size_t node = 0;      ///< position in PowerHints::nodes
    std::size_t value = 0;     ///< position in the node's values
    unsigned int duration = 0; ///< ms; 0 until the hint is ended
    std::string path;          ///< of its duration, in the file
};

struct PowerHint {
    std::string name;
    std::string path;                ///< of its first action, in the file
    std::vector<HintAction> actions; ///< one for each node
    std::vector<std::string> starts; ///< other hints, with it
    std::vector<std::string> ends;   ///< other hints, when it starts
};

/** A power-hint file in the public format of the platform's own power-hint library. */
struct PowerHints {
    std::vector<HintNode> nodes;
    std::vector<PowerHint> hints; ///< in the order of their first actions
};

/** @return the text with blanks for comments, of both the kinds that C++ has, so that places stay as they are. */
std::string WithoutComments(std::string text);

/**
 * Reads a power-hint file without its comments. What has no counterpart in a platform is a warning.
 * @throws InputError if it is not JSON.
 */
PowerHints ReadPowerHints(std::string const& name, std::string const& text, Findings& findings);

/** What a power-hint file becomes. */
struct PlatformOfHints {
    Json platform;      ///< in the format of platforms/README.md
    std::string script; ///< starts every hint once, and lets it end or stops it
};

/**
 * Makes a group of levels of each node: level 0 is its default, level 1 the last of its values and the highest the
 * first, so that of all that is asked for the highest level wins. What a hint is the first to move becomes one
 * resource. A hint that ends by itself becomes an event, any other a scenario; when their ids are used up, a request.
 */
PlatformOfHints ImportPowerHints(PowerHints const& hints, std::string const& name, Findings& findings);
