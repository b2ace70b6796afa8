#pragma once

#include <lumaro/octree/Location.h>

#include <cstdint>
#include <memory>
#include <stop_token>
#include <string>
#include <string_view>

namespace Octree {

// Reads the bytes of a store's resources, wherever the store lives: a folder or file on disk, or
// a web server. A resource is named relative to the store ("metadata.json",
// "ept-data/0-0-0-0.laz"); the empty name is the store itself when it is one file (COPC). Every
// reader of a store goes through this, so decoders, caches, queries and thumbnails neither know
// nor care where the bytes come from. All members may be called from several threads at once.
class StoreReader {
public:
    virtual ~StoreReader() = default;

    // The reader of the store at `location` (on disk, or over HTTP(S) for a URL).
    static std::shared_ptr<StoreReader> open(const Location& location);

    // The whole resource. Throws std::runtime_error naming it (describe()) when it is missing or
    // cannot be read, and OperationCancelled when `stop` is signalled first.
    virtual std::string read(std::string_view name, std::stop_token stop = {}) const = 0;
    // `size` bytes from `offset`, exactly; a range past the end is an error naming the resource.
    virtual std::string readRange(std::string_view name, std::uint64_t offset, std::uint64_t size,
                                  std::stop_token stop = {}) const = 0;
    // The resource's length in bytes.
    virtual std::uint64_t size(std::string_view name, std::stop_token stop = {}) const = 0;
    // Whether the resource is there (false for anything that cannot be read).
    virtual bool exists(std::string_view name) const = 0;
    // The resource as its user knows it, a path or a URL, to lead messages.
    virtual std::string describe(std::string_view name) const = 0;
};

// Body bytes received over HTTP(S) by every store reader of the process so far (for measurements).
std::uint64_t bytesReceivedOverHttp();

} // namespace Octree
