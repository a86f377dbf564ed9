// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/program/Terminal.h"

#include "tools/corvanectl/render/Paint.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cwchar>
#include <filesystem>
#include <system_error>

#include <histedit.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

namespace {

constexpr char const* PROMPT = "> ";
constexpr std::size_t PROMPT_WIDTH = 2;
constexpr int LINES_KEPT = 1000;
constexpr char CONTROL_C = 3;
constexpr char CONTROL_U = 21;

/** @return where lines are kept from one time to the next; empty if there is no such place. */
std::string PrepareHistoryFile()
{
    std::filesystem::path folder = Environment("XDG_STATE_HOME");
    if (folder.is_relative()) {
        std::string const home = Environment("HOME");
        folder = home.empty() ? "" : home + "/.local/state";
    }
    if (folder.is_relative()) {
        return "";
    }
    std::error_code ignored; // a line that cannot be kept is no reason to stop
    std::filesystem::create_directories(folder / "corvanectl", ignored);
    return folder / "corvanectl/history";
}

EditLine* StartEditor()
{
    std::setlocale(LC_CTYPE, ""); // NOLINT(concurrency-mt-unsafe): before the session's threads. Else letters are bytes
    return el_init("corvanectl", stdin, stdout, stderr);
}

std::size_t Columns()
{
    return ColumnsOfOutput(80);
}

/** @return how many columns a text takes, without the bytes that go on with a letter in UTF-8. */
std::size_t Width(std::string const& text)
{
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](unsigned char byte) { return (byte & 0xc0U) != 0x80U; }));
}

std::string CommonBeginning(std::vector<std::string> const& words)
{
    std::string common = words.front();
    for (std::string const& word : words) {
        auto const differs = std::mismatch(common.begin(), common.end(), word.begin(), word.end());
        common.erase(differs.first, common.end());
    }
    return common;
}

/** @return the words in columns, as many as there is room for. */
std::string InColumns(std::vector<std::string> const& words)
{
    std::size_t widest = 0;
    for (std::string const& word : words) {
        widest = std::max(widest, word.size() + 2);
    }
    std::size_t const each = std::max<std::size_t>(1, Columns() / widest);
    std::string text;
    for (std::size_t i = 0; i < words.size(); ++i) {
        bool const endsLine = i % each == each - 1 || i + 1 == words.size();
        text += words[i] + (endsLine ? "\n" : std::string(widest - words[i].size(), ' '));
    }
    return text;
}

/** Lets the keys come as a letter, not as a signal, until the editor resets the terminal. */
void TakeControlC()
{
    termios modes{};
    if (tcgetattr(STDIN_FILENO, &modes) == 0) {
        modes.c_cc[VINTR] = _POSIX_VDISABLE;
        tcsetattr(STDIN_FILENO, TCSANOW, &modes);
    }
}

} // namespace

Terminal::Terminal() : historyFile(PrepareHistoryFile()), editor(StartEditor()), past(history_init())
{
    HistEvent event{};
    history(past, &event, H_SETSIZE, LINES_KEPT);
    history(past, &event, H_SETUNIQUE, 1);
    history(past, &event, H_LOAD, historyFile.c_str());
    el_set(editor, EL_CLIENTDATA, this);
    el_set(
        editor, EL_PROMPT, +[](EditLine* /* editor */) { return const_cast<char*>(PROMPT); });
    el_set(editor, EL_GETCFN, ReadLetter);
    el_set(editor, EL_EDITOR, "emacs");
    el_set(editor, EL_HIST, ::history, past);
    el_set(editor, EL_ADDFN, "complete", "Complete the word", CompleteWord);
    el_set(editor, EL_BIND, "^I", "complete", nullptr);
    el_set(editor, EL_BIND, "^R", "em-inc-search-prev", nullptr);
    el_source(editor, nullptr);
}

Terminal::~Terminal()
{
    el_end(editor);
    history_end(past);
}

bool Terminal::IsThere()
{
    return isatty(STDIN_FILENO) == 1 && isatty(STDOUT_FILENO) == 1 && TakesControls();
}

