// Panorama tile uploads on a real Direct3D 11 device (under Wine: llvmpipe): a frame that uploads
// every tile of demo_equirec.png (128 tiles in four levels) against a frame that uploads none,
// both with the picture read back so that the GPU work is finished inside the measurement. The
// difference divided by the tiles is the upload time per tile.
#include <lumaro/render/core/Renderer.h>
#include <lumaro/render/renderables/PanoRenderable.h>

#include <lumaro/graphics/ColorImage.h>
#include <lumaro/graphics/ImagePanoramaLoader.h>

#include <benchmark/benchmark.h>

#include <string>

namespace {

const std::string image = std::string(LUMARO_TEST_DATA_DIR) + "/pano/demo_equirec.png";

struct Scene {
    Scene()
        : loader(Graphics::ImagePanoramaLoader::equirectangular(image)),
          pano(Render::PanoRenderable::create(loader, "pano"))
    {
        renderer.setViewport(256, 256);
        renderer.setScene(pano);
        renderer.setCameraPose(Math::Point<float, 3>(0, 0, 0), Eigen::Vector3f(1, 0, 0), Eigen::Vector3f(0, 0, 1));
        renderer.setPerspective(60.0f, 0.1f, 100.0f, 0.0f, 0.0f);
        pano->loadPanoramaTiles(); // decodes the image once
        frame();
    }

    void frame()
    {
        renderer.render();
        renderer.getColorImage(picture);
    }

    Render::Renderer renderer{false};
    std::shared_ptr<Graphics::ImagePanoramaLoader> loader;
    std::shared_ptr<Render::PanoRenderable> pano;
    Graphics::ColorImage picture;
};

void BM_PanoramaFrameUploadingEveryTile(benchmark::State& state)
{
    Scene scene;
    const auto tiles = static_cast<std::int64_t>(scene.loader->colorTiles().size());
    for (auto _ : state) {
        state.PauseTiming();
        scene.pano->loadPanoramaTiles(); // cut on this thread: not measured
        scene.renderer.camera()->setNeedsRedraw(true);
        state.ResumeTiming();
        scene.frame();
    }
    state.SetItemsProcessed(state.iterations() * tiles);
}
BENCHMARK(BM_PanoramaFrameUploadingEveryTile)->Unit(benchmark::kMillisecond);

void BM_PanoramaFrameUploadingNothing(benchmark::State& state)
{
    Scene scene;
    for (auto _ : state) {
        scene.renderer.camera()->setNeedsRedraw(true);
        scene.frame();
    }
}
BENCHMARK(BM_PanoramaFrameUploadingNothing)->Unit(benchmark::kMillisecond);

} // namespace
