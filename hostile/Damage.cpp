#include "Damage.h"

#include <algorithm>

namespace Hostile {

const char* nameOf(Damage damage)
{
    switch (damage) {
    case Damage::FlipBytes: return "bytes flipped";
    case Damage::ZeroRange: return "range zeroed";
    case Damage::FillRange: return "range filled";
    case Damage::Truncate: return "truncated";
    case Damage::AppendGarbage: return "garbage appended";
    case Damage::RemoveFile: return "file missing";
    }
    return "?";
}

std::string damaged(std::string bytes, Damage damage, Draws& draws)
{
    const std::size_t size = bytes.size();
    auto range = [&](char value) {
        const std::size_t length = 1 + draws.below(std::max<std::size_t>(size / 4, 1));
        const std::size_t first = draws.below(size > length ? size - length + 1 : 1);
        std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(first), std::min(length, size - first), value);
    };
    switch (damage) {
    case Damage::FlipBytes:
        for (std::size_t n = 1 + draws.below(8); n > 0 && size > 0; --n) {
            bytes[draws.below(size)] ^= static_cast<char>(1 + draws.below(255));
        }
        break;
    case Damage::ZeroRange: range('\0'); break;
    case Damage::FillRange: range('\xFF'); break;
    case Damage::Truncate: bytes.resize(draws.below(size)); break;
    case Damage::AppendGarbage:
        for (std::size_t n = 1 + draws.below(4096); n > 0; --n) {
            bytes += static_cast<char>(draws.next());
        }
        break;
    case Damage::RemoveFile: break;
    }
    return bytes;
}

} // namespace Hostile
