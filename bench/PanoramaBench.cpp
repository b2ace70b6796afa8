// Panorama tiles from a real image (demo_equirec.png, 1024 x 512, four levels of 4 x 8 tiles): the
// loading thread's cost per tile, first with the image decoded on the first tile, then cutting
// alone.
#include <lumaro/graphics/ImagePanoramaLoader.h>

#include <benchmark/benchmark.h>

#include <string>

namespace {

const std::string image = std::string(LUMARO_TEST_DATA_DIR) + "/pano/demo_equirec.png";

std::size_t cutEveryTile(Graphics::ImagePanoramaLoader& loader)
{
    std::size_t texels = 0;
    for (const Graphics::PanoramaLoader::TileId tile : loader.colorTiles()) {
        const Graphics::ColorImage cut = loader.loadColorTile(tile);
        texels += cut.width() * cut.height();
    }
    return texels;
}

// A new loader each time: opening, decoding the image and cutting all 128 tiles.
void BM_PanoramaTilesFromAFreshImage(benchmark::State& state)
{
    std::size_t tiles = 0;
    for (auto _ : state) {
        const auto loader = Graphics::ImagePanoramaLoader::equirectangular(image);
        benchmark::DoNotOptimize(cutEveryTile(*loader));
        tiles = loader->colorTiles().size();
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * tiles));
}
BENCHMARK(BM_PanoramaTilesFromAFreshImage)->Unit(benchmark::kMillisecond);

// Cutting alone, the image decoded already.
void BM_PanoramaTilesCut(benchmark::State& state)
{
    const auto loader = Graphics::ImagePanoramaLoader::equirectangular(image);
    cutEveryTile(*loader);
    std::size_t texels = 0;
    for (auto _ : state)
        texels = cutEveryTile(*loader);
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * loader->colorTiles().size()));
    state.counters["texels per second"] =
        benchmark::Counter(static_cast<double>(state.iterations() * texels), benchmark::Counter::kIsRate);
}
BENCHMARK(BM_PanoramaTilesCut)->Unit(benchmark::kMillisecond);

} // namespace
