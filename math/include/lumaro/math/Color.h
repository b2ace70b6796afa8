#pragma once

#include <array>
#include <cstdint>
#include <iosfwd>
#include <type_traits>

namespace Math {

// An 8-bit RGBA colour whose four bytes sit in memory as blue, green, red, alpha. That is the
// order in which Direct3D's B8G8R8A8_UNORM reads a texel or a vertex colour, so colours can be
// copied into GPU buffers and out of read-back textures without swizzling. The packed 32-bit form
// is 0xAARRGGBB, which is the same four bytes read as one little-endian integer.
class Color {
public:
    // Transparent black: every byte zero, the state of freshly cleared memory.
    constexpr Color() = default;

    constexpr explicit Color(std::uint32_t argb)
        : mBlue(static_cast<std::uint8_t>(argb)),
          mGreen(static_cast<std::uint8_t>(argb >> 8)),
          mRed(static_cast<std::uint8_t>(argb >> 16)),
          mAlpha(static_cast<std::uint8_t>(argb >> 24))
    {}

    constexpr Color(std::uint8_t red, std::uint8_t green, std::uint8_t blue, std::uint8_t alpha = 255)
        : mBlue(blue), mGreen(green), mRed(red), mAlpha(alpha)
    {}

    static constexpr Color gray(std::uint8_t value, std::uint8_t alpha = 255) { return {value, value, value, alpha}; }
    static constexpr Color black(std::uint8_t alpha = 255) { return {0, 0, 0, alpha}; }
    static constexpr Color white(std::uint8_t alpha = 255) { return {255, 255, 255, alpha}; }

    // Hue in degrees (any value, taken modulo 360); saturation, lightness and alpha in 0..1
    // (clamped). Colours of equal lightness look equally bright, which makes HSLuv the right
    // space for palettes of distinguishable hues. Throws std::invalid_argument on NaN.
    static Color fromHslUv(double hue, double saturation, double lightness, double alpha);

    constexpr void set(std::uint8_t red, std::uint8_t green, std::uint8_t blue, std::uint8_t alpha)
    {
        mRed = red;
        mGreen = green;
        mBlue = blue;
        mAlpha = alpha;
    }

    constexpr std::uint8_t r() const { return mRed; }
    constexpr std::uint8_t g() const { return mGreen; }
    constexpr std::uint8_t b() const { return mBlue; }
    constexpr std::uint8_t a() const { return mAlpha; }

    // Red, green, blue and alpha in 0..1, as a shader reads them from a UNORM texel.
    constexpr std::array<float, 4> toFloats() const
    {
        return {mRed / 255.0f, mGreen / 255.0f, mBlue / 255.0f, mAlpha / 255.0f};
    }

    constexpr std::uint32_t packed() const
    {
        return static_cast<std::uint32_t>(mBlue) | static_cast<std::uint32_t>(mGreen) << 8
            | static_cast<std::uint32_t>(mRed) << 16 | static_cast<std::uint32_t>(mAlpha) << 24;
    }

    friend constexpr bool operator==(const Color&, const Color&) = default;

private:
    std::uint8_t mBlue = 0;
    std::uint8_t mGreen = 0;
    std::uint8_t mRed = 0;
    std::uint8_t mAlpha = 0;
};

static_assert(sizeof(Color) == 4 && alignof(Color) == 1);
static_assert(std::is_trivially_copyable_v<Color> && std::is_standard_layout_v<Color>);

// Prints "Color(r, g, b, a)" with decimal channels.
std::ostream& operator<<(std::ostream& stream, const Color& color);

} // namespace Math
