#include "MeshDistances.h"

#include <cmath>
#include <limits>

namespace Render {

std::optional<float> signedDistanceToMesh(const Math::TriangleMesh<float>& mesh, const Math::Point<float, 3>& point)
{
    const auto nearest = mesh.nearestPoint(point);
    if (!nearest)
        return std::nullopt;
    const auto& triangle = mesh.triangles()[nearest->triangle];
    const auto& a = mesh.vertices()[triangle[0]];
    const auto& b = mesh.vertices()[triangle[1]];
    const auto& c = mesh.vertices()[triangle[2]];
    const Eigen::Vector3f normal = (b - a).cross(c - a);
    const float distance = std::sqrt(nearest->squaredDistance);
    return normal.dot(point - nearest->point) < 0.0f ? -distance : distance;
}

std::optional<std::vector<float>> meshDistances(const VertexContainer& vertices, const Math::TriangleMesh<float>& mesh,
                                                float scale, std::stop_token stop)
{
    // Checked every so many points: a node's worth of queries takes milliseconds.
    constexpr std::size_t stopCheckInterval = 1024;
    std::vector<float> distances(vertices.size(), std::numeric_limits<float>::max());
    for (std::size_t i = 0; i < vertices.size(); ++i) {
        if (i % stopCheckInterval == 0 && stop.stop_requested())
            return std::nullopt;
        if (const std::optional<float> distance = signedDistanceToMesh(mesh, vertices.position(i)))
            distances[i] = *distance * scale;
    }
    return distances;
}

} // namespace Render
