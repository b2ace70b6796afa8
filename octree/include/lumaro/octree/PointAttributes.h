#pragma once

#include <cstdint>

namespace Octree {

enum class PointAttribute : std::uint32_t {
    Position = 1u << 0,
    Color = 1u << 1,
    Intensity = 1u << 2,
    Classification = 1u << 3,
    ScanIndex = 1u << 4,
    Visibility = 1u << 5,
    Normal = 1u << 6,
};

// A set of point attributes: which columns a caller asks for, or which a NodePointData carries.
class PointAttributes {
public:
    constexpr PointAttributes() = default;
    constexpr PointAttributes(PointAttribute attribute) : mBits(static_cast<std::uint32_t>(attribute)) {}

    static constexpr PointAttributes none() { return PointAttributes(); }
    static constexpr PointAttributes all() { return fromBits(0x7Fu); }

    constexpr bool contains(PointAttribute attribute) const
    {
        return (mBits & static_cast<std::uint32_t>(attribute)) != 0;
    }
    constexpr bool empty() const { return mBits == 0; }
    constexpr std::uint32_t bits() const { return mBits; }

    friend constexpr PointAttributes operator|(PointAttributes a, PointAttributes b)
    {
        return fromBits(a.mBits | b.mBits);
    }
    friend constexpr PointAttributes operator&(PointAttributes a, PointAttributes b)
    {
        return fromBits(a.mBits & b.mBits);
    }
    friend constexpr PointAttributes operator-(PointAttributes a, PointAttributes b)
    {
        return fromBits(a.mBits & ~b.mBits);
    }
    friend constexpr bool operator==(PointAttributes, PointAttributes) = default;

private:
    static constexpr PointAttributes fromBits(std::uint32_t bits)
    {
        PointAttributes result;
        result.mBits = bits & 0x7Fu;
        return result;
    }

    std::uint32_t mBits = 0;
};

constexpr PointAttributes operator|(PointAttribute a, PointAttribute b)
{
    return PointAttributes(a) | PointAttributes(b);
}

} // namespace Octree
