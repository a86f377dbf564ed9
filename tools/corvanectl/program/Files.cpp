#include "tools/corvanectl/program/Files.h"

#include "tools/corvanectl/platform/Findings.h"

#include <cerrno>
#include <iostream>
#include <sstream>
#include <system_error>
#include <utility>

std::ifstream OpenTextFile(std::string const& file)
{
    std::ifstream in(file, std::ios::binary);
    in.peek(); // what a folder holds cannot be read
    if (!in.eof() && !in) {
        throw InputError(file + ": cannot be read: " + std::generic_category().message(errno));
    }
    return in;
}

std::string ReadTextFile(std::string const& file)
{
    std::ifstream in = OpenTextFile(file);
    return {std::istreambuf_iterator<char>(in), {}};
}

OutputFile::OutputFile(std::string file) : name(std::move(file)), out(name)
{
    if (!out) {
        throw OutputError(name + ": cannot be written: " + std::generic_category().message(errno));
    }
}

bool OutputFile::Finish()
{
    out.close();
    if (out.fail()) {
        std::cerr << "corvanectl: " << name << ": could not be written whole\n";
    }
    return !out.fail();
}
