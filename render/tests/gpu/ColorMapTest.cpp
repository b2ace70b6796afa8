#include <lumaro/render/core/RenderMode.h>
#include <lumaro/render/gpu/ColorMap.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <type_traits>
#include <utility>

namespace {

using Render::ColorMap;
using Render::RenderMode;

TEST(ColorMap, NumbersAreTheShaderMapNumbers)
{
    static_assert(sizeof(ColorMap) == 4 && std::is_signed_v<std::underlying_type_t<ColorMap>>);
    const std::pair<ColorMap, int> numbers[] = {
        {ColorMap::Turbo, 0},         {ColorMap::Inferno, 1},         {ColorMap::Magma, 2},
        {ColorMap::Viridis, 3},       {ColorMap::Plasma, 4},          {ColorMap::Gray, 5},
        {ColorMap::Bone, 6},          {ColorMap::RedWhiteBlue, 7},    {ColorMap::LevelOfAccuracy, 8},
        {ColorMap::PassFail, 9},      {ColorMap::TrafficLight, 10},   {ColorMap::CoolWarm, 11},
        {ColorMap::LevelOfAccuracyImperial, 12},
    };
    for (const auto& [colorMap, number] : numbers)
        EXPECT_EQ(static_cast<std::int32_t>(colorMap), number);
}

TEST(ColorMap, SpectrumNamesFollowTheMathLibraryNumbering)
{
    const std::pair<int, int> mapToSpectrum[] = {
        {0, 8},  {1, 9},   {2, 11},  {3, 12},  {4, 10},  {5, 0},  {6, 2},
        {7, 13}, {8, 14},  {9, 15},  {10, 16}, {11, 17}, {12, 18},
    };
    for (const auto& [map, spectrum] : mapToSpectrum)
        EXPECT_EQ(static_cast<int>(Render::spectrumName(static_cast<ColorMap>(map))), spectrum) << "map " << map;
}

TEST(ColorMap, UnknownMapsGiveTurbosSpectrum)
{
    for (const int map : {13, 42, -1, 1000000})
        EXPECT_EQ(static_cast<int>(Render::spectrumName(static_cast<ColorMap>(map))), 8) << "map " << map;
}

TEST(RenderMode, NumbersAreTheShaderModeNumbers)
{
    static_assert(sizeof(RenderMode) == 4);
    EXPECT_EQ(static_cast<int>(RenderMode::Default), 0);
    EXPECT_EQ(static_cast<int>(RenderMode::TomographicDark), 1);
    EXPECT_EQ(static_cast<int>(RenderMode::TomographicBright), 2);
    EXPECT_EQ(static_cast<int>(RenderMode::Normal), 3);
    EXPECT_EQ(static_cast<int>(RenderMode::PlaneDistance), 4);
    EXPECT_EQ(static_cast<int>(RenderMode::Intensity), 5);
    EXPECT_EQ(static_cast<int>(RenderMode::UniformColor), 6);
    EXPECT_EQ(static_cast<int>(RenderMode::MeshDistance), 7);
}

} // namespace
