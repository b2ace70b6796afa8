#include <lumaro/render/renderables/MeshLoader.h>

#include <cstdint>
#include <limits>
#include <stdexcept>

namespace Render {

MeshLoader::~MeshLoader() = default;

Math::TriangleMesh<float> loadTriangleMesh(MeshLoader& loader, double unitScale)
{
    const auto scale = static_cast<float>(unitScale);
    std::vector<Math::Point<float, 3>> vertices;
    std::vector<Math::TriangleMesh<float>::Triangle> triangles;
    loader.load([&](const MeshLoader::Part& part) {
        for (std::size_t first = 0; first + 3 <= part.size(); first += 3) {
            const auto index = static_cast<std::uint32_t>(vertices.size());
            if (vertices.size() + 3 > std::numeric_limits<std::uint32_t>::max())
                throw std::length_error("a mesh of more than 2^32 corners cannot be indexed");
            for (std::size_t corner = 0; corner < 3; ++corner)
                vertices.push_back(part[first + corner].position * scale);
            triangles.push_back({index, index + 1, index + 2});
        }
    });
    return Math::TriangleMesh<float>(std::move(vertices), std::move(triangles));
}

} // namespace Render
