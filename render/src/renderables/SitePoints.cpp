#include <lumaro/render/core/Renderer.h>
#include <lumaro/render/renderables/SiteGroup.h>

#include <fstream>
#include <iomanip>
#include <stdexcept>
#include <vector>

namespace Render {

void writeStorePoints(Renderer& renderer, const SiteGroup& site, const std::filesystem::path& path)
{
    std::vector<VertexPosColor> points;
    renderer.getPoints(points);
    std::ofstream file(path, std::ios::trunc);
    file << "X Y Z Red Green Blue Alpha\n" << std::fixed << std::setprecision(4);
    for (const VertexPosColor& point : points) {
        const Eigen::Vector3d xyz = site.storeCoordinates(point.position);
        file << xyz.x() << ' ' << xyz.y() << ' ' << xyz.z() << ' ' << int(point.color.r()) << ' '
             << int(point.color.g()) << ' ' << int(point.color.b()) << ' ' << int(point.color.a()) << '\n';
    }
    if (!file.flush())
        throw std::runtime_error("cannot write the points to " + path.string());
}

} // namespace Render
