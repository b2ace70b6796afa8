// A web server's answer as a store reader sees it, without a network: the input's first line says
// what was asked and the final status ("range|whole|head OFFSET SIZE STATUS"; the offset and size
// count for ranges), the following lines up to an empty line are the headers (of several answers
// when a status line follows that line, as after a redirect), and the rest is the body, handed over
// in pieces of the sizes a connection might deliver. Nothing may crash or throw, and an answer
// that is used must be exactly what was asked for.
#include "http/HttpAnswer.h"

#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>
#include <string_view>

namespace {

Octree::HttpAsk askOf(std::string_view line, long& status)
{
    std::istringstream words{std::string(line)};
    std::string kind;
    std::uint64_t offset = 0;
    std::uint64_t size = 1;
    words >> kind >> offset >> size >> status;
    Octree::HttpAsk ask;
    if (kind == "range") {
        if (size == 0 || offset > UINT64_MAX - size) {
            size = 1; // the reader never asks for an empty range or one past 2^64
            offset = 0;
        }
        ask.range = std::pair{offset, size};
    } else if (kind == "head") {
        ask.headOnly = true;
    }
    return ask;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::string_view input(reinterpret_cast<const char*>(data), size);
    const std::size_t firstLineEnd = std::min(input.find('\n'), input.size());
    long status = 0;
    const Octree::HttpAsk ask = askOf(input.substr(0, firstLineEnd), status);
    input.remove_prefix(std::min(firstLineEnd + 1, input.size()));

    Octree::HttpAnswerHeaders headers;
    while (!input.empty()) {
        const std::size_t end = input.find('\n');
        const std::string_view line = input.substr(0, end == std::string_view::npos ? input.size() : end + 1);
        input.remove_prefix(line.size());
        if ((line == "\n" || line == "\r\n") && !input.starts_with("HTTP/")) {
            break;
        }
        Octree::readHeaderLine(line, headers);
    }

    // The body arrives in pieces whose sizes the body's own bytes choose, as a network's would.
    std::uint64_t kept = 0;
    bool refused = false;
    for (std::size_t at = 0; at < input.size() && !refused;) {
        const std::size_t piece =
            std::min<std::size_t>(input.size() - at, 1 + static_cast<unsigned char>(input[at]) % 64);
        const Octree::BodyDecision decision = Octree::takeBody(ask, status, headers, kept, piece);
        if (decision.kind == Octree::BodyDecision::Refuse) {
            refused = decision.reason.empty() ? (__builtin_trap(), true) : true;
        } else if (decision.kind == Octree::BodyDecision::Keep) {
            kept += piece;
        }
        at += piece;
    }
    if (ask.range && kept > ask.range->second) {
        __builtin_trap(); // more kept than asked for
    }
    if (refused) {
        return 0;
    }
    const Octree::HttpVerdict verdict = Octree::judgeAnswer(ask, status, headers, kept);
    if (verdict.kind != Octree::HttpVerdict::Use) {
        if (verdict.reason.empty()) {
            __builtin_trap(); // a failure must say why
        }
        return 0;
    }
    if (status < 200 || status >= 300 || !headers.problem.empty()) {
        __builtin_trap();
    }
    if (ask.range) {
        const auto range = Octree::parseContentRange(headers.contentRange);
        const bool exact = status == 206 && range && range->first == ask.range->first
            && range->last - range->first + 1 == ask.range->second;
        const bool whole = status == 200 && ask.range->first == 0 && headers.contentLength == ask.range->second;
        if (kept != ask.range->second || !(exact || whole)) {
            __builtin_trap(); // a used range is exactly the bytes asked for
        }
    } else if (!ask.headOnly && headers.contentLength && kept != *headers.contentLength) {
        __builtin_trap();
    }
    return 0;
}
