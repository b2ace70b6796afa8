#include <lumaro/render/gpu/VertexContainer.h>

#include <algorithm>
#include <stdexcept>

namespace Render {

VertexContainer::VertexContainer(std::initializer_list<Vertex> vertices) : mVertices(vertices) {}

void VertexContainer::resize(std::size_t count)
{
    mVertices.resize(count);
    mVisibility.resize(count, 0);
}

void VertexContainer::setPosition(std::size_t i, double x, double y, double z)
{
    mVertices[i].position = Math::Point<float, 3>(static_cast<float>(x), static_cast<float>(y), static_cast<float>(z));
}

void VertexContainer::setColor(std::size_t i, unsigned char r, unsigned char g, unsigned char b, unsigned char a)
{
    mVertices[i].color.set(r, g, b, a);
}

void VertexContainer::setIntensity(std::size_t i, unsigned short intensity)
{
    mVertices[i].intensity = static_cast<std::uint8_t>(intensity >> 8);
}

void VertexContainer::setClassIndex(std::size_t i, unsigned char classIndex)
{
    mVertices[i].classIndex = classIndex;
}

void VertexContainer::setScanIndex(std::size_t i, unsigned short scanIndex)
{
    mVertices[i].scanIndex = scanIndex;
}

void VertexContainer::setDistance(std::size_t i, float distance)
{
    mVertices[i].distance = distance;
}

void VertexContainer::setDistances(const std::vector<float>& distances)
{
    if (distances.size() != mVertices.size())
        throw std::runtime_error("Error VertexContainer::setDistances: size mismatch");
    for (std::size_t i = 0; i < distances.size(); ++i)
        mVertices[i].distance = distances[i];
}

void VertexContainer::setVisibility(std::size_t i, unsigned char value)
{
    mVisibility[i] = value;
    mVisibilityChanged = true;
}

void VertexContainer::clearFullyTransparentPoints()
{
    std::erase_if(mVertices, [](const Vertex& vertex) { return vertex.color.a() == 0; });
}

void VertexContainer::complete()
{
    if (!mVisibilityChanged || mVisibility.size() != mVertices.size())
        return;
    std::size_t kept = 0;
    for (std::size_t i = 0; i < mVertices.size(); ++i) {
        if (mVisibility[i] == 0)
            mVertices[kept++] = mVertices[i];
    }
    mVertices.resize(kept);
    // Reallocate to exactly the kept size: shrink_to_fit is only a request.
    std::vector<Vertex>(mVertices.begin(), mVertices.end()).swap(mVertices);
    std::vector<std::uint8_t>().swap(mVisibility);
}

} // namespace Render
