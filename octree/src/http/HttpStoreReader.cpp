#include "HttpStoreReader.h"
#include "HttpAnswer.h"

#include <lumaro/octree/OperationCancelled.h>
#include <lumaro/octree/ReadStatistics.h>

#include <curl/curl.h>

#include <condition_variable>
#include <cstdlib>
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
    std::string name; // the resource, relative to the store
    std::optional<std::pair<std::uint64_t, std::uint64_t>> range; // offset, size
    bool headOnly = false;
};

// What one attempt came to: the body (or, for a HEAD, the length), or a failure that another
// attempt may cure or not; `status` is the server's answer (0 without one).
struct HttpStoreReader::Outcome {
    enum Kind {
        Done,
        Retry,
        Fail
    } kind = Done;
    std::string result;
    std::string problem;
    long status = 0;
};

namespace {

// What one attempt receives.
struct Transfer {
    CURL* easy = nullptr;
    HttpAsk ask;
    std::string body;
    HttpAnswerHeaders headers;
    std::string refusal; // why the transfer was cut short on purpose
    std::atomic<std::uint64_t>* received = nullptr;
};

std::size_t onHeader(char* data, std::size_t size, std::size_t count, void* user)
{
    auto* transfer = static_cast<Transfer*>(user);
    readHeaderLine(std::string_view(data, size * count), transfer->headers);
    return size * count;
}

std::size_t onBody(char* data, std::size_t size, std::size_t count, void* user)
{
    auto* transfer = static_cast<Transfer*>(user);
    const std::size_t bytes = size * count;
    long status = 0;
    curl_easy_getinfo(transfer->easy, CURLINFO_RESPONSE_CODE, &status);
    const BodyDecision decision = takeBody(transfer->ask, status, transfer->headers, transfer->body.size(), bytes);
    if (decision.kind == BodyDecision::Refuse) {
        transfer->refusal = decision.reason;
        return 0;
    }
    if (decision.kind == BodyDecision::Keep) {
        transfer->body.append(data, bytes);
        transfer->received->fetch_add(bytes, std::memory_order_relaxed);
        receivedByAllReaders.fetch_add(bytes, std::memory_order_relaxed);
    }
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
    case CURLE_HTTP2_STREAM: return true;
    default: return false;
    }
}

std::string rangeText(const std::pair<std::uint64_t, std::uint64_t>& range)
{
    return std::to_string(range.first) + "-" + std::to_string(range.first + range.second - 1);
}

// The header lines of a request, owned for as long as libcurl uses them.
struct HeaderList {
    curl_slist* list = nullptr;
    explicit HeaderList(const std::vector<std::string>& lines)
    {
        for (const std::string& line : lines)
            list = curl_slist_append(list, line.c_str());
    }
    ~HeaderList() { curl_slist_free_all(list); }
    HeaderList(const HeaderList&) = delete;
    HeaderList& operator=(const HeaderList&) = delete;
};

// A failure for good that names the answer's status, so that exists() can tell a missing resource.
struct StatusFailure : std::runtime_error {
    StatusFailure(const std::string& text, long answer) : std::runtime_error(text), status(answer) {}
    long status;
};

} // namespace

HttpStoreReader::HttpStoreReader(RemoteEndpoint endpoint, HttpPolicy policy)
    : mEndpoint(std::move(endpoint)), mPolicy(policy)
{
    useCurl();
}

HttpStoreReader::HttpStoreReader(std::string_view url, HttpPolicy policy)
    : HttpStoreReader(remoteEndpoint(WebLocation(url)), policy)
{}

HttpStoreReader::~HttpStoreReader() = default;

std::string HttpStoreReader::describe(std::string_view name) const
{
    return mEndpoint.shown(name);
}

std::unique_ptr<HttpStoreReader::Connection> HttpStoreReader::takeConnection() const
{
    {
        const std::lock_guard lock(mPoolMutex);
        if (!mIdle.empty()) {
            std::unique_ptr<Connection> connection = std::move(mIdle.back());
            mIdle.pop_back();
            return connection;
        }
    }
    return std::make_unique<Connection>();
}

void HttpStoreReader::returnConnection(std::unique_ptr<Connection> connection) const
{
    const std::lock_guard lock(mPoolMutex);
    mIdle.push_back(std::move(connection));
}

