// What the point clouds of a renderer share while they load: kept by renderer id (the id its clouds
// are initialised with), so that clouds find the settings of their renderer.
#include <lumaro/render/core/Renderer.h>
#include <lumaro/render/pointcloud/LoadingSettings.h>

namespace Render {

void Renderer::setLoaderThreadCount(std::size_t threads)
{
    Render::setLoaderThreadCount(id(), threads);
}

std::size_t Renderer::loaderThreadCount() const
{
    return Render::loaderThreadCount(id());
}

void Renderer::setPointBudget(std::size_t points)
{
    Render::setPointBudget(id(), points);
    requestRedraw();
}

std::size_t Renderer::pointBudget() const
{
    return Render::pointBudget(id());
}

} // namespace Render
