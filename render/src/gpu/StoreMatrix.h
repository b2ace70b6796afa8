#pragma once

#include <Eigen/Core>

#include <cstring>

namespace Render {

// A matrix into a constant-buffer mirror: column-major, as Eigen keeps it and as HLSL packs a
// float4x4 by default, so mul(m, v) in a shader is m · v here.
inline void storeMatrix(float (&to)[16], const Eigen::Matrix4f& matrix)
{
    std::memcpy(to, matrix.data(), sizeof(to));
}

} // namespace Render
