#include "HttpStoreReader.h"

#include <lumaro/octree/OperationCancelled.h>
#include <lumaro/octree/ReadStatistics.h>

#include <curl/curl.h>

#include <condition_variable>
#include <cstdlib>
#include <regex>
#include <stdexcept>
#include <thread>

namespace Octree {

namespace {

// libcurl's global state, set up once before the first handle.
struct CurlLibrary {
    CurlLibrary() { curl_global_init(CURL_GLOBAL_DEFAULT); }
    ~CurlLibrary() { curl_global_cleanup(); }
};

void useCurl()
{
    static const CurlLibrary library;
}

std::atomic<std::uint64_t> receivedByAllReaders{0};

// A failure that another attempt will not cure.
struct PermanentFailure : std::runtime_error {
    using std::runtime_error::runtime_error;
};
// A failure that may pass: the request is tried again.
struct PassingFailure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

} // namespace

// One reusable transfer: an easy handle in a multi handle of its own, whose connection cache keeps
// the connection to the server open between requests.
struct HttpStoreReader::Connection {
    CURLM* multi = curl_multi_init();
    CURL* easy = curl_easy_init();

    Connection()
    {
        if (!multi || !easy) {
            throw std::runtime_error("libcurl cannot create a transfer");
        }
    }
    ~Connection()
    {
        curl_easy_cleanup(easy);
        curl_multi_cleanup(multi);
    }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
};

struct HttpStoreReader::Request {
    std::string url;
    std::optional<std::pair<std::uint64_t, std::uint64_t>> range; // offset, size
    bool headOnly = false;
};

namespace {

// What one attempt received.
struct Transfer {
    const HttpStoreReader::Request* request = nullptr;
    CURL* easy = nullptr;
    std::string body;
    std::string contentRange;
    std::optional<std::uint64_t> contentLength;
    std::string refusal; // why the transfer was cut short on purpose
    std::atomic<std::uint64_t>* received = nullptr;
};

std::size_t onHeader(char* data, std::size_t size, std::size_t count, void* user)
{
    auto* transfer = static_cast<Transfer*>(user);
    const std::string line(data, size * count);
    static const std::regex contentRange(R"(^content-range:\s*(.*?)\s*$)", std::regex::icase);
    static const std::regex contentLength(R"(^content-length:\s*([0-9]+)\s*$)", std::regex::icase);
    std::smatch match;
    if (std::regex_search(line, match, contentRange)) {
        transfer->contentRange = match[1];
    } else if (std::regex_search(line, match, contentLength)) {
        transfer->contentLength = std::stoull(match[1]);
    } else if (line.rfind("HTTP/", 0) == 0) {
        // A new response (after a redirect or a 100 Continue): forget the previous one's headers.
        transfer->contentRange.clear();
        transfer->contentLength.reset();
    }
    return size * count;
}

std::size_t onBody(char* data, std::size_t size, std::size_t count, void* user)
{
    auto* transfer = static_cast<Transfer*>(user);
    const std::size_t bytes = size * count;
    long status = 0;
    curl_easy_getinfo(transfer->easy, CURLINFO_RESPONSE_CODE, &status);
    const auto& range = transfer->request->range;
    if (status >= 300) {
        return bytes; // an error page: its status decides, its body is not kept
    }
    if (range) {
        const std::uint64_t wanted = range->second;
        if (status == 200 && !(range->first == 0 && transfer->contentLength && *transfer->contentLength == wanted)) {
            transfer->refusal = "the server ignored the Range request and started sending the whole file";
            return 0;
        }
        if (transfer->body.size() + bytes > wanted) {
            transfer->refusal = "the server sent more than the " + std::to_string(wanted) + " bytes asked for";
            return 0;
        }
    }
    transfer->body.append(data, bytes);
    transfer->received->fetch_add(bytes, std::memory_order_relaxed);
    receivedByAllReaders.fetch_add(bytes, std::memory_order_relaxed);
    return bytes;
}

bool passes(CURLcode code)
{
    switch (code) {
    case CURLE_OPERATION_TIMEDOUT:
    case CURLE_COULDNT_CONNECT:
    case CURLE_RECV_ERROR:
    case CURLE_SEND_ERROR:
    case CURLE_PARTIAL_FILE:
    case CURLE_GOT_NOTHING:
    case CURLE_HTTP2:
    case CURLE_HTTP2_STREAM:
        return true;
    default:
        return false;
    }
}

// Checks that a ranged answer is the range asked for: "bytes FIRST-LAST/TOTAL".
void checkRange(const Transfer& transfer, long status)
{
    const auto [offset, size] = *transfer.request->range;
    if (transfer.body.size() != size) {
        throw PassingFailure("received " + std::to_string(transfer.body.size()) + " of the " + std::to_string(size)
                             + " bytes asked for");
    }
    if (status != 206) {
        return; // the whole resource, which was what was asked for (checked while receiving)
    }
    std::smatch match;
    static const std::regex bytes(R"(^bytes ([0-9]+)-([0-9]+)/([0-9]+|\*)$)");
    if (!std::regex_match(transfer.contentRange, match, bytes) || std::stoull(match[1]) != offset
        || std::stoull(match[2]) + 1 != offset + size) {
        throw PermanentFailure("the server answered with the range '" + transfer.contentRange + "' instead of bytes "
                               + std::to_string(offset) + "-" + std::to_string(offset + size - 1));
    }
}

} // namespace

HttpStoreReader::HttpStoreReader(std::string baseUrl, HttpPolicy policy)
    : m_baseUrl(std::move(baseUrl)), m_policy(policy)
{
    useCurl();
}

HttpStoreReader::~HttpStoreReader() = default;

std::string HttpStoreReader::describe(std::string_view name) const
{
    return name.empty() ? m_baseUrl : m_baseUrl + "/" + std::string(name);
}

std::unique_ptr<HttpStoreReader::Connection> HttpStoreReader::takeConnection() const
{
    {
        const std::lock_guard lock(m_poolMutex);
        if (!m_idle.empty()) {
            std::unique_ptr<Connection> connection = std::move(m_idle.back());
            m_idle.pop_back();
            return connection;
        }
    }
    return std::make_unique<Connection>();
}

void HttpStoreReader::returnConnection(std::unique_ptr<Connection> connection) const
{
    const std::lock_guard lock(m_poolMutex);
    m_idle.push_back(std::move(connection));
}

std::string HttpStoreReader::perform(const Request& request, std::stop_token stop) const
{
    std::string range;
    if (request.range) {
        range = std::to_string(request.range->first) + "-" + std::to_string(request.range->first + request.range->second - 1);
    }
    // What failure messages lead with: the URL, and the bytes asked for.
    const std::string what = request.url + (request.range ? " (bytes " + range + ")" : "");
    std::chrono::milliseconds delay = m_policy.firstRetryDelay;
    std::string lastProblem;
    for (int attempt = 1; attempt <= m_policy.attempts; ++attempt) {
        if (stop.stop_requested()) {
            throw OperationCancelled();
        }
        std::unique_ptr<Connection> connection = takeConnection();
        CURL* easy = connection->easy;
        Transfer transfer;
        transfer.request = &request;
        transfer.easy = easy;
        transfer.received = &m_bytesReceived;
        curl_easy_reset(easy);
        curl_easy_setopt(easy, CURLOPT_URL, request.url.c_str());
        curl_easy_setopt(easy, CURLOPT_FOLLOWLOCATION, 1L);
        curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
        curl_easy_setopt(easy, CURLOPT_CONNECTTIMEOUT, static_cast<long>(m_policy.connectTimeout.count()));
        curl_easy_setopt(easy, CURLOPT_LOW_SPEED_LIMIT, 1L);
        curl_easy_setopt(easy, CURLOPT_LOW_SPEED_TIME, static_cast<long>(m_policy.stallTimeout.count()));
        curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, &onHeader);
        curl_easy_setopt(easy, CURLOPT_HEADERDATA, &transfer);
        curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &onBody);
        curl_easy_setopt(easy, CURLOPT_WRITEDATA, &transfer);
        if (const char* bundle = std::getenv("CURL_CA_BUNDLE"); bundle && *bundle) {
            curl_easy_setopt(easy, CURLOPT_CAINFO, bundle);
        }
        if (request.range) {
            curl_easy_setopt(easy, CURLOPT_RANGE, range.c_str());
        }
        if (request.headOnly) {
            curl_easy_setopt(easy, CURLOPT_NOBODY, 1L);
        }

