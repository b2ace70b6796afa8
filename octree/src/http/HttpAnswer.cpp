#include "HttpAnswer.h"

#include <cctype>

namespace Octree {

namespace {

std::string_view trimmed(std::string_view text)
{
    const auto blank = [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; };
    while (!text.empty() && blank(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && blank(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

// The value of the header `name` (lower case, with its colon) when `line` is that header.
std::optional<std::string_view> headerValue(std::string_view line, std::string_view name)
{
    if (line.size() < name.size()) {
        return std::nullopt;
    }
    for (std::size_t i = 0; i < name.size(); ++i) {
        if (std::tolower(static_cast<unsigned char>(line[i])) != name[i]) {
            return std::nullopt;
        }
    }
    return trimmed(line.substr(name.size()));
}

// A decimal number of at most 64 bits and nothing else.
std::optional<std::uint64_t> decimal(std::string_view text)
{
    if (text.empty()) {
        return std::nullopt;
    }
    std::uint64_t value = 0;
    for (const char c : text) {
        if (c < '0' || c > '9') {
            return std::nullopt;
        }
        const auto digit = static_cast<std::uint64_t>(c - '0');
        if (value > (UINT64_MAX - digit) / 10) {
            return std::nullopt;
        }
        value = value * 10 + digit;
    }
    return value;
}

std::string bytesText(const std::pair<std::uint64_t, std::uint64_t>& range)
{
    return std::to_string(range.first) + "-" + std::to_string(range.first + range.second - 1);
}

} // namespace

void readHeaderLine(std::string_view line, HttpAnswerHeaders& headers)
{
    if (line.starts_with("HTTP/")) {
        headers = HttpAnswerHeaders();
    } else if (const auto range = headerValue(line, "content-range:")) {
        headers.contentRange = std::string(*range);
    } else if (const auto length = headerValue(line, "content-length:")) {
        headers.contentLength = decimal(*length);
        if (!headers.contentLength) {
            headers.problem =
                "the server sent the length '" + std::string(length->substr(0, 40)) + "', which is no byte count";
        }
    }
}

std::optional<ContentRange> parseContentRange(std::string_view text)
{
    static constexpr std::string_view unit = "bytes ";
    if (!text.starts_with(unit)) {
        return std::nullopt;
    }
    text.remove_prefix(unit.size());
    const std::size_t dash = text.find('-');
    const std::size_t slash = text.find('/');
    if (dash == std::string_view::npos || slash == std::string_view::npos || slash < dash) {
        return std::nullopt;
    }
    const auto first = decimal(text.substr(0, dash));
    const auto last = decimal(text.substr(dash + 1, slash - dash - 1));
    const std::string_view total = text.substr(slash + 1);
    if (!first || !last || *last < *first || (total != "*" && !decimal(total))) {
        return std::nullopt;
    }
    return ContentRange{*first, *last};
}

BodyDecision takeBody(const HttpAsk& ask, long status, const HttpAnswerHeaders& headers, std::uint64_t received,
                      std::uint64_t piece)
{
    if (status >= 300) {
        return {BodyDecision::Discard, {}};
    }
    const std::uint64_t total = received + piece;
    if (ask.range) {
        const std::uint64_t wanted = ask.range->second;
        // A 200 answer to a range is the whole file: acceptable only when that is what was asked.
        if (status == 200 && !(ask.range->first == 0 && headers.contentLength && *headers.contentLength == wanted)) {
            return {BodyDecision::Refuse, "the server ignored the Range request and started sending the whole file"};
        }
        if (total < received || total > wanted) {
            return {BodyDecision::Refuse,
                    "the server sent more than the " + std::to_string(wanted) + " bytes asked for"};
        }
        return {BodyDecision::Keep, {}};
    }
    if (headers.contentLength && *headers.contentLength > MAX_WHOLE_RESOURCE_BYTES) {
        return {BodyDecision::Refuse,
                "the server announces " + std::to_string(*headers.contentLength)
                    + " bytes, more than any file of a store takes (" + std::to_string(MAX_WHOLE_RESOURCE_BYTES) + ")"};
    }
    if (total < received || total > MAX_WHOLE_RESOURCE_BYTES) {
        return {BodyDecision::Refuse,
                "the server sent more than " + std::to_string(MAX_WHOLE_RESOURCE_BYTES)
                    + " bytes, more than any file of a store takes"};
    }
    if (headers.contentLength && total > *headers.contentLength) {
        return {BodyDecision::Refuse,
                "the server sent more than the " + std::to_string(*headers.contentLength) + " bytes it announced"};
    }
    return {BodyDecision::Keep, {}};
}

HttpVerdict judgeAnswer(const HttpAsk& ask, long status, const HttpAnswerHeaders& headers, std::uint64_t bodySize)
{
    if (status >= 500 || status == 429) {
        return {HttpVerdict::Retry, "HTTP " + std::to_string(status)};
    }
    if (status == 401 || status == 403) {
        return {HttpVerdict::Fail, "access was refused (HTTP " + std::to_string(status) + "): check the credentials"};
    }
    if (status >= 300 || status < 200) {
        return {HttpVerdict::Fail, "HTTP " + std::to_string(status)};
    }
    if (!headers.problem.empty()) {
        return {HttpVerdict::Fail, headers.problem};
    }
    if (ask.headOnly) {
        return {HttpVerdict::Use, {}};
    }
    if (ask.range) {
        const auto [offset, size] = *ask.range;
        if (bodySize != size) {
            return {HttpVerdict::Retry,
                    "received " + std::to_string(bodySize) + " of the " + std::to_string(size) + " bytes asked for"};
        }
        if (status == 200) {
            return {HttpVerdict::Use, {}}; // the whole resource, which was what was asked for (checked while receiving)
        }
        if (status != 206) {
            return {HttpVerdict::Fail, "the server answered HTTP " + std::to_string(status) + " to a range request"};
        }
        const auto range = parseContentRange(headers.contentRange);
        if (!range || range->first != offset || range->last != offset + size - 1) {
            return {HttpVerdict::Fail,
                    "the server answered with the range '" + headers.contentRange.substr(0, 80) + "' instead of bytes "
                        + bytesText(*ask.range)};
        }
        return {HttpVerdict::Use, {}};
    }
    if (headers.contentLength && bodySize != *headers.contentLength) {
        return {HttpVerdict::Retry,
                "received " + std::to_string(bodySize) + " of " + std::to_string(*headers.contentLength) + " bytes"};
    }
    return {HttpVerdict::Use, {}};
}

} // namespace Octree
