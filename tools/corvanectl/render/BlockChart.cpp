#include "tools/corvanectl/render/BlockChart.h"

#include "tools/corvanectl/story/NodeText.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <iomanip>
#include <sstream>
#include <utility>
#include <vector>

namespace {

constexpr std::size_t COLUMNS = 56;
constexpr int LABEL = 33;
constexpr char const* BLOCKS[] = {"▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
constexpr double HIGHEST_BLOCK = 7;

/** What a node held, as heights of blocks. */
struct Row {
    std::vector<std::pair<Chart::Time, double>> steps; ///< 0 .. 7 from a time on
    std::string range;                                 ///< what the lowest and the highest block stand for
};

Row RowOf(std::vector<Chart::Step> const& steps)
{
    Row row;
    std::vector<long long> numbers;
    for (Chart::Step const& step : steps) {
        if (step.error != 0) {
            continue;
        }
        if (auto const number = NumberOf(step.bytes)) {
            numbers.push_back(*number);
        }
        row.steps.emplace_back(step.at, Holds(steps.front().bytes, step.bytes) ? 0 : HIGHEST_BLOCK);
    }
    if (numbers.size() != row.steps.size()) {
        return row; // texts among them
    }
    auto const [lowest, highest] = std::minmax_element(numbers.begin(), numbers.end());
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        double const span = std::max(static_cast<double>(*highest - *lowest), 1.0);
        row.steps[i].second = std::round(HIGHEST_BLOCK * static_cast<double>(numbers[i] - *lowest) / span);
    }
    row.range = std::to_string(*lowest) + " .. " + std::to_string(*highest);
    return row;
}

std::string Blocks(Row const& row, Chart::Time end)
{
    double const base = row.steps.front().second;
    double held = base;
    std::string blocks;
    auto step = row.steps.begin();
    for (std::size_t column = 1; column <= COLUMNS; ++column) {
        Chart::Time const until = end * static_cast<Chart::Time::rep>(column) / COLUMNS;
        double shown = held;
        for (; step != row.steps.end() && (step->first < until || column == COLUMNS); ++step) {
            held = step->second;
            shown = std::abs(held - base) > std::abs(shown - base) ? held : shown;
        }
        blocks += BLOCKS[static_cast<std::size_t>(shown)];
    }
    return blocks;
}

/** @return the end of a path that tells nodes apart: the file and its folder. */
std::string LabelOf(std::string const& node)
{
    std::size_t const file = node.rfind('/');
    std::size_t const folder = file == 0 ? 0 : node.rfind('/', file - 1);
    return folder == std::string::npos ? node : node.substr(folder + 1);
}

} // namespace

void BlockChart::Hear(StoryRecord const& record)
{
    std::lock_guard<std::mutex> const lock(mutex);
    chart.Hear(record);
}

std::string BlockChart::Text() const
{
    std::lock_guard<std::mutex> const lock(mutex);
    std::ostringstream text;
    for (Chart::Panel const& panel : chart.Panels()) {
        Row const row = RowOf(panel.steps);
        bool const changes = std::any_of(row.steps.begin(), row.steps.end(),
                                         [&row](auto const& step) { return step.second != row.steps.front().second; });
        if (changes) {
            text << std::left << std::setw(LABEL) << LabelOf(panel.node.name) << Blocks(row, chart.End())
                 << (row.range.empty() ? "" : "  ") << row.range << "\n";
        }
    }
    std::ostringstream seconds;
    seconds << std::chrono::duration<double>(chart.End()).count() << " s";
    text << std::setw(LABEL) << ""
         << "0 s" << std::right << std::setw(static_cast<int>(COLUMNS) - 3) << seconds.str() << "\n";
    return text.str();
}
