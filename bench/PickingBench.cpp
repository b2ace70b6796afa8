// The CPU side of picking and read-back: fitting a plane to the points around the cursor, walking
// a read-back picture for its drawn pixels, and writing a picture as PNG.
#include "core/DrawnPixels.h"
#include "core/PlaneFit.h"

#include <lumaro/graphics/ColorImage.h>
#include <lumaro/render/gpu/VertexRecords.h>

#include <benchmark/benchmark.h>

#include <cmath>
#include <filesystem>
#include <random>
#include <vector>

namespace {

constexpr std::size_t width = 1920;
constexpr std::size_t height = 1080;

// pickPlane's fit: 10,000 points of a gently sloping surface with 20 % clutter above it.
void fitPlaneToTenThousandPoints(benchmark::State& state)
{
    std::mt19937 random(1);
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    Render::PickedPoints points;
    for (int i = 0; i < 10000; ++i) {
        const float x = unit(random) * 10.0f;
        const float y = unit(random) * 10.0f;
        const float clutter = i % 5 == 0 ? 1.0f + unit(random) * 3.0f : unit(random) * 0.01f;
        points.emplace_back(x, y, 0.1f * x + clutter);
    }
    for (auto _ : state) {
        const auto robust = Render::fitPlaneRobustly(points, 0.05);
        benchmark::DoNotOptimize(Render::fitPlaneLeastSquares(robust->inliers));
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(points.size()));
}
BENCHMARK(fitPlaneToTenThousandPoints)->Unit(benchmark::kMillisecond);

// getPoints without the GPU copy: a 1920 x 1080 read-back with something drawn on 60 % of it.
void walkDrawnPixelsOfAPicture(benchmark::State& state)
{
    std::vector<unsigned char> colors(width * height * 4, 200);
    std::vector<float> positions(width * height * 4, 0.0f);
    std::mt19937 random(2);
    for (std::size_t texel = 0; texel < width * height; ++texel)
        positions[texel * 4 + 3] = random() % 10 < 6 ? 1.0f : 0.0f;
    std::vector<Render::VertexPosColor> points(width * height);
    for (auto _ : state) {
        Render::PixelCursor cursor;
        Render::VertexPosColor* out = points.data();
        benchmark::DoNotOptimize(Render::walkDrawnPixels(
            colors.data(), width * 4, reinterpret_cast<const unsigned char*>(positions.data()), width * 16, width,
            height, cursor, points.size(), [&](float x, float y, float z, const Math::Color& color) {
                *out++ = Render::VertexPosColor(Math::Point<float, 3>(x, y, z), color);
            }));
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(width * height));
}
BENCHMARK(walkDrawnPixelsOfAPicture)->Unit(benchmark::kMillisecond);

// writePngImage's file: a 1920 x 1080 rendering, smooth shading with point-sprite noise.
void writeAPictureAsPng(benchmark::State& state)
{
    Graphics::ColorImage image(width, height);
    std::mt19937 random(3);
    for (std::size_t y = 0; y < height; ++y)
        for (std::size_t x = 0; x < width; ++x)
            image.at(x, y) = random() % 4 == 0
                ? Math::Color(20, 24, 28, 255)
                : Math::Color(static_cast<std::uint8_t>(x / 8), static_cast<std::uint8_t>(y / 5),
                              static_cast<std::uint8_t>(120 + random() % 16), 255);
    const std::filesystem::path file = std::filesystem::temp_directory_path() / "lumaro-bench-picture.png";
    for (auto _ : state)
        image.writePng(file);
    std::filesystem::remove(file);
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(width * height));
}
BENCHMARK(writeAPictureAsPng)->Unit(benchmark::kMillisecond);

} // namespace
