#pragma once

// The vertex records handed to the GPU. Their field order, widths and offsets are a wire format
// shared with the HLSL input layouts: every record is checked below against its byte layout.

#include <lumaro/math/Color.h>
#include <lumaro/math/Point.h>

#include <Eigen/Core>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <type_traits>

namespace Render {

struct VertexPosColor {
    Math::Point<float, 3> position;
    Math::Color color;

    VertexPosColor() = default;
    VertexPosColor(const Math::Point<float, 3>& position, const Math::Color& color) : position(position), color(color)
    {}
    VertexPosColor(float x, float y, float z, unsigned int rgba) : position(x, y, z), color(rgba) {}
    VertexPosColor(float x, float y, float z, unsigned char r, unsigned char g, unsigned char b, unsigned char a)
        : position(x, y, z), color(r, g, b, a)
    {}
};

struct VertexPosNormalColor {
    Math::Point<float, 3> position;
    Eigen::Vector3f normal;
    Math::Color color;

    VertexPosNormalColor() = default;
    VertexPosNormalColor(const Math::Point<float, 3>& position, const Eigen::Vector3f& normal, const Math::Color& color)
        : position(position), normal(normal), color(color)
    {}
    VertexPosNormalColor(float x, float y, float z, float nx, float ny, float nz, unsigned int rgba)
        : position(x, y, z), normal(nx, ny, nz), color(rgba)
    {}
    VertexPosNormalColor(float x, float y, float z, float nx, float ny, float nz, unsigned char r, unsigned char g,
                         unsigned char b, unsigned char a)
        : position(x, y, z), normal(nx, ny, nz), color(r, g, b, a)
    {}
};

struct VertexPosNormalTexCoordColor {
    Math::Point<float, 3> position;
    Eigen::Vector3f normal;
    Math::Point<float, 2> texCoord;
    Math::Color color;

    VertexPosNormalTexCoordColor() = default;
    VertexPosNormalTexCoordColor(const Math::Point<float, 3>& position, const Eigen::Vector3f& normal,
                                 const Math::Point<float, 2>& texCoord, const Math::Color& color)
        : position(position), normal(normal), texCoord(texCoord), color(color)
    {}
    VertexPosNormalTexCoordColor(float x, float y, float z, float nx, float ny, float nz, float u, float v,
                                 unsigned int rgba)
        : position(x, y, z), normal(nx, ny, nz), texCoord(u, v), color(rgba)
    {}
    VertexPosNormalTexCoordColor(float x, float y, float z, float nx, float ny, float nz, float u, float v,
                                 unsigned char r, unsigned char g, unsigned char b, unsigned char a)
        : position(x, y, z), normal(nx, ny, nz), texCoord(u, v), color(r, g, b, a)
    {}
};

struct VertexPosColorIntensityClassIndexScanIndex {
    Math::Point<float, 3> position;
    Math::Color color;
    std::uint8_t intensity = 0;
    std::uint8_t classIndex = 0;
    std::uint16_t scanIndex = 0;
};

// The point-cloud vertex: one instance of the point sprite per point.
struct VertexPosColorIntensityClassIndexScanIndexDistance {
    // Stands for "no distance known".
    static constexpr float noDistance = std::numeric_limits<float>::max();

    Math::Point<float, 3> position;
    Math::Color color;
    std::uint8_t intensity = 0;
    std::uint8_t classIndex = 0;
    std::uint16_t scanIndex = 0;
    float distance = noDistance;

    VertexPosColorIntensityClassIndexScanIndexDistance() = default;
    VertexPosColorIntensityClassIndexScanIndexDistance(const Math::Point<float, 3>& position, const Math::Color& color,
                                                       unsigned char intensity, unsigned char classIndex,
                                                       unsigned short scanIndex, float distance)
        : position(position),
          color(color),
          intensity(intensity),
          classIndex(classIndex),
          scanIndex(scanIndex),
          distance(distance)
    {}
};

struct VertexPosNormalColorIntensityClassIndexScanIndex {
    Math::Point<float, 3> position;
    Eigen::Vector3f normal;
    Math::Color color;
    std::uint8_t intensity = 0;
    std::uint8_t classIndex = 0;
    std::uint16_t scanIndex = 0;
};

// One wire-frame box of a Boxes set.
struct BoxWithColor {
    Math::Point<float, 3> posMin;
    Math::Point<float, 3> posMax;
    Math::Color color;
};

static_assert(sizeof(Eigen::Vector3f) == 12);

static_assert(sizeof(VertexPosColor) == 16);
static_assert(offsetof(VertexPosColor, color) == 12);

static_assert(sizeof(VertexPosNormalColor) == 28);
static_assert(offsetof(VertexPosNormalColor, normal) == 12);
static_assert(offsetof(VertexPosNormalColor, color) == 24);

static_assert(sizeof(VertexPosNormalTexCoordColor) == 36);
static_assert(offsetof(VertexPosNormalTexCoordColor, normal) == 12);
static_assert(offsetof(VertexPosNormalTexCoordColor, texCoord) == 24);
static_assert(offsetof(VertexPosNormalTexCoordColor, color) == 32);

static_assert(sizeof(VertexPosColorIntensityClassIndexScanIndex) == 20);
static_assert(offsetof(VertexPosColorIntensityClassIndexScanIndex, color) == 12);
static_assert(offsetof(VertexPosColorIntensityClassIndexScanIndex, intensity) == 16);
static_assert(offsetof(VertexPosColorIntensityClassIndexScanIndex, classIndex) == 17);
static_assert(offsetof(VertexPosColorIntensityClassIndexScanIndex, scanIndex) == 18);

static_assert(sizeof(VertexPosColorIntensityClassIndexScanIndexDistance) == 24);
static_assert(offsetof(VertexPosColorIntensityClassIndexScanIndexDistance, color) == 12);
static_assert(offsetof(VertexPosColorIntensityClassIndexScanIndexDistance, intensity) == 16);
static_assert(offsetof(VertexPosColorIntensityClassIndexScanIndexDistance, classIndex) == 17);
static_assert(offsetof(VertexPosColorIntensityClassIndexScanIndexDistance, scanIndex) == 18);
static_assert(offsetof(VertexPosColorIntensityClassIndexScanIndexDistance, distance) == 20);

static_assert(sizeof(VertexPosNormalColorIntensityClassIndexScanIndex) == 32);
static_assert(offsetof(VertexPosNormalColorIntensityClassIndexScanIndex, normal) == 12);
static_assert(offsetof(VertexPosNormalColorIntensityClassIndexScanIndex, color) == 24);
static_assert(offsetof(VertexPosNormalColorIntensityClassIndexScanIndex, intensity) == 28);
static_assert(offsetof(VertexPosNormalColorIntensityClassIndexScanIndex, classIndex) == 29);
static_assert(offsetof(VertexPosNormalColorIntensityClassIndexScanIndex, scanIndex) == 30);

static_assert(sizeof(BoxWithColor) == 28);
static_assert(offsetof(BoxWithColor, posMax) == 12);
static_assert(offsetof(BoxWithColor, color) == 24);

} // namespace Render
