#include "tools/corvanectl/story/Recording.h"

#include "tools/corvanectl/story/NodeText.h"

#include <cstdint>
#include <regex>
#include <sstream>
#include <stdexcept>

namespace {

constexpr std::int64_t PER_SECOND = 1'000'000'000;
constexpr std::size_t DECIMALS = 9;
constexpr std::size_t SHOWN_DECIMALS = 3; ///< at least

/** All of the time that is not nought. */
std::string SecondsOf(std::chrono::nanoseconds time)
{
    std::string decimals = std::to_string(PER_SECOND + time.count() % PER_SECOND).substr(1);
    while (decimals.size() > SHOWN_DECIMALS && decimals.back() == '0') {
        decimals.pop_back();
    }
    return std::to_string(time.count() / PER_SECOND) + "." + decimals + "s";
}

std::chrono::nanoseconds TimeOf(std::string const& seconds, std::string decimals)
{
    decimals.resize(DECIMALS, '0');
    return std::chrono::nanoseconds(std::stoll(seconds) * PER_SECOND + std::stoll(decimals));
}

} // namespace

std::string LineOf(RecordedWrite const& write)
{
    return SecondsOf(write.time) + "  " + write.text;
}

void Recording::Hear(StoryRecord const& record)
{
    record.Match([&](Began const& /* began */) { start = record.time; },
                 [&](Asked const& asked) { command = asked.line; },
                 [&](Wrote const& wrote) {
                     writes.push_back({wrote.write.time - start, TextOf(wrote.write), command});
                 });
}

void Recording::Write(std::ostream& out) const
{
    out << "# The writes of a run, each with its time, below the command that it came after.\n";
    std::string above;
    for (RecordedWrite const& write : writes) {
        if (write.command != above) {
            out << "> " << write.command << "\n";
            above = write.command;
        }
        out << LineOf(write) << "\n";
    }
}

std::vector<RecordedWrite> ReadRecording(std::string const& text)
{
    static std::regex const form(R"((\d{1,9})\.(\d{3,9})s  (\S.* <- .*))");
    std::vector<RecordedWrite> writes;
    std::string command;
    std::istringstream in(text);
    std::string line;
    std::smatch parts;
    for (unsigned int number = 1; std::getline(in, line); ++number) {
        if (line.rfind("> ", 0) == 0) {
            command = line.substr(2);
        } else if (std::regex_match(line, parts, form)) {
            writes.push_back({TimeOf(parts[1], parts[2]), parts[3], command});
        } else if (!line.empty() && line.front() != '#') {
            throw std::invalid_argument(std::to_string(number) + ": no write of a record: " + line);
        }
    }
    return writes;
}
