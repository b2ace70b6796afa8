#pragma once

#include <lumaro/measure/Profile.h>

#include <filesystem>

namespace Tool {

// Writes the profile's points in store coordinates: a LAS file (LAS 1.4, point format 7, on the
// stores' own grid when the points share one, otherwise to the millimetre) where the name ends in
// .las, a LAZ file where it ends in .laz, and otherwise text lines "x y z red green blue intensity
// classification" as `lumaro points` writes them. The file appears whole or not at all; throws
// std::runtime_error naming it when it cannot be written.
void writeProfilePoints(const Measure::Profile& profile, const std::filesystem::path& path);

} // namespace Tool
