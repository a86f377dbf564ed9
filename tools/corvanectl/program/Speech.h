// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <mutex>
#include <optional>
#include <ostream>
#include <streambuf>
#include <string>

/**
 * What is said on standard output and, if that is a terminal too, on standard error while this lives: at once, or
 * held back until somebody shows it. Any thread may speak, hold back and show.
 */
class Speech {
public:
    Speech();
    Speech(Speech const&) = delete;
    Speech& operator=(Speech const&) = delete;
    ~Speech();

    void HoldBack();
    /** Says what was held back, and from now on everything at once. */
    void LetGo();
    /** @return the whole lines that were held back, which are not any more. */
    std::string TakeLines();
    /** Can be read from when there may be lines to take. */
    int Descriptor() const { return wake; }
    void SayAtOnce(std::string const& text);

private:
    /** Stands before the buffer of a stream. */
    class Buffer : public std::streambuf {
    public:
        Buffer(Speech& speaking, std::ostream& spoken) : speech(speaking), stream(spoken), behind(spoken.rdbuf(this)) {}
        Buffer(Buffer const&) = delete;
        Buffer& operator=(Buffer const&) = delete;
        ~Buffer() override { stream.rdbuf(behind); }

        void SayAtOnce(std::string const& text);

    protected:
        std::streamsize xsputn(char const* text, std::streamsize length) override;
        int_type overflow(int_type letter) override;
        int sync() override;

    private:
        Speech& speech;
        std::ostream& stream;
        std::streambuf* const behind;
    };

    std::mutex mutex;
    int const wake;
    bool holdsBack = false; ///< guarded by mutex
    std::string held;       ///< guarded by mutex
    Buffer out;
    std::optional<Buffer> error;
};
