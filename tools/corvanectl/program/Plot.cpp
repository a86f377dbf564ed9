#include "tools/corvanectl/platform/JsonObject.h"
#include "tools/corvanectl/program/Files.h"
#include "tools/corvanectl/program/Program.h"
#include "tools/corvanectl/render/Chart.h"
#include "tools/corvanectl/render/SvgWriter.h"
#include "tools/corvanectl/story/TraceReader.h"

#include <memory>
#include <stdexcept>
#include <string>

namespace {

struct PlotOptions {
    std::string trace;
    std::string output;
};

int Plot(PlotOptions const& options)
{
    Findings twice; // keys that other tools may have added
    Chart chart;
    try {
        Replay(ParseJson(options.trace, ReadTextFile(options.trace), twice), chart);
    } catch (std::invalid_argument const& error) {
        throw InputError(options.trace + ": " + error.what());
    }
    OutputFile picture(options.output);
    WriteSvg(chart, picture.Stream());
    return picture.Finish() ? STATUS_OK : STATUS_CANNOT_WRITE;
}

} // namespace

Verb AddPlot(CLI::App& app)
{
    auto* const verb = app.add_subcommand("plot", "Draw the picture of a run from its trace");
    auto const options = std::make_shared<PlotOptions>();
    verb->add_option("TRACE", options->trace, "The trace that run or demo has written")->required();
    verb->add_option("-o,--output", options->output, "The SVG file")->required();
    verb->footer("Example:\n  corvanectl plot demo.json -o demo.svg");
    return {verb, [options] { return Plot(*options); }};
}
