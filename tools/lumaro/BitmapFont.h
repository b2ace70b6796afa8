#pragma once

#include <lumaro/graphics/ColorImage.h>
#include <lumaro/math/Color.h>

#include <string_view>

namespace Tool {

// A tiny built-in font for the labels of pictures the tools draw: 5 x 7 pixel glyphs in cells
// of 6 x 9, for digits, lower-case letters and the signs numbers and labels need. Letters it
// lacks are drawn as blanks.
class BitmapFont {
public:
    static constexpr int glyphWidth = 5;
    static constexpr int glyphHeight = 7;
    static constexpr int advance = 6;

    // The width of a text in pixels, at `scale` pixels a font pixel.
    static int width(std::string_view text, int scale = 1);

    // Draws the text with its top-left corner at (x, y); pixels outside the image are left out.
    static void draw(Graphics::ColorImage& image, int x, int y, std::string_view text, Math::Color color,
                     int scale = 1);

    // Whether the glyph of `c` has its pixel at column `column` (0 to 4) and row `row` (0 to 6).
    static bool pixel(char c, int column, int row);
};

} // namespace Tool
