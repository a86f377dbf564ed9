#pragma once

#include "tools/corvanectl/story/Story.h"

#include <nlohmann/json.hpp>

/**
 * Tells a listener the story of which a trace was made, as far as a chart listens to it.
 * @throws std::invalid_argument if it is no trace of a run, or says where it is not whole.
 */
void Replay(nlohmann::ordered_json const& trace, StoryListener& listener);
