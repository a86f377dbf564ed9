#pragma once

#include <fstream>
#include <stdexcept>
#include <string>

/** Output that cannot be written: the tool ends with status 3. */
class OutputError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/** @throws InputError if there is no such file. */
std::ifstream OpenTextFile(std::string const& file);
/** @throws InputError if there is no such file. */
std::string ReadTextFile(std::string const& file);

/** A file that is written at the end, and opened at once, so that a bad name is known before anything runs. */
class OutputFile {
public:
    /** @throws OutputError if it cannot be written. */
    explicit OutputFile(std::string file);

    std::ostream& Stream() { return out; }
    /** Ends the writing. @return whether all of it has arrived. */
    bool Finish();

private:
    std::string const name;
    std::ofstream out;
};
