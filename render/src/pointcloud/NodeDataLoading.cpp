#include <lumaro/render/pointcloud/NodeDataLoading.h>

#include <algorithm>

namespace Render {

using Octree::PointAttribute;

Octree::PointAttributes vertexAttributes()
{
    return PointAttribute::Position | PointAttribute::Color | PointAttribute::Intensity | PointAttribute::Classification
        | PointAttribute::ScanIndex | PointAttribute::Visibility;
}

VertexContainer makeVertexContainer(const Octree::NodePointData& points, std::uint16_t fullIntensity)
{
    const std::uint32_t full = std::max<std::uint16_t>(fullIntensity, 1);
    const auto stretched = [full](std::uint16_t intensity) {
        return static_cast<unsigned short>(std::min<std::uint32_t>(std::uint32_t(intensity) * 65535u / full, 65535u));
    };
    VertexContainer vertices;
    const std::size_t count = points.size();
    vertices.resize(count);
    for (std::size_t i = 0; i < count; ++i) {
        if (points.hasPositions()) {
            const auto& position = points.position(i);
            vertices.setPosition(i, position.x(), position.y(), position.z());
        }
        if (points.hasColors()) {
            const Math::Color& color = points.color(i);
            vertices.setColor(i, color.r(), color.g(), color.b(), color.a());
        } else if (points.hasIntensities()) {
            // The cloud's own colour is its intensity: the grey level the intensity mode draws.
            const auto grey = static_cast<unsigned char>(stretched(points.intensity(i)) >> 8);
            vertices.setColor(i, grey, grey, grey, 255);
        } else {
            vertices.setColor(i, 255, 255, 255, 255);
        }
        if (points.hasIntensities())
            vertices.setIntensity(i, stretched(points.intensity(i)));
        if (points.hasClassifications())
            vertices.setClassIndex(i, points.classification(i));
        // The vertex has 16 bits for the scan: stores with more scans wrap around.
        if (points.hasScanIndices())
            vertices.setScanIndex(i, static_cast<unsigned short>(points.scanIndex(i)));
        if (!points.isVisible(i))
            vertices.setVisibility(i, points.visibility(i));
    }
    vertices.complete();
    return vertices;
}

std::optional<VertexContainer> loadNodeVertices(VertexContainerCache& cache, const Octree::Octree& octree,
                                                Octree::OctreeNodeId node, std::stop_token stop)
{
    return cache.getOrLoad(node, [&]() -> std::optional<VertexContainer> {
        const std::optional<std::uint16_t> fullIntensity = octree.fullIntensity(stop);
        if (!fullIntensity)
            return std::nullopt;
        std::optional<Octree::NodePointData> points = octree.nodePointData(node, stop, vertexAttributes());
        if (!points)
            return std::nullopt;
        return makeVertexContainer(*points, *fullIntensity);
    });
}

std::optional<Octree::NodePointData> loadNodePointData(NodePointDataCache& cache, const Octree::Octree& octree,
                                                       Octree::OctreeNodeId node, std::stop_token stop)
{
    return cache.getOrLoad(node, [&] { return octree.nodePointData(node, stop, Octree::PointAttributes::all()); });
}

} // namespace Render
