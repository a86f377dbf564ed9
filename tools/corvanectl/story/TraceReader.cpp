#include "tools/corvanectl/story/TraceReader.h"

#include "tools/corvanectl/story/RecordJson.h"

#include <chrono>
#include <cmath>
#include <stdexcept>

namespace {

using Json = nlohmann::ordered_json;

PerfTimePoint TimeOf(Json const& event)
{
    constexpr double LONGEST = 9e15; // µs; far beyond any run, and yet 64 bits hold its nanoseconds
    auto const microseconds = event.at("ts").get<double>();
    if (!(microseconds >= 0 && microseconds < LONGEST)) {
        throw std::out_of_range("ts");
    }
    return PerfTimePoint(std::chrono::nanoseconds(std::llround(microseconds * 1000)));
}

} // namespace

void Replay(nlohmann::ordered_json const& trace, StoryListener& listener)
{
    auto const events = trace.find("traceEvents");
    if (events == trace.end() || !events->is_array()) {
        throw std::invalid_argument("has no list of traceEvents");
    }
    bool hasBegun = false;
    for (std::size_t i = 0; i < events->size(); ++i) {
        Json const& event = (*events)[i];
        auto const story = event.find("story");
        if (story == event.end()) {
            continue;
        }
        try {
            StoryRecord record{TimeOf(event), RecordOf(*story)};
            if (auto* const wrote = std::get_if<Wrote>(&record.what)) {
                wrote->write.time = record.time;
            }
            hasBegun = hasBegun || std::holds_alternative<Began>(record.what);
            listener.Hear(record);
        } catch (std::exception const&) {
            throw std::invalid_argument("traceEvents[" + std::to_string(i) + "]: is no event that a run has left");
        }
    }
    if (!hasBegun) {
        throw std::invalid_argument("is no trace that run or demo have written");
    }
}
