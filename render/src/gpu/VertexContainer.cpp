#include <lumaro/render/gpu/VertexContainer.h>

#include <algorithm>
#include <stdexcept>

namespace Render {

VertexContainer::VertexContainer(std::initializer_list<Vertex> vertices) : m_vertices(vertices) {}

void VertexContainer::resize(std::size_t count)
{
    m_vertices.resize(count);
    m_visibility.resize(count, 0);
}

void VertexContainer::setPosition(std::size_t i, double x, double y, double z)
{
    m_vertices[i].position = Math::Point<float, 3>(static_cast<float>(x), static_cast<float>(y), static_cast<float>(z));
}

void VertexContainer::setColor(std::size_t i, unsigned char r, unsigned char g, unsigned char b, unsigned char a)
{
    m_vertices[i].color.set(r, g, b, a);
}

void VertexContainer::setIntensity(std::size_t i, unsigned short intensity)
{
    m_vertices[i].intensity = static_cast<std::uint8_t>(intensity >> 8);
}

void VertexContainer::setClassIndex(std::size_t i, unsigned char classIndex)
{
    m_vertices[i].classIndex = classIndex;
}

void VertexContainer::setScanIndex(std::size_t i, unsigned short scanIndex)
{
    m_vertices[i].scanIndex = scanIndex;
}

void VertexContainer::setDistance(std::size_t i, float distance)
{
    m_vertices[i].distance = distance;
}

void VertexContainer::setDistances(const std::vector<float>& distances)
{
    if (distances.size() != m_vertices.size())
        throw std::runtime_error("Error VertexContainer::setDistances: size mismatch");
    for (std::size_t i = 0; i < distances.size(); ++i)
        m_vertices[i].distance = distances[i];
}

void VertexContainer::setVisibility(std::size_t i, unsigned char value)
{
    m_visibility[i] = value;
    m_visibilityChanged = true;
}

void VertexContainer::clearFullyTransparentPoints()
{
    std::erase_if(m_vertices, [](const Vertex& vertex) { return vertex.color.a() == 0; });
}

void VertexContainer::complete()
{
    if (!m_visibilityChanged || m_visibility.size() != m_vertices.size())
        return;
    std::size_t kept = 0;
    for (std::size_t i = 0; i < m_vertices.size(); ++i) {
        if (m_visibility[i] == 0)
            m_vertices[kept++] = m_vertices[i];
    }
    m_vertices.resize(kept);
    // Reallocate to exactly the kept size: shrink_to_fit is only a request.
    std::vector<Vertex>(m_vertices.begin(), m_vertices.end()).swap(m_vertices);
    std::vector<std::uint8_t>().swap(m_visibility);
}

} // namespace Render
