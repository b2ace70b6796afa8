// What each way of looking at points costs a frame, on a real Direct3D 11 device (under Wine:
// llvmpipe): the Autzen scan (110,000 points) at 1280 x 720 in the oblique overview, drawn plainly,
// with eye-dome lighting, with high-quality splats, coloured by class, and with a class hidden.
// Each frame is read back, so that the GPU's work is finished inside the measurement; the ratio of
// a variant's time to the plain frame's is its cost.
#include <lumaro/render/core/Renderer.h>
#include <lumaro/render/renderables/Thumbnail.h>
#include <lumaro/render/pointcloud/PointCloudRenderable.h>

#include <lumaro/graphics/ColorImage.h>
#include <lumaro/octree/Location.h>

#include <benchmark/benchmark.h>

#include <string>

namespace {

const std::string autzen = std::string(LUMARO_TEST_DATA_DIR) + "/potree2/autzen_trim-brotli";

enum class Look {
    Plain,
    EyeDomeLighting,
    HighQualitySplats,
    Classification,
    ClassHidden
};

void BM_PointFrame(benchmark::State& state)
{
    const auto look = static_cast<Look>(state.range(0));
    Render::Renderer renderer(false);
    renderer.setViewport(1280, 720);
    const auto cloud = Render::PointCloudRenderable::create(Octree::locationOf(autzen), "autzen", 1000000, 1.0);
    renderer.setScene(cloud);
    Render::showObliqueOverview(renderer, renderer.boundingBox());
    cloud->setOctreeNodePriorityThreshold(0.0f);
    cloud->reloadPoints(nullptr, 21);
    if (look == Look::EyeDomeLighting)
        renderer.setEyeDomeLighting({true, 1.0f, 1.0f});
    if (look == Look::HighQualitySplats)
        renderer.setSplatQuality(Render::SplatQuality::High);
    if (look == Look::Classification)
        renderer.setRenderMode(Render::RenderMode::Classification);
    if (look == Look::ClassHidden)
        renderer.setClassVisible(1, false); // the unclassified three quarters of the points
    Graphics::ColorImage picture;
    renderer.render(); // shaders made, buffers uploaded
    for (auto _ : state) {
        renderer.camera()->setNeedsRedraw(true);
        renderer.render();
        renderer.getColorImage(picture);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(cloud->numVisiblePoints()));
}
BENCHMARK(BM_PointFrame)
    ->ArgName("look")
    ->Arg(static_cast<int>(Look::Plain))
    ->Arg(static_cast<int>(Look::EyeDomeLighting))
    ->Arg(static_cast<int>(Look::HighQualitySplats))
    ->Arg(static_cast<int>(Look::Classification))
    ->Arg(static_cast<int>(Look::ClassHidden))
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

} // namespace
