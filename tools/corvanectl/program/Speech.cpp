// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/program/Speech.h"

#include <cerrno>
#include <iostream>
#include <system_error>
#include <utility>

#include <sys/eventfd.h>
#include <unistd.h>

Speech::Speech() : wake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)), out(*this, std::cout)
{
    if (wake < 0) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
    if (isatty(STDERR_FILENO) == 1) {
        error.emplace(*this, std::cerr);
    }
}

Speech::~Speech()
{
    close(wake);
}

void Speech::HoldBack()
{
    std::lock_guard<std::mutex> const lock(mutex);
    holdsBack = true;
}

void Speech::LetGo()
{
    std::lock_guard<std::mutex> const lock(mutex);
    holdsBack = false;
    out.SayAtOnce(std::exchange(held, ""));
}

std::string Speech::TakeLines()
{
    std::lock_guard<std::mutex> const lock(mutex);
    eventfd_t ignored = 0;
    static_cast<void>(eventfd_read(wake, &ignored));
    std::string lines = held.substr(0, held.rfind('\n') + 1); // npos + 1 is 0
    held.erase(0, lines.size());
    return lines;
}

void Speech::SayAtOnce(std::string const& text)
{
    std::lock_guard<std::mutex> const lock(mutex);
    out.SayAtOnce(text);
}

void Speech::Buffer::SayAtOnce(std::string const& text)
{
    behind->sputn(text.data(), static_cast<std::streamsize>(text.size()));
    behind->pubsync();
}

std::streamsize Speech::Buffer::xsputn(char const* text, std::streamsize length)
{
    std::lock_guard<std::mutex> const lock(speech.mutex);
    if (!speech.holdsBack) {
        return behind->sputn(text, length);
    }
    speech.held.append(text, static_cast<std::size_t>(length));
    static_cast<void>(eventfd_write(speech.wake, 1));
    return length;
}

Speech::Buffer::int_type Speech::Buffer::overflow(int_type letter)
{
    char const text = traits_type::to_char_type(letter);
    bool const isSaid = traits_type::eq_int_type(letter, traits_type::eof()) || Buffer::xsputn(&text, 1) == 1;
    return isSaid ? traits_type::not_eof(letter) : traits_type::eof();
}

int Speech::Buffer::sync()
{
    std::lock_guard<std::mutex> const lock(speech.mutex);
    return speech.holdsBack ? 0 : behind->pubsync();
}
