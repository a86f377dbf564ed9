// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <fstream>
#include <stdexcept>
#include <string>

/** Output that cannot be written: the tool ends with status 3. */
class OutputError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/** @throws InputError if there is no such file, or if it is an output of this run. */
std::ifstream OpenTextFile(std::string const& file);
/** @throws as OpenTextFile. */
std::string ReadTextFile(std::string const& file);

/**
 * A file that is written at the end, and opened at once, so that a bad name is known before anything runs. It is
 * written beside its place, and takes it when it is whole: until then, and where that fails, what was there stays. What
 * is no file, such as a pipe or a device, is written as it is.
 */
class OutputFile {
public:
    /** @throws OutputError if it cannot be written, InputError if it is an input or another output of this run. */
    explicit OutputFile(std::string file);
    OutputFile(OutputFile const&) = delete;
    OutputFile& operator=(OutputFile const&) = delete;
    ~OutputFile();

    std::ostream& Stream() { return out; }
    /** Ends the writing. @return whether all of it has arrived; if not, that has been said. */
    bool Finish();

private:
    std::string const name;
    std::string const place;
    std::string beside; ///< empty when it has taken its place, or where what is written is no file
    std::ofstream out;
};
