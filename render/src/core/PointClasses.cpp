#include <lumaro/render/core/PointClasses.h>

namespace Render {

namespace {

// The classes that LAS 1.4 defines, in colours that users of survey software expect: greens for
// vegetation, brown ground, red buildings, blue water, loud colours for noise.
constexpr std::array<Math::Color, 19> standardColors{{
    {128, 128, 128}, // 0 created, never classified
    {200, 200, 200}, // 1 unclassified
    {160, 110, 50}, // 2 ground
    {170, 230, 110}, // 3 low vegetation
    {70, 180, 50}, // 4 medium vegetation
    {20, 100, 30}, // 5 high vegetation
    {225, 60, 45}, // 6 building
    {255, 0, 255}, // 7 low point (noise)
    {255, 220, 0}, // 8 model key point (reserved in LAS 1.4)
    {30, 100, 230}, // 9 water
    {130, 60, 170}, // 10 rail
    {80, 80, 80}, // 11 road surface
    {255, 170, 200}, // 12 overlap (reserved in LAS 1.4)
    {255, 255, 150}, // 13 wire guard (shield)
    {255, 140, 0}, // 14 wire conductor (phase)
    {150, 40, 110}, // 15 transmission tower
    {0, 200, 200}, // 16 wire-structure connector (insulator)
    {160, 150, 230}, // 17 bridge deck
    {120, 0, 0}, // 18 high noise
}};

// The classes above the standard ones step round the hue circle by the golden angle, so that
// neighbouring numbers differ strongly. Steps 21, 34, 55, 89, 144 and 233 apart come back to
// nearly the same hue; cycles of three lightnesses and five saturations set each of those apart.
constexpr double goldenAngleDegrees = 137.50776405;
constexpr std::array<double, 3> lightnesses{0.62, 0.45, 0.80};
constexpr std::array<double, 5> saturations{0.95, 0.7, 0.85, 0.6, 0.8};

} // namespace

PointClasses::PointClasses()
{
    for (std::size_t c = 0; c < pointClassCount; ++c)
        mColors[c] = defaultColor(static_cast<std::uint8_t>(c));
    mShown.set();
}

Math::Color PointClasses::defaultColor(std::uint8_t classIndex)
{
    if (classIndex < standardColors.size())
        return standardColors[classIndex];
    const std::size_t step = classIndex - standardColors.size();
    return Math::Color::fromHslUv(goldenAngleDegrees * static_cast<double>(step),
                                  saturations[step % saturations.size()], lightnesses[step % lightnesses.size()], 1.0);
}

void PointClasses::setColor(std::uint8_t classIndex, const Math::Color& color)
{
    mColors[classIndex] = color;
}

void PointClasses::setShown(std::uint8_t classIndex, bool shown)
{
    mShown.set(classIndex, shown);
}

void PointClasses::setAllShown(bool shown)
{
    if (shown)
        mShown.set();
    else
        mShown.reset();
}

} // namespace Render
