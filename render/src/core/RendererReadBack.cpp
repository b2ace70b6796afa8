// Read-back of the renderer's last frame: the picture, the depths, PNG files and the drawn
// pixels as points.
#include <lumaro/render/core/Renderer.h>

#include <lumaro/graphics/ColorImage.h>
#include <lumaro/graphics/DepthImage.h>

#include "DrawnPixels.h"
#include "ReadBack.h"

#include <fstream>
#include <iomanip>
#include <stdexcept>
#include <vector>

namespace Render {

void Renderer::getColorImage(Graphics::ColorImage& image)
{
    if (!mColorStaging.get()) { // a viewport without width or height has no picture
        image.resize(viewport().width(), viewport().height(), viewport().width() * sizeof(Math::Color));
        return;
    }
    readBack(mColorStaging, mOutputPass.texture("color"),
             [&](const D3D11_MAPPED_SUBRESOURCE& mapped) { copyMapped(mapped, viewport(), image); });
}

void Renderer::getDepthImage(Graphics::DepthImage& image)
{
    if (!mDepthStaging.get()) {
        image.resize(viewport().width(), viewport().height(), viewport().width() * sizeof(float));
        return;
    }
    readBack(mDepthStaging, mScenePass.depthTexture(),
             [&](const D3D11_MAPPED_SUBRESOURCE& mapped) { copyMapped(mapped, viewport(), image); });
}

void Renderer::writePngImage(const std::filesystem::path& path)
{
    render();
    Graphics::ColorImage image;
    getColorImage(image);
    image.writePng(path);
}

template <typename Emit>
std::size_t Renderer::walkPoints(std::size_t maxCount, Emit&& emit)
{
    if (!mColorStaging.get())
        return 0;
    mColorStaging.copy(mDeviceContext.Get(), mOutputPass.texture("color"));
    mWorldPositionStaging.copy(mDeviceContext.Get(), mOutputPass.texture("worldPosition"));
    const ScopedMap colors(mDeviceContext.Get(), mColorStaging);
    const ScopedMap positions(mDeviceContext.Get(), mWorldPositionStaging);
    PixelCursor cursor{mPointChunkColumn, mPointChunkRow};
    const std::size_t count =
        walkDrawnPixels(static_cast<const unsigned char*>(colors.mapped().pData), colors.mapped().RowPitch,
                        static_cast<const unsigned char*>(positions.mapped().pData), positions.mapped().RowPitch,
                        viewport().width(), viewport().height(), cursor, maxCount, std::forward<Emit>(emit));
    mPointChunkColumn = cursor.column;
    mPointChunkRow = cursor.row;
    return count;
}

std::size_t Renderer::getNextPointChunk(VertexPosColor* buffer, std::size_t maxCount)
{
    return walkPoints(maxCount, [&](float x, float y, float z, const Math::Color& color) {
        *buffer++ = VertexPosColor(Math::Point<float, 3>(x, y, z), color);
    });
}

std::size_t Renderer::getNextPointChunk(double* xyz, int* rgb, std::size_t maxCount)
{
    return walkPoints(maxCount, [&](float x, float y, float z, const Math::Color& color) {
        *xyz++ = x;
        *xyz++ = y;
        *xyz++ = z;
        *rgb++ = static_cast<int>(color.r() | color.g() << 8 | color.b() << 16);
    });
}

void Renderer::resetPointChunkPosition()
{
    mPointChunkColumn = 0;
    mPointChunkRow = 0;
}

void Renderer::getPoints(std::vector<VertexPosColor>& points)
{
    constexpr std::size_t chunk = 1048576;
    resetPointChunkPosition();
    points.clear();
    std::vector<VertexPosColor> buffer(chunk);
    while (const std::size_t count = getNextPointChunk(buffer.data(), chunk))
        points.insert(points.end(), buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(count));
}

void Renderer::writePoints(const std::filesystem::path& path)
{
    render();
    std::vector<VertexPosColor> points;
    getPoints(points);
    std::ofstream file(path, std::ios::trunc);
    file << "X Y Z Red Green Blue Alpha\n" << std::setprecision(7);
    for (const VertexPosColor& point : points) {
        file << point.position.x() << " " << point.position.y() << " " << point.position.z() << " "
             << int(point.color.r()) << " " << int(point.color.g()) << " " << int(point.color.b()) << " "
             << int(point.color.a()) << "\n";
    }
    if (!file.flush())
        throw std::runtime_error("cannot write the points to " + path.string());
}

} // namespace Render
