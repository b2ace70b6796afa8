#include "OpenEntwineTree.h"

#include <lumaro/octree/entwine/EntwineTree.h>

namespace Octree {

std::shared_ptr<Octree> openEntwineTree(const Location& location, double unitScale, std::shared_ptr<StoreReader> reader)
{
    return std::make_shared<Entwine::EntwineTree>(location, unitScale, std::move(reader));
}

} // namespace Octree
