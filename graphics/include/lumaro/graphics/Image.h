#pragma once

#include <cstddef>
#include <limits>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

/// CPU images (colours, depths) and the panorama sources that deliver them as tiles.
namespace Graphics {

/// A CPU image of fixed-size texels laid out in rows of `stride` bytes, which may be longer than
/// width texels: read-back from a GPU texture arrives with the driver's row pitch, and keeping that
/// pitch lets the mapped block be copied in one piece. The stride must be a whole number of texels
/// so that every texel stays aligned.
///
/// A value like a container: one thread at a time may change it. Sizes too large to address throw
/// std::invalid_argument.
template <typename Texel>
class Image {
public:
    static constexpr std::size_t texelSize = sizeof(Texel); ///< bytes per texel

    /// An image without texels.
    Image() = default;
    /// An image of width x height zero texels in tightly packed rows.
    Image(std::size_t width, std::size_t height) { resize(width, height); }

    std::size_t width() const { return mWidth; } ///< the number of texels in a row
    std::size_t height() const { return mHeight; } ///< the number of rows
    /// Bytes from the start of one row to the start of the next.
    std::size_t stride() const { return mStride; }
    /// Bytes of all rows together, padding included: height times stride.
    std::size_t sizeInBytes() const { return mTexels.size() * texelSize; }
    /// Whether the image has no texels (no width or no height).
    bool empty() const { return mWidth == 0 || mHeight == 0; }

    /// Tightly packed rows; see the other form.
    void resize(std::size_t width, std::size_t height) { resize(width, height, checkedProduct(width, texelSize)); }

    /// Rows of `stride` bytes. Keeps the contents when the shape is unchanged; otherwise every byte,
    /// padding included, becomes zero. Throws std::invalid_argument for a stride shorter than a row
    /// or not a multiple of the texel size.
    void resize(std::size_t width, std::size_t height, std::size_t stride)
    {
        if (stride < checkedProduct(width, texelSize) || stride % texelSize != 0)
            throw std::invalid_argument("Image stride of " + std::to_string(stride) + " bytes does not fit "
                                        + std::to_string(width) + " texels of " + std::to_string(texelSize)
                                        + " bytes in a whole number of texels");
        if (width == mWidth && height == mHeight && stride == mStride)
            return;
        const std::size_t texelCount = checkedProduct(stride / texelSize, height);
        checkedProduct(texelCount, texelSize);
        mTexels.assign(texelCount, Texel{});
        mWidth = width;
        mHeight = height;
        mStride = stride;
    }

    /// Sets every texel of every row; padding bytes are left as they are.
    void fill(const Texel& value)
    {
        for (std::size_t y = 0; y < mHeight; ++y)
            for (Texel& texel : row(y))
                texel = value;
    }

    /// The first byte of the first row; sizeInBytes() bytes follow.
    char* data() { return reinterpret_cast<char*>(mTexels.data()); }
    /// The first byte of the first row, read-only.
    const char* data() const { return reinterpret_cast<const char*>(mTexels.data()); }

    /// The width texels of row `y` (0 is the top row), without padding. Throws std::out_of_range
    /// for a row outside the image.
    std::span<Texel> row(std::size_t y) { return {mTexels.data() + rowStart(y), mWidth}; }
    /// The same, read-only.
    std::span<const Texel> row(std::size_t y) const { return {mTexels.data() + rowStart(y), mWidth}; }

    /// The texel in column `x` of row `y`. Throws std::out_of_range for a texel outside the image.
    Texel& at(std::size_t x, std::size_t y) { return mTexels[texelIndex(x, y)]; }
    /// The same, read-only.
    const Texel& at(std::size_t x, std::size_t y) const { return mTexels[texelIndex(x, y)]; }

    /// Equal shape (width, height, stride) and equal bytes, padding included.
    friend bool operator==(const Image&, const Image&) = default;

private:
    static std::size_t checkedProduct(std::size_t a, std::size_t b)
    {
        if (b != 0 && a > std::numeric_limits<std::size_t>::max() / b)
            throw std::invalid_argument("Image size " + std::to_string(a) + " x " + std::to_string(b)
                                        + " is too large");
        return a * b;
    }

    std::size_t rowStart(std::size_t y) const
    {
        if (y >= mHeight)
            throw std::out_of_range("Image row " + std::to_string(y) + " is outside an image of height "
                                    + std::to_string(mHeight));
        return y * (mStride / texelSize);
    }

    std::size_t texelIndex(std::size_t x, std::size_t y) const
    {
        if (x >= mWidth)
            throw std::out_of_range("Image column " + std::to_string(x) + " is outside an image of width "
                                    + std::to_string(mWidth));
        return rowStart(y) + x;
    }

    std::size_t mWidth = 0;
    std::size_t mHeight = 0;
    std::size_t mStride = 0;
    std::vector<Texel> mTexels;
};

} // namespace Graphics
