// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/story/NodeText.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <iomanip>
#include <iterator>
#include <sstream>
#include <stdexcept>

namespace {

std::int32_t RawNumber(std::string const& bytes)
{
    std::int32_t value = 0;
    std::memcpy(&value, bytes.data(), sizeof(value));
    return value;
}

char const DIGITS[] = "0123456789abcdef";

} // namespace

bool IsText(std::string const& bytes)
{
    return std::all_of(bytes.begin(), bytes.end(), [](unsigned char byte) { return std::isprint(byte); });
}

std::string HexOf(std::string const& bytes)
{
    std::string hex;
    for (char const character : bytes) {
        auto const byte = static_cast<unsigned char>(character);
        hex += {DIGITS[byte / 16], DIGITS[byte % 16]};
    }
    return hex;
}

std::string BytesOf(std::string const& hex)
{
    std::string bytes;
    for (std::size_t i = 0; i < hex.size(); i += 2) {
        unsigned char byte = 0;
        char const* const end = hex.data() + std::min(i + 2, hex.size());
        if (std::from_chars(hex.data() + i, end, byte, 16).ptr != end || hex.size() % 2 != 0) {
            throw std::invalid_argument("no hexadecimal digits: " + hex);
        }
        bytes += static_cast<char>(byte);
    }
    return bytes;
}

std::string ReadableBytes(std::string const& bytes)
{
    if (IsText(bytes)) {
        return bytes;
    }
    std::string shown = "bytes";
    for (char const byte : bytes) {
        shown += " " + HexOf({byte});
    }
    if (bytes.size() == sizeof(std::int32_t)) {
        shown += " (" + std::to_string(RawNumber(bytes)) + ")";
    }
    return shown;
}

std::string TextOf(NodeWrite const& write)
{
    if (write.result < 0 && write.bytes.empty()) {
        return write.node + " cannot be opened: " + ErrorName(write.error);
    }
    std::string text = write.node + " <- " + ReadableBytes(write.bytes);
    if (write.result < 0) {
        return text + ": " + ErrorName(write.error);
    }
    if (static_cast<std::size_t>(write.result) < write.bytes.size()) {
        text += ": only " + std::to_string(write.result) + " of " + std::to_string(write.bytes.size()) + " bytes taken";
    }
    return text;
}

std::optional<long long> NumberOf(std::string const& bytes)
{
    long long value = 0;
    char const* const end = bytes.data() + bytes.size();
    if (!bytes.empty() && std::from_chars(bytes.data(), end, value).ptr == end) {
        return value;
    }
    if (bytes.size() == sizeof(std::int32_t) && !IsText(bytes)) {
        return RawNumber(bytes);
    }
    return std::nullopt;
}

std::string SettingOf(std::string const& content)
{
    std::string setting = content.substr(0, content.find_last_not_of(" \n") + 1);
    auto const isRaw = [](unsigned char byte) { return std::isprint(byte) == 0 && std::isspace(byte) == 0; };
    if (std::any_of(setting.begin(), setting.end(), isRaw)) {
        return content;
    }
    std::size_t const begin = setting.find('[');
    std::size_t const end = setting.find(']');
    bool const isChoice = begin != std::string::npos && end != std::string::npos && begin < end;
    return isChoice ? setting.substr(begin + 1, end - begin - 1) : setting;
}

std::optional<long long> NumberAt(std::string const& content)
{
    auto const number = NumberOf(SettingOf(content)); // "500" and a line end are four bytes, too
    return number ? number : NumberOf(content);
}

bool Holds(std::string const& content, std::string const& written)
{
    if (content == written || SettingOf(content) == SettingOf(written)) {
        return true;
    }
    auto const number = NumberAt(content);
    return number && number == NumberOf(written);
}

std::string WithoutRoot(std::string text, std::string const& root)
{
    auto const isOfAName = [](char c) {
        return std::isalnum(static_cast<unsigned char>(c)) != 0 || std::string("/._-").find(c) != std::string::npos;
    };
    for (std::size_t at = 0; !root.empty() && (at = text.find(root + "/", at)) != std::string::npos; ++at) {
        if (at == 0 || !isOfAName(text[at - 1])) {
            text.erase(at, root.size());
        }
    }
    return text;
}

char const* WorkModeName(unsigned int mode)
{
    static char const* const NAMES[] = {"default", "boost first", "limit first"};
    return mode < std::size(NAMES) ? NAMES[mode] : "unknown";
}

std::string WorkModeText(unsigned int mode)
{
    return std::to_string(mode) + " (" + WorkModeName(mode) + ")";
}

std::string SecondsText(std::chrono::nanoseconds time)
{
    std::ostringstream text;
    text << std::fixed << std::setprecision(3) << std::chrono::duration<double>(time).count() << "s";
    return text.str();
}
