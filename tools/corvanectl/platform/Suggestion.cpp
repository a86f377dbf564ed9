// SPDX-License-Identifier: Apache-2.0

#include "tools/corvanectl/platform/Suggestion.h"

#include <algorithm>
#include <cctype>
#include <set>

namespace {

constexpr std::size_t FARTHEST = 3;
constexpr std::size_t MOST = 3; ///< more that are as near say nothing

bool IsSame(char left, char right)
{
    return std::tolower(static_cast<unsigned char>(left)) == std::tolower(static_cast<unsigned char>(right));
}

/** @return how many letters are to be put in, left out, changed or swapped with the next to make one of the other. */
std::size_t Distance(std::string const& from, std::string const& to)
{
    std::vector<std::size_t> before;
    std::vector<std::size_t> last;
    std::vector<std::size_t> row(to.size() + 1);
    for (std::size_t column = 0; column <= to.size(); ++column) {
        row[column] = column;
    }
    for (std::size_t i = 1; i <= from.size(); ++i) {
        before = last;
        last = row;
        row[0] = i;
        for (std::size_t j = 1; j <= to.size(); ++j) {
            bool const isSame = IsSame(from[i - 1], to[j - 1]);
            row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + (isSame ? 0 : 1)});
            if (i > 1 && j > 1 && IsSame(from[i - 1], to[j - 2]) && IsSame(from[i - 2], to[j - 1])) {
                row[j] = std::min(row[j], before[j - 2] + 1);
            }
        }
    }
    return row.back();
}

} // namespace

std::string DidYouMean(std::string const& word, std::vector<std::string> const& known)
{
    std::size_t nearest = std::min(FARTHEST, std::max<std::size_t>(1, word.size() / 3));
    std::set<std::string> meant;
    for (std::string const& candidate : known) {
        if (candidate.size() > word.size() + nearest || word.size() > candidate.size() + nearest) {
            continue; // a distance in itself, and one of two long words takes time
        }
        std::size_t const distance = Distance(word, candidate);
        if (distance < nearest) {
            meant.clear();
        }
        if (distance <= nearest) {
            nearest = distance;
            meant.insert(candidate);
        }
    }
    if (meant.empty() || meant.size() > MOST) {
        return "";
    }
    std::string text;
    for (std::string const& each : meant) {
        bool const isLast = each == *meant.rbegin();
        text += (text.empty() ? "" : isLast ? " or " : ", ") + ("\"" + each + "\"");
    }
    return "; did you mean " + text + "?";
}
