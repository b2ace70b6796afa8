#pragma once

#include <lumaro/octree/NodePointData.h>
#include <lumaro/octree/PointAttributes.h>
#include <lumaro/octree/potree/FileLoader.h>
#include <lumaro/octree/potree/Metadata.h>
#include <lumaro/octree/potree/Node.h>

#include "ModelTransform.h"
#include "RawPointDecoder.h"

#include <stop_token>

namespace PoTree {

// Reads a node straight into the renderer's point data. Brotli chunks are decoded column by
// column into the output without the stored integers in between; the other cases go through
// decodeRawPoints. Same exceptions as decodeRawPoints.
::Octree::NodePointData decodeModelPoints(const ChunkSource& chunks, const Metadata& metadata, const Node& node,
                                          std::stop_token stop, ::Octree::PointAttributes wanted,
                                          const ::Octree::ModelTransform& transform, bool colorsAre16Bit);

} // namespace PoTree