HttpStoreReader::Outcome HttpStoreReader::attempt(const Request& request, std::stop_token stop) const
{
    const std::string url = mEndpoint.url(request.name);
    const std::string range = request.range ? rangeText(*request.range) : std::string();
    std::unique_ptr<Connection> connection = takeConnection();
    CURL* easy = connection->easy;
    Transfer transfer;
    transfer.ask = HttpAsk{request.range, request.headOnly};
    transfer.easy = easy;
    transfer.received = &mBytesReceived;
    const HeaderList headers(mEndpoint.headers);
    curl_easy_reset(easy);
    curl_easy_setopt(easy, CURLOPT_URL, url.c_str());
    curl_easy_setopt(easy, CURLOPT_FOLLOWLOCATION, 1L);
    curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
    // HTTP/2 where the server offers it over TLS: requests of one store share a connection.
    curl_easy_setopt(easy, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_2TLS));
    curl_easy_setopt(easy, CURLOPT_CONNECTTIMEOUT, static_cast<long>(mPolicy.connectTimeout.count()));
    curl_easy_setopt(easy, CURLOPT_LOW_SPEED_LIMIT, 1L);
    curl_easy_setopt(easy, CURLOPT_LOW_SPEED_TIME, static_cast<long>(mPolicy.stallTimeout.count()));
    curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, &onHeader);
    curl_easy_setopt(easy, CURLOPT_HEADERDATA, &transfer);
    curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &onBody);
    curl_easy_setopt(easy, CURLOPT_WRITEDATA, &transfer);
    if (headers.list)
        curl_easy_setopt(easy, CURLOPT_HTTPHEADER, headers.list);
    if (mEndpoint.netrc)
        curl_easy_setopt(easy, CURLOPT_NETRC, static_cast<long>(CURL_NETRC_OPTIONAL));
    if (!mEndpoint.sigV4.empty()) {
        curl_easy_setopt(easy, CURLOPT_AWS_SIGV4, mEndpoint.sigV4.c_str());
        curl_easy_setopt(easy, CURLOPT_USERPWD, mEndpoint.sigV4Keys.c_str());
    }
    if (const char* bundle = std::getenv("CURL_CA_BUNDLE"); bundle && *bundle)
        curl_easy_setopt(easy, CURLOPT_CAINFO, bundle);
    if (request.range)
        curl_easy_setopt(easy, CURLOPT_RANGE, range.c_str());
    if (request.headOnly)
        curl_easy_setopt(easy, CURLOPT_NOBODY, 1L);

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
        if (running)
            curl_multi_poll(connection->multi, nullptr, 0, 50, nullptr);
    }
    int pending = 0;
    while (CURLMsg* message = curl_multi_info_read(connection->multi, &pending))
        if (message->msg == CURLMSG_DONE)
            result = message->data.result;
    curl_multi_remove_handle(connection->multi, easy);
    Outcome outcome;
    curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &outcome.status);
    // No credential stays behind in a pooled handle.
    curl_easy_reset(easy);
    returnConnection(std::move(connection));
    countStoreRead(transfer.body.size()); // read statistics (lumaro render --stats): every request, its body bytes

    if (!transfer.refusal.empty())
        return {Outcome::Fail, {}, transfer.refusal, outcome.status};
    if (result != CURLE_OK)
        return {passes(result) ? Outcome::Retry : Outcome::Fail, {}, curl_easy_strerror(result), outcome.status};
    const HttpVerdict verdict = judgeAnswer(transfer.ask, outcome.status, transfer.headers, transfer.body.size());
    if (verdict.kind != HttpVerdict::Use)
        return {
            verdict.kind == HttpVerdict::Retry ? Outcome::Retry : Outcome::Fail, {}, verdict.reason, outcome.status};
    if (request.headOnly)
        return {Outcome::Done,
                transfer.headers.contentLength ? std::to_string(*transfer.headers.contentLength) : "",
                {},
                outcome.status};
    return {Outcome::Done, std::move(transfer.body), {}, outcome.status};
}

std::string HttpStoreReader::perform(const Request& request, std::stop_token stop) const
{
    // What failure messages lead with: the resource, and the bytes asked for.
    const std::string what =
        describe(request.name) + (request.range ? " (bytes " + rangeText(*request.range) + ")" : "");
    std::chrono::milliseconds delay = mPolicy.firstRetryDelay;
    std::string lastProblem;
    for (int attempt = 1; attempt <= mPolicy.attempts; ++attempt) {
        if (stop.stop_requested())
            throw OperationCancelled();
        Outcome outcome = this->attempt(request, stop);
        if (outcome.kind == Outcome::Done)
            return std::move(outcome.result);
        if (outcome.kind == Outcome::Fail)
            throw StatusFailure(what + ": " + outcome.problem, outcome.status);
        lastProblem = outcome.problem;
        if (attempt < mPolicy.attempts) {
            // Waits for the next attempt, or for a stop.
            std::mutex mutex;
            std::condition_variable_any wakeUp;
            std::unique_lock lock(mutex);
            wakeUp.wait_for(lock, stop, delay, [] { return false; });
            delay *= 2;
        }
    }
    throw std::runtime_error(what + ": " + lastProblem + " (after " + std::to_string(mPolicy.attempts) + " attempts)");
}

std::uint64_t bytesReceivedOverHttp()
{
    return receivedByAllReaders.load(std::memory_order_relaxed);
}

std::string HttpStoreReader::read(std::string_view name, std::stop_token stop) const
{
    return perform(Request{std::string(name), std::nullopt, false}, stop);
}

std::string HttpStoreReader::readRange(std::string_view name, std::uint64_t offset, std::uint64_t size,
                                       std::stop_token stop) const
{
    if (size == 0) {
        return {};
    }
    if (offset > UINT64_MAX - size) {
        throw std::runtime_error(describe(name) + ": a range of " + std::to_string(size) + " bytes at offset "
                                 + std::to_string(offset) + " lies beyond the end of any file");
    }
    return perform(Request{std::string(name), std::pair{offset, size}, false}, stop);
}

std::uint64_t HttpStoreReader::size(std::string_view name, std::stop_token stop) const
{
    const std::string length = perform(Request{std::string(name), std::nullopt, true}, stop);
    if (length.empty()) {
        throw std::runtime_error(describe(name) + ": the server does not tell the length");
    }
    return std::stoull(length);
}

bool HttpStoreReader::exists(std::string_view name) const
{
    try {
        perform(Request{std::string(name), std::nullopt, true}, {});
        return true;
    } catch (const StatusFailure& failure) {
        if (failure.status == 404 || failure.status == 403)
            return false;
        throw;
    }
}

} // namespace Octree
