// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/program/Files.h"
#include "tools/corvanectl/program/Program.h"
#include "tools/corvanectl/render/SvgWriter.h"
#include "tools/corvanectl/story/JsonLines.h"

#include <memory>
#include <string>

namespace {

struct PlotOptions {
    std::string record;
    std::string output;
};

int Plot(PlotOptions const& options)
{
    std::ifstream in = OpenTextFile(options.record);
    Chart chart;
    StoredStory(options.record, in).Replay(chart);
    OutputFile file(options.output);
    WriteSvg(chart, file.Stream());
    return file.Finish() ? STATUS_OK : STATUS_CANNOT_WRITE;
}

} // namespace

Verb AddPlot(CLI::App& app)
{
    auto* const verb = app.add_subcommand("plot", "Draw the picture of a run from its record");
    auto const options = std::make_shared<PlotOptions>();
    verb->add_option("RECORD", options->record, "What --record of run or demo has kept")->required();
    verb->add_option("-o,--output", options->output, "The SVG file")->required();
    verb->footer("Example:\n  corvanectl plot demo.jsonl -o demo.svg");
    return {verb, [options] { return Plot(*options); }};
}
