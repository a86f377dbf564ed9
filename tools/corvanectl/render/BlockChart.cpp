// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/render/BlockChart.h"

#include "tools/corvanectl/story/NodeText.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <iomanip>
#include <set>
#include <sstream>

namespace {

constexpr std::size_t MOST_STEPS = 8192; ///< of a node, before they are thinned
constexpr std::ptrdiff_t THINNED = 8;    ///< neighbours, of which the extremes and the last stay
constexpr std::size_t FEWEST_CELLS = 10;
constexpr char const* BLOCKS[] = {"▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
constexpr double HIGHEST = 7;

using Time = HeldRow::Time;
using Steps = std::vector<HeldRow::Step>;

/** A row as it is drawn. */
struct Shown {
    HeldRow const* row;
    std::vector<double> heights{}; ///< of its steps, 0 .. 7
    std::string range{};           ///< what the lowest and the highest block stand for; empty of texts
    std::string label{};

    bool Changes() const
    {
        return std::any_of(heights.begin(), heights.end(), [this](double height) { return height != heights.front(); });
    }
};

/** @return the path from its last but so many folders on. */
std::string TailOf(std::string const& path, std::size_t folders)
{
    std::size_t at = path.size();
    for (std::size_t i = 0; i <= folders && at != 0 && at != std::string::npos; ++i) {
        at = path.rfind('/', at - 1);
    }
    return at == std::string::npos ? path : path.substr(at + (at == 0 ? 0 : 1));
}

/** Gives each row the shortest end of its path, with a folder at least, that no other row ends in. */
void Label(std::vector<Shown>& rows)
{
    for (Shown& row : rows) {
        for (std::size_t folders = 1;; ++folders) {
            row.label = TailOf(row.row->node, folders);
            auto const endsAlike = [&](Shown const& other) {
                return other.row->node != row.row->node && TailOf(other.row->node, folders) == row.label;
            };
            if (row.label == row.row->node || std::none_of(rows.begin(), rows.end(), endsAlike)) {
                break;
            }
        }
    }
}

/** A number stands as high as it is between the others; and never as high as the base, if it is another. */
double HeightOf(long long number, long long base, long long lowest, long long highest)
{
    auto const part = [&](long long value) {
        return static_cast<double>(value - lowest) / std::max(static_cast<double>(highest - lowest), 1.0);
    };
    double const height = std::round(HIGHEST * part(number));
    if (number != base && height == std::round(HIGHEST * part(base))) {
        return std::clamp(height + (number > base ? 1 : -1), 0.0, HIGHEST);
    }
    return height;
}

Shown ShownOf(HeldRow const& row)
{
    Shown shown{&row};
    std::vector<long long> numbers;
    for (HeldRow::Step const& step : row.steps) {
        if (auto const number = NumberOf(step.bytes)) {
            numbers.push_back(*number);
        }
        shown.heights.push_back(Holds(row.steps.front().bytes, step.bytes) ? 0 : HIGHEST);
    }
    if (numbers.size() != row.steps.size()) {
        return shown; // texts among them
    }
    long long const lowest = *std::min_element(numbers.begin(), numbers.end());
    long long const highest = *std::max_element(numbers.begin(), numbers.end());
    std::transform(numbers.begin(), numbers.end(), shown.heights.begin(),
                   [&](long long number) { return HeightOf(number, numbers.front(), lowest, highest); });
    shown.range = "  " + std::to_string(lowest) + " .. " + std::to_string(highest);
    return shown;
}

std::string Blocks(Shown const& shown, std::size_t cells, Time end)
{
    Steps const& steps = shown.row->steps;
    double held = shown.heights.front();
    double before = held;
    std::string blocks;
    std::size_t step = 0;
    for (std::size_t cell = 1; cell <= cells; ++cell) {
        Time const until = end * static_cast<Time::rep>(cell) / static_cast<Time::rep>(cells);
        double extreme = held;
        for (; step < steps.size() && (steps[step].at < until || cell == cells); ++step) {
            held = shown.heights[step];
            extreme = std::abs(held - before) > std::abs(extreme - before) ? held : extreme;
        }
        blocks += BLOCKS[static_cast<std::size_t>(extreme)];
        before = extreme;
    }
    return blocks;
}

/** Leaves out what is neither an extreme among its neighbours nor the last of them. */
void Thin(Steps& steps)
{
    if (steps.size() < MOST_STEPS) {
        return;
    }
    auto const valueOf = [base = steps.front().bytes](HeldRow::Step const& step) {
        return NumberOf(step.bytes).value_or(Holds(base, step.bytes) ? 0 : 1);
    };
    auto const isLess = [&](HeldRow::Step const& left, HeldRow::Step const& right) {
        return valueOf(left) < valueOf(right);
    };
    Steps kept{steps.front()};
    for (auto part = steps.begin() + 1; part != steps.end();) {
        auto const behind = part + std::min(THINNED, steps.end() - part);
        auto const [lowest, highest] = std::minmax_element(part, behind, isLess);
        for (; part != behind; ++part) {
            if (part == lowest || part == highest || part + 1 == behind) {
                kept.push_back(*part);
            }
        }
    }
    steps = std::move(kept);
}

} // namespace

void BlockChart::Hear(StoryRecord const& record)
{
    std::lock_guard<std::mutex> const lock(mutex);
    record.Match([&](Began const& began) {
        start = record.time;
        std::set<std::string> known; // variants for several chips share theirs
        for (Began::Node const& node : began.nodes) {
            if (known.insert(node.name).second) {
                rows.push_back({node.name, {{Time(0), SettingOf(node.bytes)}}});
            }
        }
    });
    Time const now = record.time - start;
    end = std::max(end, now);
    record.Match([&](Wrote const& wrote) {
        for (HeldRow& row : rows) {
            if (row.node == wrote.write.node && wrote.write.error == 0) {
                row.steps.push_back({now, wrote.write.bytes});
                Thin(row.steps);
            }
        }
    });
}

std::string BlockChart::Text(std::size_t width) const
{
    std::lock_guard<std::mutex> const lock(mutex);
    std::vector<Shown> shown;
    for (HeldRow const& row : rows) {
        if (Shown drawn = ShownOf(row); drawn.Changes()) {
            shown.push_back(std::move(drawn));
        }
    }
    Label(shown);
    std::size_t labels = 0;
    std::size_t ranges = 0;
    for (Shown const& row : shown) {
        labels = std::max(labels, row.label.size() + 2);
        ranges = std::max(ranges, row.range.size());
    }
    std::size_t const cells = std::max(width, labels + ranges + FEWEST_CELLS) - labels - ranges;
    std::ostringstream text;
    for (Shown const& row : shown) {
        text << row.label << std::string(labels - row.label.size(), ' ') << Blocks(row, cells, end) << row.range
             << "\n";
    }
    std::ostringstream seconds;
    seconds << std::chrono::duration<double>(end).count() << " s";
    text << std::string(labels, ' ') << "0 s" << std::setw(static_cast<int>(cells) - 3) << seconds.str() << "\n";
    return text.str();
}
