#pragma once

#include <lumaro/render/Export.h>

#include <lumaro/math/Color.h>

#include <array>
#include <bitset>
#include <cstddef>
#include <cstdint>

namespace Render {

/// How many point classes there are: one for each value of the LAS classification byte.
inline constexpr std::size_t pointClassCount = 256;

/// How points are shown by their class (the LAS classification byte, 0 to 255): the colour of
/// each class in RenderMode::Classification, and which classes are shown at all. A hidden class's
/// points are left out in every render mode: not drawn, not picked, not read back.
///
/// By default every class is shown, and the standard classes of LAS 1.4 have colours of their
/// own: 0 never classified (grey), 1 unclassified (light grey), 2 ground (brown), 3 low, 4
/// medium and 5 high vegetation (light to dark green), 6 building (red), 7 low point or noise
/// (magenta), 8 model key point (yellow), 9 water (blue), 10 rail (purple), 11 road surface
/// (dark grey), 12 overlap (pink), 13 wire guard (pale yellow), 14 wire conductor (orange), 15
/// transmission tower (plum), 16 wire connector (cyan), 17 bridge deck (lavender), 18 high noise
/// (maroon). Classes 19 to 255 get a fixed set of further colours, every one distinct.
class LUMARO_RENDER_API PointClasses {
public:
    /// The default colours, every class shown.
    PointClasses();

    /// The colour a class has by default (see the class description).
    static Math::Color defaultColor(std::uint8_t classIndex);

    /// The colour of a class's points in RenderMode::Classification (alpha is not used).
    ///@{
    const Math::Color& color(std::uint8_t classIndex) const { return mColors[classIndex]; }
    void setColor(std::uint8_t classIndex, const Math::Color& color);
    ///@}
    /// Whether a class's points are shown.
    ///@{
    bool isShown(std::uint8_t classIndex) const { return mShown[classIndex]; }
    void setShown(std::uint8_t classIndex, bool shown);
    ///@}
    /// Shows every class, or hides every class.
    void setAllShown(bool shown);

    /// Equal when every colour and every class's visibility are.
    friend bool operator==(const PointClasses&, const PointClasses&) = default;

private:
    std::array<Math::Color, pointClassCount> mColors;
    std::bitset<pointClassCount> mShown;
};

} // namespace Render