bool Terminal::Next(std::string& line, StopSignal const& stop, Completer const& complete)
{
    stopping = &stop;
    completing = &complete;
    el_resize(editor);
    el_set(editor, EL_PREP_TERM, 1); // before the prompt: whoever sees it may type
    TakeControlC();
    speech.HoldBack();
    int length = 0;
    char const* const typed = el_gets(editor, &length);
    if (typed == nullptr || length <= 0) {
        speech.SayAtOnce("\n");
    } else {
        line.assign(typed, static_cast<std::size_t>(length));
        line.erase(line.find_last_not_of("\r\n") + 1);
    }
    speech.LetGo();
    if (typed == nullptr || length <= 0 || stop.IsRaised()) {
        return false;
    }
    Remember(line);
    return true;
}

Terminal& Terminal::Of(editline* editor)
{
    void* terminal = nullptr;
    el_get(editor, EL_CLIENTDATA, &terminal);
    return *static_cast<Terminal*>(terminal);
}

int Terminal::ReadLetter(editline* editor, wchar_t* letter)
{
    return Of(editor).AwaitLetter(*letter);
}

/** @return 1 with a letter, 0 at the end or when asked to stop, -1 after a failure. */
int Terminal::AwaitLetter(wchar_t& letter)
{
    while (true) {
        std::array<pollfd, 3> awaited{
            {{STDIN_FILENO, POLLIN, 0}, {stopping->Descriptor(), POLLIN, 0}, {speech.Descriptor(), POLLIN, 0}}};
        if (poll(awaited.data(), awaited.size(), -1) < 0 && errno != EINTR) {
            return -1;
        }
        if (stopping->IsRaised()) {
            return 0;
        }
        if (awaited[2].revents != 0) {
            ShowAbove(speech.TakeLines());
        }
        if (awaited[0].revents != 0) {
            return DecodeLetter(letter);
        }
    }
}

int Terminal::DecodeLetter(wchar_t& letter)
{
    std::mbstate_t state{};
    while (true) {
        char byte = 0;
        ssize_t const count = read(STDIN_FILENO, &byte, 1);
        if (count <= 0) {
            return static_cast<int>(count);
        }
        if (byte == CONTROL_C) {
            LineInfo const* const typed = el_line(editor);
            if (typed->lastchar == typed->buffer) {
                kill(getpid(), SIGINT);
            }
            byte = CONTROL_U; // which takes the line away
        }
        std::size_t const length = std::mbrtowc(&letter, &byte, 1, &state); // NOLINT(concurrency-mt-unsafe): own state
        if (length == static_cast<std::size_t>(-1)) {                       // no letter of this locale: as it is
            letter = static_cast<unsigned char>(byte);
            return 1;
        }
        if (length != static_cast<std::size_t>(-2)) {
            return 1;
        }
    }
}

std::string Terminal::TypedBeforeCursor() const
{
    LineInfo const* const info = el_line(editor);
    return {info->buffer, info->cursor};
}

/** Takes the line that is being typed away, says the text and shows the line again. */
void Terminal::ShowAbove(std::string const& text)
{
    if (text.empty()) {
        return;
    }
    std::size_t const row = (PROMPT_WIDTH + Width(TypedBeforeCursor())) / Columns();
    std::string const up = row == 0 ? "" : "\033[" + std::to_string(row) + "A";
    speech.SayAtOnce("\r" + up + "\033[J" + text);
    el_set(editor, EL_REFRESH);
}

unsigned char Terminal::CompleteWord(editline* editor, int /* key */)
{
    Terminal& terminal = Of(editor);
    std::string const typed = terminal.TypedBeforeCursor();
    auto const words = (*terminal.completing)(typed);
    if (words.empty()) {
        return CC_REFRESH_BEEP;
    }
    std::string const common = CommonBeginning(words);
    std::string const end = words.size() == 1 && common.back() != '=' ? " " : "";
    std::string const rest = common.substr(typed.size() - (typed.find_last_of(" \t") + 1)) + end;
    if (rest.empty()) {
        terminal.ShowAbove(InColumns(words));
        return CC_NORM;
    }
    el_insertstr(editor, rest.c_str());
    return CC_REFRESH;
}

void Terminal::Remember(std::string const& line)
{
    if (line.find_first_not_of(" \t") == std::string::npos) {
        return;
    }
    HistEvent event{};
    history(past, &event, H_ENTER, line.c_str());
    if (!historyFile.empty()) {
        history(past, &event, H_SAVE, historyFile.c_str());
    }
}
