#pragma once

#include <lumaro/math/BoxTestResult.h>

namespace Octree {

// Box tests against filters and clipping volumes share one result type with the math library.
using BoxTestResult = Math::BoxTestResult;

} // namespace Octree
