#pragma once

#include <lumaro/graphics/PanoramaLoader.h>

#include <cstddef>
#include <cstdint>

namespace Render {

// cbConstant of "shaders/pano.hlsl" (register b0), byte for byte (1824 bytes). Every element of
// the two per-tile arrays has a 16-byte register of its own. Matrices are column-major.
struct PanoConstants {
    static constexpr std::size_t maxTilesPerLevel = Graphics::PanoramaLoader::maxTilesPerLevel;
    // Texture registers: this many colour levels (t0..), then as many depth levels.
    static constexpr std::size_t shaderLevels = 4;

    struct Level {
        std::uint32_t value = 0;
        std::uint32_t padding[3] = {};
    };

    float viewProjection[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    float inverseModelViewProjection[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    float model[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    float inverseModelView[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    float zNear = 0.0f;
    float zFar = 0.0f;
    float scale = 1.0f; // length of the world matrix's x axis
    std::uint32_t projectionType = 0; // 0 equirectangular, otherwise a cube map
    std::uint32_t tileRows = 0;
    std::uint32_t tileColumns = 0;
    std::uint32_t colorLevels = 0;
    std::uint32_t depthLevels = 0;
    Level maxColorLevelPerTile[maxTilesPerLevel];
    Level maxDepthLevelPerTile[maxTilesPerLevel];
};

static_assert(offsetof(PanoConstants, viewProjection) == 0);
static_assert(offsetof(PanoConstants, inverseModelViewProjection) == 64);
static_assert(offsetof(PanoConstants, model) == 128);
static_assert(offsetof(PanoConstants, inverseModelView) == 192);
static_assert(offsetof(PanoConstants, zNear) == 256);
static_assert(offsetof(PanoConstants, zFar) == 260);
static_assert(offsetof(PanoConstants, scale) == 264);
static_assert(offsetof(PanoConstants, projectionType) == 268);
static_assert(offsetof(PanoConstants, tileRows) == 272);
static_assert(offsetof(PanoConstants, tileColumns) == 276);
static_assert(offsetof(PanoConstants, colorLevels) == 280);
static_assert(offsetof(PanoConstants, depthLevels) == 284);
static_assert(offsetof(PanoConstants, maxColorLevelPerTile) == 288);
static_assert(sizeof(PanoConstants::Level) == 16);
static_assert(offsetof(PanoConstants, maxDepthLevelPerTile) == 1056);
static_assert(sizeof(PanoConstants) == 1824);

} // namespace Render
