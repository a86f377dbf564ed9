#pragma once

#include <fstream>
#include <string>

/** @throws InputError if there is no such file. */
std::string ReadTextFile(std::string const& file);

/** A file that is written at the end, and opened at once, so that a bad name is known before anything runs. */
class OutputFile {
public:
    /** @throws InputError if it cannot be written. */
    explicit OutputFile(std::string file);

    std::ostream& Stream() { return out; }
    /** Ends the writing. @return whether all of it has arrived. */
    bool Finish();

private:
    std::string const name;
    std::ofstream out;
};
