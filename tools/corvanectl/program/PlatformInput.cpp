// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/program/PlatformInput.h"

#include "tools/corvanectl/platform/Reader.h"
#include "tools/corvanectl/platform/check/PlatformCheck.h"
#include "tools/corvanectl/program/Files.h"
#include "tools/corvanectl/render/Paint.h"

#include <algorithm>

CLI::Option* AddRoot(CLI::App& verb, std::string& root)
{
    return verb.add_option("--root", root, "Put this folder before every path");
}

void AddChipType(CLI::App& verb, std::optional<unsigned int>& chipType)
{
    verb.add_option("--chip-type", chipType, "Run as this chip");
}

void PlatformInput::AddTo(CLI::App& verb)
{
    verb.add_option("PLATFORM", file, "The platform file")->required();
    AddChipType(verb, chipType);
}

Platform PlatformInput::Read(std::string const& text, Findings& findings) const
{
    Platform platform = ReadPlatform(file, text, findings);
    platform.control.chipType = chipType.value_or(platform.control.chipType);
    CheckPlatform(platform, findings);
    return platform;
}

Platform PlatformInput::Read(Findings& findings) const
{
    return Read(ReadTextFile(file), findings);
}

void PlatformInput::Print(Findings const& findings, std::ostream& out) const
{
    Paint const paint(out);
    std::size_t const listed = std::min(findings.All().size(), MOST_LISTED);
    for (std::size_t i = 0; i < listed; ++i) {
        Finding const& finding = findings.All()[i];
        std::string const place = file + ":" + std::to_string(findings.LineOf(finding.path)) + ": ";
        out << (finding.isWarning ? place + paint.Yellow("warning: ") : paint.Red(place)) << paint.Bold(finding.path)
            << (finding.path.empty() ? "" : ": ") << finding.text << "\n";
    }
    out << AndMore(findings.All().size());
}
