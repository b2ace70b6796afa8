// What a store reader makes of a web server's answer, without a network: every number a server
// sends is checked before anything is sized by it.
#include "http/HttpAnswer.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Octree::BodyDecision;
using Octree::HttpAnswerHeaders;
using Octree::HttpAsk;
using Octree::HttpVerdict;

HttpAnswerHeaders headersOf(const std::vector<std::string>& lines)
{
    HttpAnswerHeaders headers;
    for (const std::string& line : lines) {
        Octree::readHeaderLine(line, headers);
    }
    return headers;
}

TEST(HttpAnswer, HeaderLinesAreReadCaseBlindAndCheckedAsNumbers)
{
    const auto headers = headersOf({"HTTP/1.1 206 Partial Content\r\n", "CONTENT-length:   665 \r\n",
                                    "content-range: bytes 28854-29518/33684\r\n", "X-Content-Length: 7\r\n"});
    EXPECT_EQ(headers.contentLength, 665u);
    EXPECT_EQ(headers.contentRange, "bytes 28854-29518/33684");
    EXPECT_EQ(headers.problem, "");
    // 2^64 does not fit; a length that is no number is no length.
    EXPECT_EQ(headersOf({"Content-Length: 18446744073709551616\r\n"}).problem,
              "the server sent the length '18446744073709551616', which is no byte count");
    EXPECT_NE(headersOf({"Content-Length: -1\r\n"}).problem, "");
    EXPECT_EQ(headersOf({"Content-Length: 18446744073709551615\r\n"}).contentLength, 18446744073709551615u);
    // libcurl hands over header lines of up to 100 kB; the regular expressions that read them
    // before overflowed the stack on such a line.
    const std::string longRange(100000, '7');
    EXPECT_EQ(headersOf({"Content-Range: bytes " + longRange + "\r\n"}).contentRange, "bytes " + longRange);
    // A status line starts a new answer: a redirect's headers are forgotten.
    const auto redirected =
        headersOf({"Content-Length: x\r\n", "Content-Range: bytes 0-1/2\r\n", "HTTP/1.1 200 OK\r\n"});
    EXPECT_EQ(redirected.problem, "");
    EXPECT_EQ(redirected.contentRange, "");
    EXPECT_FALSE(redirected.contentLength);
}

TEST(HttpAnswer, ContentRangesAreParsedWithoutOverflow)
{
    struct Case {
        const char* text;
        bool valid;
        std::uint64_t first, last;
    };
    for (const Case& c :
         {Case{"bytes 0-0/1", true, 0, 0}, Case{"bytes 28854-29518/*", true, 28854, 29518},
          Case{"bytes 0-18446744073709551615/*", true, 0, 18446744073709551615u},
          Case{"bytes 0-18446744073709551616/*", false, 0, 0}, Case{"bytes 5-4/10", false, 0, 0},
          Case{"bytes 1-2", false, 0, 0}, Case{"bytes -2/10", false, 0, 0}, Case{"bytes 1-2/x", false, 0, 0},
          Case{"items 1-2/10", false, 0, 0}, Case{"bytes 1 -2/10", false, 0, 0}}) {
        SCOPED_TRACE(c.text);
        const auto range = Octree::parseContentRange(c.text);
        ASSERT_EQ(range.has_value(), c.valid);
        if (range) {
            EXPECT_EQ(range->first, c.first);
            EXPECT_EQ(range->last, c.last);
        }
    }
}

TEST(HttpAnswer, BodiesAreCutOffAtWhatWasAskedOrAnnounced)
{
    const HttpAsk range{std::pair<std::uint64_t, std::uint64_t>{100, 10}, false};
    const HttpAsk whole{};
    const auto length = [](std::uint64_t bytes) {
        return headersOf({"Content-Length: " + std::to_string(bytes) + "\r\n"});
    };
    EXPECT_EQ(Octree::takeBody(range, 206, {}, 0, 10).kind, BodyDecision::Keep);
    EXPECT_EQ(Octree::takeBody(range, 206, {}, 6, 5).reason, "the server sent more than the 10 bytes asked for");
    EXPECT_EQ(Octree::takeBody(range, 404, {}, 0, 5000).kind, BodyDecision::Discard);
    EXPECT_EQ(Octree::takeBody(range, 200, length(10), 0, 5).reason,
              "the server ignored the Range request and started sending the whole file");
    // A whole file answering a range from its start that is the whole file is what was asked.
    EXPECT_EQ(Octree::takeBody({std::pair<std::uint64_t, std::uint64_t>{0, 10}, false}, 200, length(10), 0, 5).kind,
              BodyDecision::Keep);
    EXPECT_EQ(Octree::takeBody(whole, 200, length(5), 3, 3).reason,
              "the server sent more than the 5 bytes it announced");
    EXPECT_EQ(Octree::takeBody(whole, 200, length(Octree::MAX_WHOLE_RESOURCE_BYTES + 1), 0, 1).kind,
              BodyDecision::Refuse);
    EXPECT_EQ(Octree::takeBody(whole, 200, {}, Octree::MAX_WHOLE_RESOURCE_BYTES, 1).kind, BodyDecision::Refuse);
    EXPECT_EQ(Octree::takeBody(whole, 200, {}, Octree::MAX_WHOLE_RESOURCE_BYTES - 1, 1).kind, BodyDecision::Keep);
}

TEST(HttpAnswer, FinishedAnswersAreUsedRetriedOrFailed)
{
    const HttpAsk range{std::pair<std::uint64_t, std::uint64_t>{100, 10}, false};
    const auto exact = headersOf({"Content-Range: bytes 100-109/1000\r\n"});
    struct Case {
        const char* what;
        HttpAsk ask;
        long status;
        HttpAnswerHeaders headers;
        std::uint64_t body;
        HttpVerdict::Kind kind;
    };
    for (const Case& c :
         {Case{"the range", range, 206, exact, 10, HttpVerdict::Use},
          Case{"a range cut short", range, 206, exact, 9, HttpVerdict::Retry},
          Case{"another range", range, 206, headersOf({"Content-Range: bytes 101-110/1000\r\n"}), 10,
               HttpVerdict::Fail},
          Case{"no range named", range, 206, {}, 10, HttpVerdict::Fail},
          Case{"a range answered 204", range, 204, exact, 10, HttpVerdict::Fail},
          Case{"busy", range, 503, exact, 0, HttpVerdict::Retry},
          Case{"too many requests", range, 429, exact, 0, HttpVerdict::Retry},
          Case{"missing", range, 404, exact, 0, HttpVerdict::Fail},
          Case{"informational", HttpAsk{}, 101, {}, 0, HttpVerdict::Fail},
          Case{"a whole file", HttpAsk{}, 200, headersOf({"Content-Length: 7\r\n"}), 7, HttpVerdict::Use},
          Case{"a whole file cut short", HttpAsk{}, 200, headersOf({"Content-Length: 7\r\n"}), 6, HttpVerdict::Retry},
          Case{"a length that is no number", HttpAsk{}, 200, headersOf({"Content-Length: 7a\r\n"}), 7,
               HttpVerdict::Fail},
          Case{"headers only", HttpAsk{std::nullopt, true}, 200, headersOf({"Content-Length: 7\r\n"}), 0,
               HttpVerdict::Use}}) {
        SCOPED_TRACE(c.what);
        const HttpVerdict verdict = Octree::judgeAnswer(c.ask, c.status, c.headers, c.body);
        EXPECT_EQ(verdict.kind, c.kind);
        EXPECT_EQ(verdict.reason.empty(), c.kind == HttpVerdict::Use) << verdict.reason;
    }
}

} // namespace
