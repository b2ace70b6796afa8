#pragma once

#include <lumaro/octree/Location.h>

#include <memory>

namespace Octree {
class Octree;
class StoreReader;

// The one place where Octree::open reaches the Entwine kind of store; defined next to the
// Entwine reader (src/entwine/OpenEntwineTree.cpp).
std::shared_ptr<Octree> openEntwineTree(const Location& location, double unitScale,
                                        std::shared_ptr<StoreReader> reader);

} // namespace Octree
