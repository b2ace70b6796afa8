// Damage done to copies of real files, from a fixed sequence of random numbers, so that every run
// of the tests damages them the same way on every machine.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace Hostile {

// splitmix64: the same numbers on every platform (the standard distributions are not).
class Draws {
public:
    explicit Draws(std::uint64_t seed) : mState(seed) {}
    std::uint64_t next()
    {
        std::uint64_t z = (mState += 0x9E3779B97F4A7C15ull);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
        return z ^ (z >> 31);
    }
    // A number from 0 to `count` - 1 (0 for an empty range).
    std::size_t below(std::size_t count) { return count == 0 ? 0 : static_cast<std::size_t>(next() % count); }

private:
    std::uint64_t mState;
};

enum class Damage {
    FlipBytes,
    ZeroRange,
    FillRange,
    Truncate,
    AppendGarbage,
    RemoveFile
};
inline constexpr std::size_t DAMAGE_KINDS = 6;

const char* nameOf(Damage damage);

// The bytes of a file with `damage` done to them (RemoveFile leaves them to the caller): a few
// bytes flipped, a range of up to a quarter of the file zeroed or filled with 0xFF, the file cut
// short, or garbage appended.
std::string damaged(std::string bytes, Damage damage, Draws& draws);

} // namespace Hostile
