#pragma once

#include <lumaro/render/gpu/VertexContainer.h>

#include <lumaro/math/TriangleMesh.h>

#include <optional>
#include <stop_token>
#include <vector>

namespace Render {

// The signed distance of a point to the mesh: the distance to the nearest point q of the mesh,
// negative when the point lies behind the triangle (a, b, c) of q, that is when (b - a) x (c - a)
// and point - q point away from each other. Empty for a mesh without triangles.
std::optional<float> signedDistanceToMesh(const Math::TriangleMesh<float>& mesh, const Math::Point<float, 3>& point);

// The signed distance of each vertex to the mesh (both in the same model coordinates), times
// `scale` to make world units of them; the largest float where the mesh has no triangles.
// std::nullopt when `stop` ended the work.
std::optional<std::vector<float>> meshDistances(const VertexContainer& vertices, const Math::TriangleMesh<float>& mesh,
                                                float scale, std::stop_token stop);

} // namespace Render
