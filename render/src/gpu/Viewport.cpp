#include <lumaro/render/gpu/Viewport.h>

namespace Render {

Viewport::Viewport(int x, int y, std::size_t width, std::size_t height) : mX(x), mY(y), mWidth(width), mHeight(height)
{}

Viewport::Viewport(std::size_t width, std::size_t height) : mWidth(width), mHeight(height) {}

void Viewport::set(int x, int y, std::size_t width, std::size_t height)
{
    mX = x;
    mY = y;
    mWidth = width;
    mHeight = height;
}

void Viewport::set(std::size_t width, std::size_t height)
{
    set(0, 0, width, height);
}

void Viewport::setDepthRange(float minDepth, float maxDepth)
{
    mMinDepth = minDepth;
    mMaxDepth = maxDepth;
}

double Viewport::aspectRatio() const
{
    const float quotient = static_cast<float>(mWidth) / static_cast<float>(mHeight);
    return static_cast<double>(quotient);
}

bool Viewport::operator==(const Viewport& other) const
{
    return mX == other.mX && mY == other.mY && mWidth == other.mWidth && mHeight == other.mHeight;
}

bool Viewport::operator!=(const Viewport& other) const
{
    return !(*this == other);
}

std::ostream& operator<<(std::ostream& stream, const Viewport& viewport)
{
    return stream << "[" << viewport.x() << ", " << viewport.y() << ", " << viewport.width() << ", "
                  << viewport.height() << ", " << viewport.minDepth() << ", " << viewport.maxDepth() << "]";
}

} // namespace Render
