#include <lumaro/octree/potree/PointCodes.h>

#include <lumaro/testsupport/PotreeEncoding.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

using namespace PoTree;

namespace {

PositionCode codeFromBytes(const std::string& bytes)
{
    PositionCode code;
    std::memcpy(&code, bytes.data(), sizeof code);
    return code;
}

} // namespace

TEST(PointCodes, DecodesTheFirstPointOfAutzenRoot)
{
    // First position and colour code of the root node of autzen_trim-brotli, byte for byte.
    const unsigned char position[16] = {0, 0, 0, 0, 0, 0, 0, 0, 0xbf, 0xf2, 0x1b, 0x99, 0x9c, 0, 0, 0};
    const auto xyz = decodePositionCode(codeFromBytes(std::string(reinterpret_cast<const char*>(position), 16)));
    EXPECT_EQ(xyz, (std::array<std::uint32_t, 3>{13115, 3703, 2163}));

    EXPECT_EQ(decodeColorCode(0x1fb58a), (std::array<std::uint16_t, 3>{114, 125, 100}));
}

TEST(PointCodes, OctahedralNormalsUnfoldTheLowerHemisphere)
{
    auto expectNear = [](std::array<float, 3> actual, std::array<double, 3> expected) {
        const double length =
            std::sqrt(expected[0] * expected[0] + expected[1] * expected[1] + expected[2] * expected[2]);
        for (int i = 0; i < 3; ++i) {
            EXPECT_NEAR(actual[i], expected[i] / length, 1e-5) << "component " << i;
        }
    };
    // a = b = 128: u = v = 1/255, upper hemisphere, (u, v, 1 - 2/255).
    const double small = 1.0 / 255.0;
    expectNear(decodeOctahedralNormal(128 | 128 << 8), {small, small, 1 - 2 * small});
    // a = 255, b = 128: u = 1, v = 1/255, z < 0, so x = 1 - v, y = (1 - u) sign v = 0.
    expectNear(decodeOctahedralNormal(255 | 128 << 8), {1 - small, 0, -small});
    // a = b = 0: u = v = -1, z = -1: folded to (0, 0, -1).
    expectNear(decodeOctahedralNormal(0), {0, 0, -1});
}
