// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/program/Files.h"

#include "tools/corvanectl/platform/Findings.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <map>
#include <system_error>
#include <utility>

#include <sys/stat.h>
#include <unistd.h>

namespace {

/** @return where a file is or would be, whatever names lead there. */
std::string PathOf(std::string const& file)
{
    std::error_code unknown;
    std::string const place = std::filesystem::weakly_canonical(file, unknown);
    return unknown ? file : place;
}

/** Whether this is something that a file cannot take the place of. */
bool IsNoFile(std::string const& place)
{
    std::error_code unknown;
    auto const status = std::filesystem::status(place, unknown);
    return std::filesystem::exists(status) && !std::filesystem::is_regular_file(status);
}

/** Takes note of a file of this run. @throws InputError if one of the two that have this name would be destroyed. */
void Note(std::string const& name, std::string const& place, bool isOutput)
{
    static std::map<std::string, bool> files; // and whether they are outputs
    auto const [known, isNew] = files.emplace(place, isOutput);
    if (!isNew && (isOutput || known->second) && !IsNoFile(place)) {
        throw InputError(name + ": would be overwritten, and is " + (known->second ? "another output" : "an input") +
                         " as well");
    }
}

/** @return the name of a new file beside a place, with the rights that a file has there. @throws OutputError */
std::string MakeBeside(std::string const& name, std::string const& place)
{
    struct stat present {};
    mode_t const mask = umask(0);
    umask(mask);
    mode_t mode = 0666U & ~mask;
    std::string beside = place + ".XXXXXX";
    int descriptor = -1;
    if (stat(place.c_str(), &present) != 0 || access(place.c_str(), W_OK) == 0) {
        mode = present.st_mode != 0 ? present.st_mode & 0777U : mode;
        descriptor = mkstemp(beside.data());
    }
    if (descriptor < 0) {
        throw OutputError(name + ": cannot be written: " + SystemReason());
    }
    fchmod(descriptor, mode);
    close(descriptor);
    return beside;
}

} // namespace

std::ifstream OpenTextFile(std::string const& file)
{
    Note(file, PathOf(file), false);
    std::ifstream in(file, std::ios::binary);
    in.peek(); // what a folder holds cannot be read
    if (!in.eof() && !in) {
        throw InputError(file + ": cannot be read: " + SystemReason());
    }
    return in;
}

std::string ReadTextFile(std::string const& file)
{
    std::ifstream in = OpenTextFile(file);
    return {std::istreambuf_iterator<char>(in), {}};
}

OutputFile::OutputFile(std::string file) : name(std::move(file)), place(PathOf(name))
{
    Note(name, place, true);
    if (!IsNoFile(place)) {
        beside = MakeBeside(name, place);
    }
    out.open(beside.empty() ? place : beside);
    if (!out) {
        throw OutputError(name + ": cannot be written: " + SystemReason());
    }
}

OutputFile::~OutputFile()
{
    if (!beside.empty()) {
        unlink(beside.c_str());
    }
}

bool OutputFile::Finish()
{
    out.close();
    bool const isWhole = !out.fail() && (beside.empty() || rename(beside.c_str(), place.c_str()) == 0);
    if (isWhole) {
        beside.clear();
    } else {
        std::cerr << "corvanectl: " << name << ": could not be written whole\n";
    }
    return isWhole;
}
