// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/story/JsonLines.h"

#include "tools/corvanectl/story/RecordJson.h"

#include <chrono>
#include <cmath>

namespace {

using Json = nlohmann::ordered_json;

constexpr double NANOSECONDS = 1e9;
constexpr double LONGEST = 9e15; // ns; far beyond any run, and a double still tells each from the next

StoryRecord RecordIn(std::string const& line)
{
    Json const json = Json::parse(line);
    double const time = json.at("time").get<double>() * NANOSECONDS;
    if (!(time >= 0 && time < LONGEST)) {
        throw std::out_of_range("time");
    }
    StoryRecord record{PerfTimePoint(std::chrono::nanoseconds(std::llround(time))), RecordOf(json)};
    if (auto* const wrote = std::get_if<Wrote>(&record.what)) {
        wrote->write.time = record.time;
    }
    return record;
}

} // namespace

void JsonLines::Hear(StoryRecord const& record)
{
    record.Match([&](Began const& /* began */) { start = record.time; });
    auto const json = JsonOf(record.what);
    if (json.is_null()) {
        return;
    }
    Json line = {{"time", std::chrono::duration<double>(record.time - start).count()}};
    line.update(json);
    out << line.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
    if (flushes) {
        out << std::flush;
    }
}

std::optional<StoryRecord> StoredStory::Next()
{
    std::string line;
    if (!std::getline(in, line)) {
        if (number == 0) {
            throw RecordError(file + ": holds no record of a run");
        }
        return std::nullopt;
    }
    ++number;
    try {
        StoryRecord record = RecordIn(line);
        if (number == 1 && !std::holds_alternative<Began>(record.what)) {
            throw std::invalid_argument("what");
        }
        return record;
    } catch (std::exception const&) {
        throw RecordError(file + ":" + std::to_string(number) + ": no record of a run as --record writes it");
    }
}

void StoredStory::Replay(StoryListener& listener)
{
    while (auto const record = Next()) {
        listener.Hear(*record);
    }
}
