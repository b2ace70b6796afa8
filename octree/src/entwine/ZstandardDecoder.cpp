#include <lumaro/octree/entwine/ZstandardDecoder.h>

#include <zstd.h>

#include <algorithm>
#include <memory>
#include <stdexcept>

namespace Entwine {

namespace {

struct ContextDeleter {
    void operator()(ZSTD_DCtx* context) const { ZSTD_freeDCtx(context); }
};

} // namespace

std::string decompressZstandard(std::string_view compressed, std::size_t expectedSize,
                                const std::filesystem::path& file)
{
    auto fail = [&file](const std::string& problem) { return std::runtime_error(file.string() + ": " + problem); };
    const std::unique_ptr<ZSTD_DCtx, ContextDeleter> context(ZSTD_createDCtx());
    if (!context) {
        throw fail("cannot create a Zstandard decompression context");
    }
    if (compressed.empty() && expectedSize != 0) {
        throw fail("is empty, but its point count needs " + std::to_string(expectedSize) + " bytes");
    }
    // The output grows as data arrive, so a count that the data cannot back (a damaged hierarchy)
    // fails on the data instead of on an allocation of its size.
    constexpr std::size_t initialCapacity = std::size_t{1} << 20;
    std::string result(std::min(expectedSize, std::max(initialCapacity, compressed.size() * 8)), '\0');
    // One spare byte tells "exactly the expected size" from "more than that".
    char spare = 0;
    ZSTD_inBuffer input{compressed.data(), compressed.size(), 0};
    ZSTD_outBuffer output{result.data(), result.size(), 0};
    ZSTD_outBuffer overflow{&spare, 1, 0};
    std::size_t pending = compressed.empty() ? 0 : 1;
    while (input.pos < input.size || (pending != 0 && output.pos < expectedSize)) {
        if (output.pos == output.size && output.size < expectedSize) {
            result.resize(output.size > expectedSize / 2 ? expectedSize : output.size * 2);
            output.dst = result.data();
            output.size = result.size();
        }
        ZSTD_outBuffer& target = output.pos < output.size ? output : overflow;
        const std::size_t before = input.pos;
        const std::size_t produced = target.pos;
        pending = ZSTD_decompressStream(context.get(), &target, &input);
        if (ZSTD_isError(pending)) {
            throw fail(std::string("corrupt Zstandard data: ") + ZSTD_getErrorName(pending));
        }
        if (overflow.pos != 0) {
            throw fail("decompresses to more than the " + std::to_string(expectedSize)
                       + " bytes that its point count needs");
        }
        if (input.pos == before && target.pos == produced) {
            break; // no progress: the input ends inside a frame
        }
    }
    if (pending != 0) {
        throw fail("Zstandard data end in the middle of a frame after " + std::to_string(output.pos) + " bytes");
    }
    if (output.pos != expectedSize) {
        throw fail("decompresses to " + std::to_string(output.pos) + " bytes, but its point count needs "
                   + std::to_string(expectedSize));
    }
    return result;
}

} // namespace Entwine