        // The multi interface lets the wait for data end every 50 ms to look at the stop token.
        curl_multi_add_handle(connection->multi, easy);
        int running = 1;
        CURLcode result = CURLE_OK;
        while (running) {
            if (curl_multi_perform(connection->multi, &running) != CURLM_OK) {
                result = CURLE_FAILED_INIT;
                break;
            }
            if (stop.stop_requested()) {
                curl_multi_remove_handle(connection->multi, easy);
                throw OperationCancelled(); // the connection is dropped with its unfinished transfer
            }
            if (running) {
                curl_multi_poll(connection->multi, nullptr, 0, 50, nullptr);
            }
        }
        int pending = 0;
        while (CURLMsg* message = curl_multi_info_read(connection->multi, &pending)) {
            if (message->msg == CURLMSG_DONE) {
                result = message->data.result;
            }
        }
        curl_multi_remove_handle(connection->multi, easy);
        long status = 0;
        curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
        returnConnection(std::move(connection));
        countStoreRead(transfer.body.size()); // read statistics (lumaro render --stats): every request, its body bytes

        try {
            if (!transfer.refusal.empty()) {
                throw PermanentFailure(transfer.refusal);
            }
            if (result != CURLE_OK) {
                const std::string problem = curl_easy_strerror(result);
                if (passes(result)) throw PassingFailure(problem);
                throw PermanentFailure(problem);
            }
            if (status >= 500 || status == 429) {
                throw PassingFailure("HTTP " + std::to_string(status));
            }
            if (status >= 300) {
                throw PermanentFailure("HTTP " + std::to_string(status));
            }
            if (request.headOnly) {
                return transfer.contentLength ? std::to_string(*transfer.contentLength) : std::string();
            }
            if (request.range) {
                checkRange(transfer, status);
            } else if (transfer.contentLength && transfer.body.size() != *transfer.contentLength) {
                throw PassingFailure("received " + std::to_string(transfer.body.size()) + " of "
                                     + std::to_string(*transfer.contentLength) + " bytes");
            }
            return std::move(transfer.body);
        } catch (const PermanentFailure& failure) {
            throw std::runtime_error(what + ": " + failure.what());
        } catch (const PassingFailure& failure) {
            lastProblem = failure.what();
        }
        if (attempt < m_policy.attempts) {
            // Waits for the next attempt, or for a stop.
            std::mutex mutex;
            std::condition_variable_any wakeUp;
            std::unique_lock lock(mutex);
            wakeUp.wait_for(lock, stop, delay, [] { return false; });
            delay *= 2;
        }
    }
    throw std::runtime_error(what + ": " + lastProblem + " (after " + std::to_string(m_policy.attempts) + " attempts)");
}

std::uint64_t bytesReceivedOverHttp()
{
    return receivedByAllReaders.load(std::memory_order_relaxed);
}

std::string HttpStoreReader::read(std::string_view name, std::stop_token stop) const
{
    return perform(Request{describe(name), std::nullopt, false}, stop);
}

std::string HttpStoreReader::readRange(std::string_view name, std::uint64_t offset, std::uint64_t size,
                                       std::stop_token stop) const
{
    if (size == 0) {
        return {};
    }
    return perform(Request{describe(name), std::pair{offset, size}, false}, stop);
}

std::uint64_t HttpStoreReader::size(std::string_view name, std::stop_token stop) const
{
    const std::string length = perform(Request{describe(name), std::nullopt, true}, stop);
    if (length.empty()) {
        throw std::runtime_error(describe(name) + ": the server does not tell the length");
    }
    return std::stoull(length);
}

bool HttpStoreReader::exists(std::string_view name) const
{
    try {
        perform(Request{describe(name), std::nullopt, true}, {});
        return true;
    } catch (const std::runtime_error&) {
        return false;
    }
}

} // namespace Octree
