// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "tools/corvanectl/story/Story.h"

#include <nlohmann/json.hpp>

/**
 * What a record says, as an object whose field "what" names its kind; platforms/README.md lists the fields. Of what a
 * node holds at the beginning, only its setting is kept (SettingOf).
 * @return null of log lines, labels and warnings: these are for people.
 */
nlohmann::ordered_json JsonOf(StoryRecord::What const& what);

/** Reads what JsonOf has made. @throws std::exception if it is no such record. */
StoryRecord::What RecordOf(nlohmann::ordered_json const& json);
