#include <lumaro/octree/entwine/ZstandardDecoder.h>

#include <zstd.h>

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
    auto fail = [&file](const std::string& problem) {
        return std::runtime_error(file.string() + ": " + problem);
    };
    const std::unique_ptr<ZSTD_DCtx, ContextDeleter> context(ZSTD_createDCtx());
    if (!context) {
        throw fail("cannot create a Zstandard decompression context");
    }
    if (compressed.empty() && expectedSize != 0) {
        throw fail("is empty, but its point count needs " + std::to_string(expectedSize) + " bytes");
    }
    std::string result(expectedSize, '\0');
    // One spare byte tells "exactly the expected size" from "more than that".
    char spare = 0;
    ZSTD_inBuffer input{compressed.data(), compressed.size(), 0};
    ZSTD_outBuffer output{result.data(), result.size(), 0};
    ZSTD_outBuffer overflow{&spare, 1, 0};
    std::size_t pending = compressed.empty() ? 0 : 1;
    while (input.pos < input.size || (pending != 0 && output.pos < output.size)) {
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
