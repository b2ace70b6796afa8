#include <lumaro/testsupport/PotreeEncoding.h>

#include <algorithm>
#include <stdexcept>
#include <vector>

namespace TestSupport {

std::string hierarchyRecord(std::uint8_t type, std::uint8_t childMask, std::uint32_t pointCount,
                            std::uint64_t byteOffset, std::uint64_t byteSize, std::uint8_t visibility)
{
    std::string record;
    record += static_cast<char>(type | visibility << 4);
    record += static_cast<char>(childMask);
    record += bytesOf(pointCount);
    record += bytesOf(byteOffset);
    record += bytesOf(byteSize);
    return record;
}

namespace {

// Writes bits least significant first, as Brotli reads them.
class BitWriter {
public:
    void put(std::uint32_t value, unsigned bits)
    {
        for (unsigned i = 0; i < bits; ++i) {
            if (mUsed == 0) {
                mBytes.push_back('\0');
            }
            if (value >> i & 1u) {
                mBytes.back() = static_cast<char>(static_cast<unsigned char>(mBytes.back()) | 1u << mUsed);
            }
            mUsed = (mUsed + 1) % 8;
        }
    }
    void alignToByte() { mUsed = 0; }
    void append(std::string_view bytes)
    {
        alignToByte();
        mBytes.append(bytes);
    }
    std::string take() { return std::move(mBytes); }

private:
    std::string mBytes;
    unsigned mUsed = 0;
};

} // namespace

std::string brotliStored(std::string_view data)
{
    BitWriter writer;
    writer.put(0, 1); // window bits 16
    constexpr std::size_t blockSize = 65536;
    for (std::size_t start = 0; start < data.size(); start += blockSize) {
        const std::size_t length = std::min(blockSize, data.size() - start);
        writer.put(0, 1); // not the last meta-block
        writer.put(0, 2); // four nibbles of length
        writer.put(static_cast<std::uint32_t>(length - 1), 16);
        writer.put(1, 1); // uncompressed
        writer.append(data.substr(start, length));
    }
    writer.put(1, 1); // last meta-block
    writer.put(1, 1); // and it is empty
    return writer.take();
}

std::string positionCode(std::uint32_t x, std::uint32_t y, std::uint32_t z)
{
    std::uint64_t high = 0;
    std::uint64_t low = 0;
    const std::uint32_t coordinates[3] = {x, y, z};
    for (unsigned k = 0; k < 16; ++k) {
        for (unsigned axis = 0; axis < 3; ++axis) {
            low |= std::uint64_t(coordinates[axis] >> k & 1u) << (3 * k + axis);
            high |= std::uint64_t(coordinates[axis] >> (16 + k) & 1u) << (3 * k + axis);
        }
    }
    return bytesOf(high) + bytesOf(low);
}

std::string colorCode(std::uint16_t red, std::uint16_t green, std::uint16_t blue)
{
    std::uint64_t code = 0;
    const std::uint16_t channels[3] = {red, green, blue};
    for (unsigned k = 0; k < 16; ++k) {
        for (unsigned c = 0; c < 3; ++c) {
            code |= std::uint64_t(channels[c] >> k & 1u) << (3 * k + c);
        }
    }
    return bytesOf(code);
}

nlohmann::json syntheticMetadata(const std::string& encoding,
                                 const std::vector<std::pair<std::string, int>>& attributes, std::uint64_t points,
                                 std::uint64_t firstChunkSize)
{
    nlohmann::json list = nlohmann::json::array();
    for (const auto& [name, size] : attributes) {
        list.push_back({{"name", name},
                        {"description", ""},
                        {"size", size},
                        {"numElements", 1},
                        {"elementSize", size},
                        {"type", "uint8"}});
    }
    return {
        {"version", "2.0"},          {"name", "synthetic"},
        {"points", points},          {"hierarchy", {{"firstChunkSize", firstChunkSize}, {"stepSize", 4}, {"depth", 0}}},
        {"offset", {0.0, 0.0, 0.0}}, {"scale", {0.01, 0.01, 0.01}},
        {"spacing", 0.125},          {"boundingBox", {{"min", {0.0, 0.0, 0.0}}, {"max", {16.0, 16.0, 16.0}}}},
        {"encoding", encoding},      {"attributes", list}};
}

} // namespace TestSupport
