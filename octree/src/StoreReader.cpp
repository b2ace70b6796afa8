#include <lumaro/octree/StoreReader.h>

#include "LocalStoreReader.h"
#include "http/HttpStoreReader.h"

namespace Octree {

std::shared_ptr<StoreReader> StoreReader::open(const Location& location)
{
    if (location.isUrl()) {
        return std::make_shared<HttpStoreReader>(remoteEndpoint(location));
    }
    return std::make_shared<LocalStoreReader>(location.path());
}

} // namespace Octree
