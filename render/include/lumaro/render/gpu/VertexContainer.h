#pragma once

#include <lumaro/render/Export.h>
#include <lumaro/render/gpu/VertexRecords.h>

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <vector>

namespace Render {

// The points of one node on their way to the GPU: filled per attribute, filtered by a visibility
// byte per point, and compacted in place before upload. Indices are not checked: they are the
// caller's responsibility, as for a vector's operator[].
class LUMARO_RENDER_API VertexContainer {
public:
    using Vertex = VertexPosColorIntensityClassIndexScanIndexDistance;

    VertexContainer() = default;
    VertexContainer(std::initializer_list<Vertex> vertices);

    std::size_t size() const { return mVertices.size(); }
    void resize(std::size_t count);

    Vertex* data() { return mVertices.data(); }
    const Vertex* data() const { return mVertices.data(); }
    const Vertex& operator[](std::size_t i) const { return mVertices[i]; }

    const Math::Point<float, 3>& position(std::size_t i) const { return mVertices[i].position; }
    void setPosition(std::size_t i, double x, double y, double z);
    void setColor(std::size_t i, unsigned char r, unsigned char g, unsigned char b, unsigned char a);
    // Keeps the high byte only: 16-bit intensities are quantised to 8 bits by truncation.
    void setIntensity(std::size_t i, unsigned short intensity);
    void setClassIndex(std::size_t i, unsigned char classIndex);
    void setScanIndex(std::size_t i, unsigned short scanIndex);
    void setDistance(std::size_t i, float distance);
    // Throws std::runtime_error unless there is exactly one distance per vertex.
    void setDistances(const std::vector<float>& distances);

    // 0 keeps the vertex at the next complete(), anything else drops it.
    void setVisibility(std::size_t i, unsigned char value);
    bool visibilityChanged() const { return mVisibilityChanged; }
    const std::vector<std::uint8_t>& visibility() const { return mVisibility; }
    // Resizes the visibility bytes alone (new bytes keep their vertex).
    void resizeVisibility(std::size_t count) { mVisibility.resize(count, 0); }

    // Removes every vertex whose alpha is 0, keeping the order of the rest.
    void clearFullyTransparentPoints();

    // Drops the vertices marked invisible (stable), trims the storage to the kept vertices and
    // frees the visibility bytes. Does nothing unless visibility was set and covers every vertex.
    void complete();

private:
    std::vector<Vertex> mVertices;
    std::vector<std::uint8_t> mVisibility;
    bool mVisibilityChanged = false;
};

} // namespace Render
