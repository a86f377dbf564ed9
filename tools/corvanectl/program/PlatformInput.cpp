#include "tools/corvanectl/program/PlatformInput.h"

#include "tools/corvanectl/platform/Reader.h"
#include "tools/corvanectl/platform/check/PlatformCheck.h"

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

void PlatformInput::Print(Findings const& findings, std::ostream& out) const
{
    for (Finding const& finding : findings.All()) {
        out << file << ": " << finding.path << (finding.path.empty() ? "" : ": ") << finding.text << "\n";
    }
}
