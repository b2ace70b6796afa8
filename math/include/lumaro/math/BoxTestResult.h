#pragma once

namespace Math {

// Where an axis-aligned box lies relative to a volume. Tests are conservative: a box reported as
// intersecting may still lie outside near a corner of the volume, but inside and outside are exact.
enum class BoxTestResult {
    Inside = 0,
    Intersecting = 1,
    Outside = 2,
};

} // namespace Math
