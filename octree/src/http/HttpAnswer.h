#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Octree {

// What a store reader makes of a web server's answer, apart from the network: its header lines,
// its body as it arrives and its outcome. A server is trusted with nothing: every number it sends
// is checked before anything is sized by it, so that a hostile or broken server causes a clear
// failure and never a crash or an allocation of its choosing.

// What one request asks for: a byte range (offset and size, size above 0), a whole resource, or
// only the headers.
struct HttpAsk {
    std::optional<std::pair<std::uint64_t, std::uint64_t>> range;
    bool headOnly = false;
};

// A whole resource read without a range (a JSON file, an EPT node file) is refused beyond this
// size: real ones are a few megabytes, and the body is held in memory.
inline constexpr std::uint64_t MAX_WHOLE_RESOURCE_BYTES = std::uint64_t{1} << 30;

// What the headers of the current answer said.
struct HttpAnswerHeaders {
    std::string contentRange;
    std::optional<std::uint64_t> contentLength;
    // A header that cannot be understood (a length that is no number or too large for 64 bits),
    // which fails the request.
    std::string problem;
};

// Takes in one header line as the server sent it (with its line ending). A status line starts a
// new answer (after a redirect or a 100 Continue) and forgets what the previous one said.
void readHeaderLine(std::string_view line, HttpAnswerHeaders& headers);

// "bytes FIRST-LAST/TOTAL" (TOTAL may be "*"): the first and last byte; std::nullopt when the text
// is not of that form, the numbers do not fit 64 bits or LAST is below FIRST.
struct ContentRange {
    std::uint64_t first = 0;
    std::uint64_t last = 0;
};
std::optional<ContentRange> parseContentRange(std::string_view text);

// What to do with `piece` more bytes of body after `received` bytes under the answer's `status`:
// keep them, discard them (an error page, whose status decides), or cut the transfer off and say
// why (a server that ignores the Range and sends the whole file, more bytes than asked for or
// announced, a resource larger than MAX_WHOLE_RESOURCE_BYTES).
struct BodyDecision {
    enum Kind {
        Keep,
        Discard,
        Refuse
    } kind = Keep;
    std::string reason;
};
BodyDecision takeBody(const HttpAsk& ask, long status, const HttpAnswerHeaders& headers, std::uint64_t received,
                      std::uint64_t piece);

// What to do with a finished answer: use it, try again (a server error or an answer cut short may
// pass), or fail at once (the server refused, or answered something other than what was asked). A
// refused access (401, 403) says so.
struct HttpVerdict {
    enum Kind {
        Use,
        Retry,
        Fail
    } kind = Use;
    std::string reason;
};
HttpVerdict judgeAnswer(const HttpAsk& ask, long status, const HttpAnswerHeaders& headers, std::uint64_t bodySize);

} // namespace Octree
