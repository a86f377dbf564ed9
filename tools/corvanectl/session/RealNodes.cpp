#include "tools/corvanectl/session/RealNodes.h"

#include <fstream>
#include <iterator>

std::optional<std::string> RealNodes::Read(std::string const& node) const
{
    std::ifstream in(PlaceOf(node), std::ios::binary);
    std::string const bytes(std::istreambuf_iterator<char>(in), {});
    return in.is_open() && !in.bad() ? std::optional<std::string>(bytes) : std::nullopt;
}
