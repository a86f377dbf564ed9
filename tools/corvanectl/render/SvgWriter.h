// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "tools/corvanectl/render/Chart.h"

#include <ostream>

/**
 * Draws a chart as an SVG picture that needs nothing else, in light or dark as its reader has it: a panel for each node
 * at which anything happened, one time axis for all.
 */
void WriteSvg(Chart const& chart, std::ostream& out);

/** Draws the story that it hears. */
class Picture : public StoryListener {
public:
    explicit Picture(std::ostream& stream) : out(stream) {}

    void Hear(StoryRecord const& record) override { chart.Hear(record); }
    void End() { WriteSvg(chart, out); }

private:
    std::ostream& out;
    Chart chart;
};
