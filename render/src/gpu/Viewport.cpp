#include <lumaro/render/gpu/Viewport.h>

namespace Render {

Viewport::Viewport(int x, int y, std::size_t width, std::size_t height) : x_(x), y_(y), width_(width), height_(height)
{
}

Viewport::Viewport(std::size_t width, std::size_t height) : width_(width), height_(height) {}

void Viewport::set(int x, int y, std::size_t width, std::size_t height)
{
    x_ = x;
    y_ = y;
    width_ = width;
    height_ = height;
}

void Viewport::set(std::size_t width, std::size_t height)
{
    set(0, 0, width, height);
}

void Viewport::setDepthRange(float minDepth, float maxDepth)
{
    minDepth_ = minDepth;
    maxDepth_ = maxDepth;
}

double Viewport::aspectRatio() const
{
    const float quotient = static_cast<float>(width_) / static_cast<float>(height_);
    return static_cast<double>(quotient);
}

bool Viewport::operator==(const Viewport& other) const
{
    return x_ == other.x_ && y_ == other.y_ && width_ == other.width_ && height_ == other.height_;
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
