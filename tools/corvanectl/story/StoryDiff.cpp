#include "tools/corvanectl/story/StoryDiff.h"

#include <algorithm>
#include <string>

namespace {

using Writes = std::vector<RecordedWrite>;
using Position = Writes::const_iterator;

/** A part of a run. */
struct Part {
    Position begin;
    Position end;

    std::size_t Size() const { return static_cast<std::size_t>(end - begin); }
    RecordedWrite const& At(std::size_t index) const { return *(begin + static_cast<std::ptrdiff_t>(index)); }
};

/** Shows lines, the command above each first one. */
class ShownLines {
public:
    explicit ShownLines(std::ostream& stream) : out(stream) {}

    void Show(char sign, RecordedWrite const& write)
    {
        if (count == 0 || write.command != above) {
            out << "> " << write.command << "\n";
            above = write.command;
        }
        out << "  " << sign << " " << LineOf(write) << "\n";
        ++count;
    }
    std::size_t Count() const { return count; }

private:
    std::ostream& out;
    std::string above;
    std::size_t count = 0;
};

bool IsSame(RecordedWrite const& left, RecordedWrite const& right)
{
    return left.time == right.time && left.text == right.text;
}

/** Shows as few lines as will do of two parts: all but a longest sequence that both have. */
void ShowParts(Part first, Part second, ShownLines& lines)
{
    while (first.Size() != 0 && second.Size() != 0 && IsSame(*first.begin, *second.begin)) {
        ++first.begin;
        ++second.begin;
    }
    while (first.Size() != 0 && second.Size() != 0 && IsSame(*(first.end - 1), *(second.end - 1))) {
        --first.end;
        --second.end;
    }
    std::size_t const width = second.Size() + 1;
    std::vector<std::size_t> common((first.Size() + 1) * width); // of what is left from here on
    for (std::size_t i = first.Size(); i-- > 0;) {
        for (std::size_t j = second.Size(); j-- > 0;) {
            common[i * width + j] = IsSame(first.At(i), second.At(j))
                                        ? common[(i + 1) * width + j + 1] + 1
                                        : std::max(common[(i + 1) * width + j], common[i * width + j + 1]);
        }
    }
    std::size_t i = 0;
    std::size_t j = 0;
    while (i < first.Size() || j < second.Size()) {
        if (i < first.Size() && j < second.Size() && IsSame(first.At(i), second.At(j))) {
            ++i;
            ++j;
        } else if (j == second.Size() ||
                   (i < first.Size() && common[(i + 1) * width + j] >= common[i * width + j + 1])) {
            lines.Show('-', first.At(i++));
        } else {
            lines.Show('+', second.At(j++));
        }
    }
}

/** @return where the writes of this time, which begin here, end. */
Position EndOfTime(Position begin, Position end, std::chrono::nanoseconds time)
{
    return std::find_if(begin, end, [time](RecordedWrite const& write) { return write.time != time; });
}

} // namespace

std::size_t ShowDifference(Writes const& first, Writes const& second, std::ostream& out)
{
    ShownLines lines(out);
    Part left{first.begin(), first.begin()};
    Part right{second.begin(), second.begin()};
    while (left.begin != first.end() || right.begin != second.end()) {
        bool const leftFirst =
            right.begin == second.end() || (left.begin != first.end() && left.begin->time <= right.begin->time);
        auto const time = leftFirst ? left.begin->time : right.begin->time;
        left.end = EndOfTime(left.begin, first.end(), time);
        right.end = EndOfTime(right.begin, second.end(), time);
        ShowParts(left, right, lines);
        left.begin = left.end;
        right.begin = right.end;
    }
    return lines.Count();
}
