#pragma once

#include <lumaro/octree/StoreReader.h>

#include "RemoteEndpoint.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace Octree {

// How an HttpStoreReader treats a server. The defaults suit stores on the internet.
struct HttpPolicy {
    // Attempts of a request that failed for a reason that may pass (a timeout, a dropped
    // connection, a 5xx or 429 answer); the waits between them double from firstRetryDelay.
    int attempts = 4;
    std::chrono::milliseconds firstRetryDelay{100};
    std::chrono::seconds connectTimeout{10};
    // A transfer slower than one byte a second for this long has timed out.
    std::chrono::seconds stallTimeout{30};
};

// A store on a web server or in an S3 bucket, read with HTTP(S) range requests through libcurl.
// Connections are kept and reused (a pool of them, so several threads read at once); a request
// stops within about 50 ms of its stop token being signalled. A 404, a refused access (401, 403),
// an answer that is not the range asked for, and a server that ignores Range and starts sending a
// whole file fail at once with a message that names the resource; a timeout, a dropped connection
// or a 5xx answer is retried with back-off before it fails the same way. Requests carry what the
// endpoint says: S3 signatures (Signature Version 4), user and password (from the URL or
// ~/.netrc), extra headers. Messages name resources without credentials. Certificates are checked
// against the system's store; the variable CURL_CA_BUNDLE names another bundle (a test's own
// certificate authority, say).
class HttpStoreReader final : public StoreReader {
public:
    explicit HttpStoreReader(RemoteEndpoint endpoint, HttpPolicy policy = {});
    // The store at `url` (http://, https:// or s3://), resolved as remoteEndpoint does.
    explicit HttpStoreReader(std::string_view url, HttpPolicy policy = {});
    ~HttpStoreReader() override;
    HttpStoreReader(const HttpStoreReader&) = delete;
    HttpStoreReader& operator=(const HttpStoreReader&) = delete;

    std::string read(std::string_view name, std::stop_token stop) const override;
    std::string readRange(std::string_view name, std::uint64_t offset, std::uint64_t size,
                          std::stop_token stop) const override;
    std::uint64_t size(std::string_view name, std::stop_token stop) const override;
    // False for a resource the server says is not there (404) or not to be had (403); other
    // failures throw.
    bool exists(std::string_view name) const override;
    std::string describe(std::string_view name) const override;

    // Body bytes received so far, over all requests (for measurements).
    std::uint64_t bytesReceived() const { return mBytesReceived.load(std::memory_order_relaxed); }

    struct Connection;
    struct Request;
    struct Outcome;

private:
    // Tries the request until it succeeds, fails for good, or the attempts are spent.
    std::string perform(const Request& request, std::stop_token stop) const;
    // One transfer of the request on a pooled connection.
    Outcome attempt(const Request& request, std::stop_token stop) const;

    std::unique_ptr<Connection> takeConnection() const;
    void returnConnection(std::unique_ptr<Connection> connection) const;

    RemoteEndpoint mEndpoint;
    HttpPolicy mPolicy;
    mutable std::mutex mPoolMutex;
    mutable std::vector<std::unique_ptr<Connection>> mIdle;
    mutable std::atomic<std::uint64_t> mBytesReceived{0};
};

} // namespace Octree
