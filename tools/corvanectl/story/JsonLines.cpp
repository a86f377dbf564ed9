#include "tools/corvanectl/story/JsonLines.h"

#include "tools/corvanectl/story/RecordJson.h"

#include <chrono>

void JsonLines::Hear(StoryRecord const& record)
{
    record.Match([&](Began const& /* began */) { start = record.time; });
    auto const json = JsonOf(record.what);
    if (json.is_null()) {
        return;
    }
    nlohmann::ordered_json line = {{"time", std::chrono::duration<double>(record.time - start).count()}};
    line.update(json);
    out << line.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n" << std::flush;
}
