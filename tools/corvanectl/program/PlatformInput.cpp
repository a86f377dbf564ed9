#include "tools/corvanectl/program/PlatformInput.h"

#include "tools/corvanectl/platform/JsonPlaces.h"
#include "tools/corvanectl/platform/Reader.h"
#include "tools/corvanectl/platform/check/PlatformCheck.h"
#include "tools/corvanectl/render/Paint.h"

void PlatformInput::AddTo(CLI::App& verb)
{
    verb.add_option("PLATFORM", file, "The platform file")->required();
    verb.add_option("--chip-type", chipType, "Run as this chip");
}

Platform PlatformInput::Read(std::string const& text, Findings& findings) const
{
    Platform platform = ReadPlatform(file, text, findings);
    platform.control.chipType = chipType.value_or(platform.control.chipType);
    CheckPlatform(platform, findings);
    return platform;
}

void PlatformInput::Print(Findings const& findings, std::string const& text, std::ostream& out) const
{
    std::vector<std::string> paths;
    for (Finding const& finding : findings.All()) {
        paths.push_back(finding.path);
    }
    std::vector<unsigned int> const lines = LinesOf(text, paths);
    auto line = lines.begin();
    Paint const paint(out);
    for (Finding const& finding : findings.All()) {
        std::string const place = file + ":" + std::to_string(*line++) + ": ";
        out << (finding.isWarning ? place + paint.Yellow("warning: ") : paint.Red(place)) << paint.Bold(finding.path)
            << (finding.path.empty() ? "" : ": ") << finding.text << "\n";
    }
}
