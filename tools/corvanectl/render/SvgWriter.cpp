// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/render/SvgWriter.h"

#include "tools/corvanectl/story/NodeText.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <iomanip>
#include <limits>
#include <map>
#include <sstream>
#include <vector>

namespace {

constexpr double WIDTH = 1240;
constexpr double LEFT = 96; // of what the times span
constexpr double RIGHT = 1220;
constexpr double ROW = 15;      // a line of text, a lane
constexpr double NUMBERS = 46;  // the height of a plot of numbers
constexpr double TEXTS = 18;    // of a row of texts
constexpr double LETTER = 5.9;  // about as wide as one is
constexpr double BASELINE = 11; // from the top of a row
constexpr double GAP = 16;      // between panels
constexpr double MOST_TICKS = 14;

constexpr char const* STYLE = R"svg(<style>
text{font:10px system-ui,sans-serif;fill:#1f2328} .dim{fill:#656d76} .bold{font-weight:600} .title{font-size:12px}
.end{text-anchor:end} .middle{text-anchor:middle} .paper{fill:#ffffff} .grid{stroke:#d8dee4} .chapter{stroke:#8c959f;stroke-dasharray:2 3}
.frame{fill:none;stroke:#d8dee4} .line{fill:none;stroke:#0550ae;stroke-width:1.6} .area{fill:#0550ae;fill-opacity:.09}
.held{fill:#0550ae;fill-opacity:.09;stroke:#0550ae;stroke-opacity:.5} .fault{stroke:#cf222e;stroke-width:1.8}
.floor{fill:#1a7f64;fill-opacity:.22;stroke:#1a7f64} .ceiling{fill:#bc4c00;fill-opacity:.2;stroke:#bc4c00}
.mode0{fill:#656d76;fill-opacity:.1} .mode1{fill:#1a7f64;fill-opacity:.1} .mode2{fill:#bc4c00;fill-opacity:.1}
.suspend{fill:#656d76;fill-opacity:.22} .hatched{fill:url(#hatch)} .hatch{stroke:#656d76;stroke-width:1.5;stroke-opacity:.5}
@media (prefers-color-scheme: dark) {
text{fill:#e6edf3} .dim{fill:#8d96a0} .paper{fill:#0d1117} .grid,.frame{stroke:#30363d} .chapter{stroke:#6e7681}
.line{stroke:#79c0ff} .area{fill:#79c0ff;fill-opacity:.13} .held{fill:#79c0ff;fill-opacity:.13;stroke:#79c0ff}
.fault{stroke:#ff7b72} .floor{fill:#3fb950;fill-opacity:.25;stroke:#3fb950}
.ceiling{fill:#f0883e;fill-opacity:.25;stroke:#f0883e} .mode1{fill:#3fb950;fill-opacity:.12}
.mode2{fill:#f0883e;fill-opacity:.12} .hatch{stroke:#8d96a0}
}
</style>
<defs><pattern id="hatch" width="6" height="6" patternUnits="userSpaceOnUse" patternTransform="rotate(45)"><line class="hatch" y2="6"/></pattern></defs>
)svg";

std::string Escaped(std::string const& text)
{
    static std::map<char, char const*> const ESCAPES = {{'&', "&amp;"}, {'<', "&lt;"}, {'>', "&gt;"}, {'"', "&quot;"}};
    std::string escaped;
    for (char const letter : text) {
        auto const escape = ESCAPES.find(letter);
        if (escape != ESCAPES.end()) {
            escaped += escape->second;
        } else {
            escaped += static_cast<unsigned char>(letter) < 0x20 ? ' ' : letter; // few controls are legal in XML
        }
    }
    return escaped;
}

double Seconds(Chart::Time time)
{
    return std::chrono::duration<double>(time).count();
}

std::string TickText(double seconds)
{
    std::ostringstream text;
    text << std::setprecision(12) << seconds << " s";
    return text.str();
}

/** The step between times of the axis: 1, 2 or 5 of some power of ten. */
double TickOf(double seconds)
{
    double const atLeast = seconds / MOST_TICKS;
    double const power = std::pow(10, std::floor(std::log10(atLeast)));
    for (double const factor : {1.0, 2.0, 5.0}) {
        if (factor * power >= atLeast) {
            return factor * power;
        }
    }
    return 10 * power;
}

/** Gives rows to bars with their texts, so that none is in another's way. */
class Lanes {
public:
    std::size_t LaneFor(double from, double to)
    {
        auto const lane = std::find_if(ends.begin(), ends.end(), [from](double end) { return end <= from; });
        std::size_t const index = static_cast<std::size_t>(lane - ends.begin());
        if (lane == ends.end()) {
            ends.push_back(to);
        } else {
            *lane = to;
        }
        return index;
    }
    double Height() const { return static_cast<double>(ends.size()) * ROW; }

private:
    std::vector<double> ends;
};

class Drawing {
public:
    explicit Drawing(Chart const& drawn) : chart(drawn), end(std::max(Seconds(drawn.End()), 0.001))
    {
        body << std::fixed << std::setprecision(1);
    }

    void Write(std::ostream& out)
    {
        Title();
        Legend();
        Modes();
        y += ROW + GAP; // of the times above
        double const top = y;
        std::size_t quiet = 0;
        for (Chart::Panel const& panel : chart.Panels()) {
            if (panel.IsQuiet()) {
                ++quiet;
            } else {
                DrawPanel(panel);
            }
        }
        Axis(top);
        Notes(quiet);
        out << R"(<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 )" << WIDTH << " " << std::ceil(y)
            << R"(" width=")" << WIDTH << R"(" height=")" << std::ceil(y) << "\">\n"
            << STYLE << R"(<rect class="paper" width="100%" height="100%"/>)"
            << "\n"
            << behind.str() << body.str() << "</svg>\n"
            << std::flush;
    }

private:
    /** Where a line of numbers turns. */
    struct Corner {
        double x;
        double y;
        long long value;
    };

    double X(Chart::Time time) const { return X(Seconds(time)); }
    double X(double seconds) const { return LEFT + (RIGHT - LEFT) * std::clamp(seconds / end, 0.0, 1.0); }
    double Until(Chart::Span const& span) const { return span.until ? X(*span.until) : RIGHT; }

    void Text(double x, double top, std::string const& kind, std::string const& text)
    {
        body << R"(<text class=")" << kind << R"(" x=")" << x << R"(" y=")" << top + BASELINE << "\">" << Escaped(text)
             << "</text>\n";
    }

    /** @param title shown where somebody points at it; may be empty. */
    static void Box(std::ostream& out, std::string const& kind, double from, double to, double top, double height,
                    std::string const& title = "")
    {
        out << std::fixed << std::setprecision(1) << R"(<rect class=")" << kind << R"(" x=")" << from << R"(" y=")"
            << top << R"(" width=")" << std::max(to - from, 1.0) << R"(" height=")" << height << "\"";
        if (title.empty()) {
            out << "/>\n";
        } else {
            out << "><title>" << Escaped(title) << "</title></rect>\n";
        }
    }

    static void Line(std::ostream& out, char const* kind, double x1, double y1, double x2, double y2)
    {
        out << std::fixed << std::setprecision(1) << R"(<line class=")" << kind << R"(" x1=")" << x1 << R"(" y1=")"
            << y1 << R"(" x2=")" << x2 << R"(" y2=")" << y2 << "\"/>\n";
    }

    void Title()
    {
        if (!chart.Platform().empty()) {
            Text(LEFT, y, "title bold", chart.Platform());
            y += ROW + 8;
        }
    }

    void Legend()
    {
        double x = LEFT;
        for (auto const& [kind, text] : {std::pair("floor", "floor"),
                                         {"ceiling", "ceiling"},
                                         {"held", "what the node holds"},
                                         {"suspend", "suspended"},
                                         {"fault", "write refused"}}) {
            if (std::string(kind) == "fault") {
                Cross(x + 6, y + 7);
            } else {
                Box(body, kind, x, x + 12, y + 3, 9);
            }
            Text(x + 18, y, "dim", text);
            x += 44 + LETTER * static_cast<double>(std::string(text).size());
        }
        y += ROW + 8;
    }

    void Cross(double x, double middle)
    {
        Line(body, "fault", x - 3, middle - 3, x + 3, middle + 3);
        Line(body, "fault", x - 3, middle + 3, x + 3, middle - 3);
    }

    /** A bar with its text, in the next lane that has room; the text stands inside, or behind, or before. */
    void Bar(Lanes& lanes, std::string const& kind, Chart::Span const& span, std::string const& text)
    {
        if (Seconds(span.from) > end) {
            return; // a phase that was still to come
        }
        double const from = X(span.from);
        double const to = Until(span);
        double const width = 8 + LETTER * static_cast<double>(text.size());
        bool const inside = to - from >= width;
        bool const before = !inside && to + width > RIGHT;
        std::size_t const lane = lanes.LaneFor(before ? from - width : from, inside || before ? to : to + width);
        double const top = y + ROW * static_cast<double>(lane);
        Box(body, kind, from, to, top + 1.5, ROW - 3,
            text + ", " + TickText(Seconds(span.from)) + " to " +
                (span.until ? TickText(Seconds(*span.until)) : "the end"));
        if (before) {
            Text(from - 4, top, "end", text);
        } else {
            Text(inside ? from + 4 : to + 4, top, "", text);
        }
    }

    void Modes()
    {
        if (chart.Modes().empty()) {
            return;
        }
        Text(LEFT - 8, y, "end dim", "work modes");
        Lanes lanes;
        for (Chart::Mode const& mode : chart.Modes()) {
            Bar(lanes, "mode" + std::to_string(mode.id), mode.span,
                std::string(WorkModeName(mode.id)) + ", " + mode.owner.text);
        }
        y += lanes.Height() + GAP;
    }

    void DrawPanel(Chart::Panel const& panel)
    {
        body << "<g>";
        body << R"(<text class="title" x=")" << LEFT << R"(" y=")" << y + BASELINE << R"("><tspan class="bold">)"
             << Escaped(panel.node.resourceName.empty() ? "threads" : panel.node.resourceName)
             << R"(</tspan><tspan class="dim" dx="8">)" << Escaped(panel.node.name) << "</tspan></text>\n";
        y += ROW + 2;
        bool const isNumber = std::all_of(panel.steps.begin(), panel.steps.end(), [](Chart::Step const& step) {
            return step.error != 0 || NumberOf(step.bytes).has_value();
        });
        double const height = isNumber ? NUMBERS : TEXTS;
        for (Chart::Span const& span : panel.suspends) {
            Box(body, "suspend", X(span.from), Until(span), y, height);
            Box(body, "hatched", X(span.from), Until(span), y, height);
        }
        isNumber ? Numbers(panel) : Texts(panel);
        Box(body, "frame", LEFT, RIGHT, y, height);
        y += height + 2;
        DrawClaims(panel);
        body << "</g>\n";
        y += GAP;
    }

    void Numbers(Chart::Panel const& panel)
    {
        long long lowest = std::numeric_limits<long long>::max();
        long long highest = std::numeric_limits<long long>::min();
        for (Chart::Step const& step : panel.steps) {
            if (auto const number = NumberOf(step.bytes); number && step.error == 0) {
                lowest = std::min(lowest, *number);
                highest = std::max(highest, *number);
            }
        }
        Text(LEFT - 8, y - 2, "end dim", std::to_string(highest));
        if (lowest < highest) {
            Text(LEFT - 8, y + NUMBERS - ROW + 3, "end dim", std::to_string(lowest));
        }
        double const span = lowest < highest ? static_cast<double>(highest - lowest) : 1.0;
        auto const yOf = [&](long long value) {
            double const part = lowest < highest ? static_cast<double>(value - lowest) / span : 0.9;
            return y + NUMBERS - 4 - (NUMBERS - 8) * part;
        };
        long long const base = *NumberOf(panel.steps.front().bytes);
        std::vector<Corner> corners{{LEFT, yOf(base), base}};
        for (Chart::Step const& step : panel.steps) {
            if (step.error != 0) {
                Cross(X(step.at), corners.back().y);
            } else if (long long const value = *NumberOf(step.bytes); value != corners.back().value) {
                corners.push_back({X(step.at), yOf(value), value});
            }
        }
        std::ostringstream path;
        path << std::fixed << std::setprecision(1) << LEFT << " " << corners.front().y;
        for (std::size_t i = 1; i < corners.size(); ++i) {
            path << " H" << corners[i].x << " V" << corners[i].y;
        }
        path << " H" << RIGHT;
        body << R"(<path class="area" d="M)" << path.str() << " V" << y + NUMBERS << " H" << LEFT << " Z\"/>\n"
             << R"(<path class="line" d="M)" << path.str() << "\"/>\n";
        for (std::size_t i = 1; i < corners.size(); ++i) {
            if (corners[i].value != lowest && corners[i].value != highest) {
                StepValue(corners[i], i + 1 < corners.size() ? corners[i + 1].x : RIGHT);
            }
        }
    }

    /** Writes a value beside its step, where there is room until the next one: above the line, or else below. */
    void StepValue(Corner const& corner, double until)
    {
        std::string const text = std::to_string(corner.value);
        if (until - corner.x >= 6 + LETTER * static_cast<double>(text.size())) {
            bool const fitsAbove = corner.y - y >= BASELINE;
            Text(corner.x + 3, corner.y - BASELINE + (fitsAbove ? -2 : BASELINE - 1), "dim", text);
        }
    }

    void Texts(Chart::Panel const& panel)
    {
        auto const& steps = panel.steps;
        for (std::size_t i = 0; i < steps.size();) {
            if (steps[i].error != 0) {
                Cross(X(steps[i].at), y + TEXTS / 2);
                ++i;
                continue;
            }
            std::size_t next = i + 1;
            while (next < steps.size() && steps[next].error == 0 && steps[next].bytes == steps[i].bytes) {
                ++next;
            }
            double const from = X(steps[i].at);
            double const to = next < steps.size() ? X(steps[next].at) : RIGHT;
            std::string const text = ReadableBytes(steps[i].bytes);
            if (!text.empty()) {
                Box(body, "held", from, to, y, TEXTS, text);
            }
            if (to - from >= 8 + LETTER * static_cast<double>(text.size())) {
                Text(from + 4, y + 1.5, "", text);
            }
            i = next;
        }
    }

    void DrawClaims(Chart::Panel const& panel)
    {
        Lanes lanes;
        for (bool const isFloor : {true, false}) {
            for (Chart::Claim const& claim : panel.claims) {
                if (claim.isFloor == isFloor) {
                    char const* const sign = !NumberOf(claim.value) ? "" : isFloor ? "min " : "max ";
                    Bar(lanes, isFloor ? "floor" : "ceiling", claim.span, sign + claim.value + ", " + claim.owner.text);
                }
            }
        }
        y += lanes.Height();
    }

    /** The times above and below all panels, and lines through them; modes shade them, chapters divide them. */
    void Axis(double top)
    {
        double const bottom = y;
        for (Chart::Mode const& mode : chart.Modes()) {
            Box(behind, "mode" + std::to_string(mode.id), X(mode.span.from), Until(mode.span), top, bottom - top);
        }
        double const tick = TickOf(end);
        for (int i = 0; i * tick <= end * 1.0001; ++i) {
            Line(behind, "grid", X(i * tick), top, X(i * tick), bottom);
            Text(X(i * tick), bottom + 2, "middle dim", TickText(i * tick));
            Text(X(i * tick), top - GAP - ROW + 2, "middle dim", TickText(i * tick));
        }
        std::size_t number = 0;
        double free = 0;
        for (Chart::Chapter const& chapter : chart.Chapters()) {
            std::string const text = std::to_string(++number);
            double const at = std::max(X(chapter.at) + 2, free);
            Line(behind, "chapter", X(chapter.at), top, X(chapter.at), bottom);
            Text(at, top - GAP + 2, "bold", text);
            free = at + 4 + LETTER * static_cast<double>(text.size());
        }
        y += ROW + GAP;
    }

    void Notes(std::size_t quiet)
    {
        std::size_t number = 0;
        for (Chart::Chapter const& chapter : chart.Chapters()) {
            Text(LEFT - 8, y, "end bold", std::to_string(++number));
            Text(LEFT, y, "dim", TickText(Seconds(chapter.at)));
            Text(LEFT + 46, y, "", chapter.title);
            y += ROW;
        }
        if (quiet != 0) {
            Text(LEFT, y + 4, "dim", "Nodes at which nothing happened: " + std::to_string(quiet));
            y += ROW + 4;
        }
        y += GAP;
    }

    Chart const& chart;
    double const end; ///< s
    double y = 12;    ///< where the next thing is drawn
    std::ostringstream behind;
    std::ostringstream body;
};

} // namespace

void WriteSvg(Chart const& chart, std::ostream& out)
{
    Drawing(chart).Write(out);
}
