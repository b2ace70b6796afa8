#include "BitmapFont.h"

#include <array>
#include <cstddef>

namespace Tool {

namespace {

struct Glyph {
    char c;
    std::array<const char*, 7> rows;
};

// Seven rows of five columns each; '#' is a lit pixel.
constexpr Glyph glyphs[] = {
    {'0', {" ### ", "#   #", "#  ##", "# # #", "##  #", "#   #", " ### "}},
    {'1', {"  #  ", " ##  ", "  #  ", "  #  ", "  #  ", "  #  ", " ### "}},
    {'2', {" ### ", "#   #", "    #", "   # ", "  #  ", " #   ", "#####"}},
    {'3', {"#####", "   # ", "  #  ", "   # ", "    #", "#   #", " ### "}},
    {'4', {"   # ", "  ## ", " # # ", "#  # ", "#####", "   # ", "   # "}},
    {'5', {"#####", "#    ", "#### ", "    #", "    #", "#   #", " ### "}},
    {'6', {"  ## ", " #   ", "#    ", "#### ", "#   #", "#   #", " ### "}},
    {'7', {"#####", "    #", "   # ", "  #  ", " #   ", " #   ", " #   "}},
    {'8', {" ### ", "#   #", "#   #", " ### ", "#   #", "#   #", " ### "}},
    {'9', {" ### ", "#   #", "#   #", " ####", "    #", "   # ", " ##  "}},
    {'-', {"     ", "     ", "     ", "#####", "     ", "     ", "     "}},
    {'+', {"     ", "  #  ", "  #  ", "#####", "  #  ", "  #  ", "     "}},
    {'.', {"     ", "     ", "     ", "     ", "     ", " ##  ", " ##  "}},
    {',', {"     ", "     ", "     ", "     ", " ##  ", "  #  ", " #   "}},
    {':', {"     ", " ##  ", " ##  ", "     ", " ##  ", " ##  ", "     "}},
    {'(', {"   # ", "  #  ", " #   ", " #   ", " #   ", "  #  ", "   # "}},
    {')', {" #   ", "  #  ", "   # ", "   # ", "   # ", "  #  ", " #   "}},
    {'/', {"     ", "    #", "   # ", "  #  ", " #   ", "#    ", "     "}},
    {'%', {"##   ", "##  #", "   # ", "  #  ", " #   ", "#  ##", "   ##"}},
    {'=', {"     ", "     ", "#####", "     ", "#####", "     ", "     "}},
    {'a', {"     ", "     ", " ### ", "    #", " ####", "#   #", " ####"}},
    {'b', {"#    ", "#    ", "# ## ", "##  #", "#   #", "#   #", "#### "}},
    {'c', {"     ", "     ", " ### ", "#    ", "#    ", "#   #", " ### "}},
    {'d', {"    #", "    #", " ## #", "#  ##", "#   #", "#   #", " ####"}},
    {'e', {"     ", "     ", " ### ", "#   #", "#####", "#    ", " ### "}},
    {'f', {"  ## ", " #  #", " #   ", "###  ", " #   ", " #   ", " #   "}},
    {'g', {"     ", "     ", " ####", "#   #", " ####", "    #", " ### "}},
    {'h', {"#    ", "#    ", "# ## ", "##  #", "#   #", "#   #", "#   #"}},
    {'i', {"  #  ", "     ", " ##  ", "  #  ", "  #  ", "  #  ", " ### "}},
    {'j', {"   # ", "     ", "  ## ", "   # ", "   # ", "#  # ", " ##  "}},
    {'k', {"#    ", "#    ", "#  # ", "# #  ", "##   ", "# #  ", "#  # "}},
    {'l', {" ##  ", "  #  ", "  #  ", "  #  ", "  #  ", "  #  ", " ### "}},
    {'m', {"     ", "     ", "## # ", "# # #", "# # #", "#   #", "#   #"}},
    {'n', {"     ", "     ", "# ## ", "##  #", "#   #", "#   #", "#   #"}},
    {'o', {"     ", "     ", " ### ", "#   #", "#   #", "#   #", " ### "}},
    {'p', {"     ", "     ", "#### ", "#   #", "#### ", "#    ", "#    "}},
    {'q', {"     ", "     ", " ####", "#   #", " ####", "    #", "    #"}},
    {'r', {"     ", "     ", "# ## ", "##  #", "#    ", "#    ", "#    "}},
    {'s', {"     ", "     ", " ### ", "#    ", " ### ", "    #", "#### "}},
    {'t', {" #   ", " #   ", "###  ", " #   ", " #   ", " #  #", "  ## "}},
    {'u', {"     ", "     ", "#   #", "#   #", "#   #", "#  ##", " ## #"}},
    {'v', {"     ", "     ", "#   #", "#   #", "#   #", " # # ", "  #  "}},
    {'w', {"     ", "     ", "#   #", "#   #", "# # #", "# # #", " # # "}},
    {'x', {"     ", "     ", "#   #", " # # ", "  #  ", " # # ", "#   #"}},
    {'y', {"     ", "     ", "#   #", "#   #", " ####", "    #", " ### "}},
    {'z', {"     ", "     ", "#####", "   # ", "  #  ", " #   ", "#####"}},
};

const Glyph* glyphOf(char c)
{
    for (const Glyph& glyph : glyphs)
        if (glyph.c == c)
            return &glyph;
    return nullptr;
}

} // namespace

bool BitmapFont::pixel(char c, int column, int row)
{
    const Glyph* glyph = glyphOf(c);
    return glyph && column >= 0 && column < glyphWidth && row >= 0 && row < glyphHeight
        && glyph->rows[static_cast<std::size_t>(row)][column] == '#';
}

int BitmapFont::width(std::string_view text, int scale)
{
    return text.empty() ? 0 : (static_cast<int>(text.size()) * advance - 1) * scale;
}

void BitmapFont::draw(Graphics::ColorImage& image, int x, int y, std::string_view text, Math::Color color, int scale)
{
    for (std::size_t k = 0; k < text.size(); ++k) {
        const int left = x + static_cast<int>(k) * advance * scale;
        for (int row = 0; row < glyphHeight * scale; ++row) {
            for (int column = 0; column < glyphWidth * scale; ++column) {
                const int px = left + column;
                const int py = y + row;
                if (px < 0 || py < 0 || px >= static_cast<int>(image.width()) || py >= static_cast<int>(image.height()))
                    continue;
                if (pixel(text[k], column / scale, row / scale))
                    image.at(static_cast<std::size_t>(px), static_cast<std::size_t>(py)) = color;
            }
        }
    }
}

} // namespace Tool
