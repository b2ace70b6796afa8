#include <lumaro/render/gpu/BufferByteWidth.h>

#include <gmock/gmock.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <stdexcept>

namespace {

using Render::bufferByteWidth;
using testing::HasSubstr;
using testing::ThrowsMessage;

TEST(BufferByteWidth, IsCountTimesStrideUpToTheLargest32BitWidth)
{
    EXPECT_EQ(bufferByteWidth(0, 28, "boxes"), 0u);
    EXPECT_EQ(bufferByteWidth(6, 4, "indices"), 24u);
    // 4294967295 / 4 = 1073741823.75 and 4294967295 / 28 = 153391689.1: the largest counts that fit.
    EXPECT_EQ(bufferByteWidth(1073741823, 4, "indices"), 4294967292u);
    EXPECT_EQ(bufferByteWidth(153391689, 28, "boxes"), 4294967292u);
    EXPECT_EQ(bufferByteWidth(4294967295u, 1, "bytes"), 4294967295u);
}

TEST(BufferByteWidth, RefusesACountWhoseWidthWouldWrap)
{
    // 1073741824 × 4 = 2^32 would wrap to 0 bytes, 153391690 × 28 = 2^32 + 24 to 24 bytes.
    EXPECT_THAT([] { bufferByteWidth(1073741824, 4, "indices"); },
                ThrowsMessage<std::invalid_argument>(HasSubstr("1073741824 indices of 4 bytes")));
    EXPECT_THAT([] { bufferByteWidth(153391690, 28, "boxes"); },
                ThrowsMessage<std::invalid_argument>(HasSubstr("153391690 boxes of 28 bytes")));
    EXPECT_THROW(bufferByteWidth(std::numeric_limits<std::size_t>::max(), 28, "boxes"), std::invalid_argument);
    if constexpr (sizeof(std::size_t) > sizeof(std::uint32_t)) {
        EXPECT_THROW(bufferByteWidth(static_cast<std::size_t>(4294967296ull), 1, "bytes"), std::invalid_argument);
    }
}

} // namespace
