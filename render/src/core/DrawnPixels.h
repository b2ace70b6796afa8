#pragma once

#include <lumaro/math/Color.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace Render {

// Where a read-back of drawn pixels goes on: row-major, column first.
struct PixelCursor {
    std::uint64_t column = 0;
    std::uint64_t row = 0;
};

// Walks a picture's pixels from the cursor in row-major order, calling emit(x, y, z, colour) for
// every pixel whose world position has w > 0 (something was drawn there), until maxCount were
// emitted or the picture ends; returns how many. `colors` holds B8G8R8A8 texels and `positions`
// four floats per texel, rows `colorPitch` and `positionPitch` bytes apart (as mapped).
template <typename Emit>
std::size_t walkDrawnPixels(const unsigned char* colors, std::size_t colorPitch, const unsigned char* positions,
                            std::size_t positionPitch, std::size_t width, std::size_t height, PixelCursor& cursor,
                            std::size_t maxCount, Emit&& emit)
{
    std::size_t count = 0;
    while (count < maxCount && cursor.row < height) {
        float position[4];
        std::memcpy(position, positions + cursor.row * positionPitch + cursor.column * sizeof(position),
                    sizeof(position));
        if (position[3] > 0.0f) {
            Math::Color color;
            std::memcpy(&color, colors + cursor.row * colorPitch + cursor.column * sizeof(color), sizeof(color));
            emit(position[0], position[1], position[2], color);
            ++count;
        }
        if (++cursor.column == width) {
            cursor.column = 0;
            ++cursor.row;
        }
    }
    return count;
}

} // namespace Render
