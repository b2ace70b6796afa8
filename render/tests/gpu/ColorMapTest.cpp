#include <lumaro/render/core/RenderMode.h>
#include <lumaro/render/gpu/ColorMap.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <type_traits>
#include <utility>

namespace {

using Render::ColorMap;
using Render::RenderMode;

TEST(ColorMap, SpectrumNamesFollowTheMathLibraryNumbering)
{
    const std::pair<int, int> mapToSpectrum[] = {
        {0, 8},  {1, 9},  {2, 11}, {3, 12},  {4, 10},  {5, 0},   {6, 2},
        {7, 13}, {8, 14}, {9, 15}, {10, 16}, {11, 17}, {12, 18},
    };
    for (const auto& [map, spectrum] : mapToSpectrum)
        EXPECT_EQ(static_cast<int>(Render::spectrumName(static_cast<ColorMap>(map))), spectrum) << "map " << map;
}

} // namespace
