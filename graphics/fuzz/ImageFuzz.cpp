// Panorama images as a user hands them over: the input is an image file (PNG, JPEG or Radiance
// HDR), read by its header, decoded as colours and as distances, and cut into tiles as an
// equirectangular panorama and as the six faces of a cube. Each step either succeeds or fails with
// std::runtime_error or std::invalid_argument (a size that fits no panorama); anything else is a
// finding.
#include <lumaro/graphics/ColorImage.h>
#include <lumaro/graphics/DepthImage.h>
#include <lumaro/graphics/ImagePanoramaLoader.h>

#include "ImageFiles.h"

#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

namespace {

// The file the input becomes, one per fuzzing process.
const std::filesystem::path& inputFile()
{
    static const std::filesystem::path path =
        std::filesystem::temp_directory_path() / ("lumaro-image-fuzz-" + std::to_string(::getpid()));
    return path;
}

// The coarsest colour tiles and the first and last of the finest, and a depth tile.
void cutTiles(Graphics::PanoramaLoader& loader)
{
    const auto colors = loader.colorTiles();
    for (const std::size_t n : {std::size_t{0}, colors.size() / 2, colors.size() - 1}) {
        if (n < colors.size()) {
            loader.loadColorTile(colors[n]);
        }
    }
    if (const auto depths = loader.depthTiles(); !depths.empty()) {
        loader.loadDepthTile(depths.back());
    }
}

template <class Action>
void expectOrderlyFailure(Action action)
{
    try {
        action();
    } catch (const std::runtime_error&) {
    } catch (const std::invalid_argument&) {
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    {
        std::ofstream file(inputFile(), std::ios::binary | std::ios::trunc);
        file.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    }
    const std::filesystem::path& path = inputFile();
    Graphics::ImageFileInfo info;
    try {
        info = Graphics::readImageFileInfo(path);
    } catch (const std::runtime_error&) {
        return 0;
    }
    if (info.width * info.height > Graphics::MAX_IMAGE_PIXELS || info.width == 0 || info.height == 0) {
        __builtin_trap(); // the header check lets through only what may be decoded
    }
    // Decoding a large image is slow and allowed; the fuzzer spends its time on small ones.
    if (info.width * info.height > (std::size_t{1} << 17)) {
        return 0;
    }
    expectOrderlyFailure([&] {
        const Graphics::ColorImage image = Graphics::ColorImage::read(path);
        if (image.width() != info.width || image.height() != info.height) {
            __builtin_trap();
        }
    });
    expectOrderlyFailure([&] { Graphics::DepthImage::readHdr(path); });
    expectOrderlyFailure([&] {
        const auto loader = Graphics::ImagePanoramaLoader::equirectangular(
            path, info.hdr ? std::optional<std::filesystem::path>(path) : std::nullopt);
        cutTiles(*loader);
    });
    expectOrderlyFailure([&] {
        std::array<std::filesystem::path, 6> faces;
        faces.fill(path);
        const auto loader = Graphics::ImagePanoramaLoader::cubeMap(faces);
        cutTiles(*loader);
    });
    return 0;
}
