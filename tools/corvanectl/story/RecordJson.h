#pragma once

#include "tools/corvanectl/story/Story.h"

#include <nlohmann/json.hpp>

/**
 * What a record says, as an object whose field "what" names its kind; platforms/README.md lists the fields. What nodes
 * hold at the beginning is what they say that they are set to.
 * @return null of what the library says of itself, and of warnings: these are for people.
 */
nlohmann::ordered_json JsonOf(StoryRecord::What const& what);

/**
 * Reads what JsonOf has made of a record that a chart listens to. Left out is what a chart has no use for: the order of
 * the resources, and how a write failed.
 * @throws std::exception if it is no such record.
 */
StoryRecord::What RecordOf(nlohmann::ordered_json const& json);
