#include "CopcWriter.h"

#include "GridSampler.h"

#include <lumaro/octree/entwine/Key.h>

#include <chrono>
#include <cstring>
#include <functional>
#include <limits>
#include <stdexcept>

namespace Index {

namespace {

using Octree::OctreeNodeId;

constexpr std::size_t LAS_HEADER_SIZE = 375;
constexpr std::size_t RECORD_HEADER_SIZE = 54;
constexpr std::size_t EXTENDED_RECORD_HEADER_SIZE = 60;
constexpr std::size_t INFO_SIZE = 160;
constexpr std::size_t ENTRY_SIZE = 32;
// A node on every fourth level starts a hierarchy page of its own when its subtree is this large,
// so that a reader fetches the part of the hierarchy it looks at, not all of it.
constexpr std::size_t PAGE_LEVELS = 4;
constexpr std::size_t PAGE_MINIMUM_NODES = 64;

template <typename T>
void put(std::string& bytes, std::size_t at, T value)
{
    std::memcpy(bytes.data() + at, &value, sizeof(T));
}

void putText(std::string& bytes, std::size_t at, std::string_view text, std::size_t size)
{
    std::memcpy(bytes.data() + at, text.data(), std::min(text.size(), size));
}

std::string record(std::string_view user, std::uint16_t id, std::string_view description, std::string_view data)
{
    std::string bytes(RECORD_HEADER_SIZE, '\0');
    putText(bytes, 2, user, 16);
    put<std::uint16_t>(bytes, 18, id);
    put<std::uint16_t>(bytes, 20, static_cast<std::uint16_t>(data.size()));
    putText(bytes, 22, description, 32);
    return bytes.append(data);
}

std::string extendedRecord(std::string_view user, std::uint16_t id, std::string_view description, std::string_view data)
{
    std::string bytes(EXTENDED_RECORD_HEADER_SIZE, '\0');
    putText(bytes, 2, user, 16);
    put<std::uint16_t>(bytes, 18, id);
    put<std::uint64_t>(bytes, 20, data.size());
    putText(bytes, 28, description, 32);
    return bytes.append(data);
}

bool wktFitsRecord(const std::string& wkt)
{
    return wkt.size() + 1 <= std::numeric_limits<std::uint16_t>::max();
}

} // namespace

CopcWriter::CopcWriter(const std::filesystem::path& file, const InputSet& inputs, std::string laszipRecord)
    : mFile(file), mInputs(inputs), mLaszipRecord(std::move(laszipRecord))
{
    mOut.open(file, std::ios::binary | std::ios::trunc);
    if (!mOut) {
        throw std::runtime_error("cannot create " + file.string());
    }
    const std::string placeholder = head();
    mPointDataOffset = placeholder.size();
    write(placeholder);
    write(std::string(8, '\0')); // the chunk table's offset, known at the end
}

void CopcWriter::write(std::string_view bytes)
{
    mOut.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (!mOut) {
        throw std::runtime_error("cannot write " + mFile.string() + " (is the disk full?)");
    }
    mPosition += bytes.size();
}

void CopcWriter::addNode(OctreeNodeId node, std::uint32_t pointCount, std::string_view chunk, const PointStats& stats)
{
    std::lock_guard lock(mMutex);
    mEntries[node] = Entry{mPosition, static_cast<std::int32_t>(chunk.size()), static_cast<std::int32_t>(pointCount)};
    mChunks.push_back({pointCount, static_cast<std::uint32_t>(chunk.size())});
    mStats.merge(stats);
    write(chunk);
}

void CopcWriter::addEmptyNode(OctreeNodeId node)
{
    std::lock_guard lock(mMutex);
    mEntries[node] = Entry{};
}

std::size_t CopcWriter::nodeCount() const
{
    std::lock_guard lock(mMutex);
    return mEntries.size();
}

std::uint64_t CopcWriter::pointCount() const
{
    std::lock_guard lock(mMutex);
    return mStats.count;
}

std::string CopcWriter::head() const
{
    std::string header(LAS_HEADER_SIZE, '\0');
    std::memcpy(header.data(), "LASF", 4);
    put<std::uint16_t>(header, 6, static_cast<std::uint16_t>(mInputs.globalEncoding | 16u)); // WKT
    header[24] = 1;
    header[25] = 4;
    putText(header, 26, "LumaroRender", 32);
    putText(header, 58, "lumaro index", 32);
    const auto today = std::chrono::floor<std::chrono::days>(std::chrono::system_clock::now());
    const std::chrono::year_month_day date{today};
    const auto dayOfYear = (today - std::chrono::sys_days{date.year() / 1 / 1}).count() + 1;
    put<std::uint16_t>(header, 90, static_cast<std::uint16_t>(dayOfYear));
    put<std::uint16_t>(header, 92, static_cast<std::uint16_t>(static_cast<int>(date.year())));
    put<std::uint16_t>(header, 94, static_cast<std::uint16_t>(LAS_HEADER_SIZE));

    const Cube& cube = mInputs.cube;
    std::string info(INFO_SIZE, '\0');
    for (int axis = 0; axis < 3; ++axis) {
        put<double>(info, 8 * axis, cube.minimum[axis] + cube.edge / 2);
    }
    put<double>(info, 24, cube.edge / 2);
    put<double>(info, 32, cube.edge / GridSampler::CELLS_PER_EDGE);
    put<std::uint64_t>(info, 40, mRootPageOffset);
    put<std::uint64_t>(info, 48, mRootPageSize);
    const bool anyPoints = mStats.count > 0;
    put<double>(info, 56, anyPoints ? mStats.gpsTimeMinimum : 0.0);
    put<double>(info, 64, anyPoints ? mStats.gpsTimeMaximum : 0.0);

    std::string records =
        record("copc", 1, "COPC info", info) + record("laszip encoded", 22204, "LASzip", mLaszipRecord);
    std::uint32_t recordCount = 2;
    if (!mInputs.wkt.empty() && wktFitsRecord(mInputs.wkt)) {
        records += record("LASF_Projection", 2112, "coordinate system (WKT)", mInputs.wkt + '\0');
        ++recordCount;
    }
    if (!mInputs.extraBytesRecord.empty()) {
        records += record("LASF_Spec", 4, "extra bytes", mInputs.extraBytesRecord);
        ++recordCount;
    }
    put<std::uint32_t>(header, 96, static_cast<std::uint32_t>(LAS_HEADER_SIZE + records.size()));
    put<std::uint32_t>(header, 100, recordCount);
    header[104] = static_cast<char>(0x80u | mInputs.layout.format); // the LAZ convention for compressed points
    put<std::uint16_t>(header, 105, static_cast<std::uint16_t>(mInputs.layout.recordLength()));
    for (int axis = 0; axis < 3; ++axis) {
        const double scale = mInputs.scale[axis];
        const double offset = mInputs.offset[axis];
        put<double>(header, 131 + 8 * axis, scale);
        put<double>(header, 155 + 8 * axis, offset);
        put<double>(header, 179 + 16 * axis, anyPoints ? mStats.maximum[axis] * scale + offset : 0.0);
        put<double>(header, 187 + 16 * axis, anyPoints ? mStats.minimum[axis] * scale + offset : 0.0);
    }
    put<std::uint64_t>(header, 235, mEvlrStart);
    put<std::uint32_t>(header, 243,
                       mEvlrStart == 0 ? 0u : (!mInputs.wkt.empty() && !wktFitsRecord(mInputs.wkt) ? 2u : 1u));
    put<std::uint64_t>(header, 247, mStats.count);
    for (std::size_t r = 0; r < mStats.byReturn.size(); ++r) {
        put<std::uint64_t>(header, 255 + 8 * r, mStats.byReturn[r]);
    }
    return header + records;
}

std::string CopcWriter::hierarchyPages(std::uint64_t dataStart, std::uint64_t& rootOffset,
                                       std::uint64_t& rootSize) const
{
    std::map<OctreeNodeId, std::vector<OctreeNodeId>> children;
    for (const auto& [node, entry] : mEntries) {
        if (!node.isRoot()) {
            if (!mEntries.contains(node.parent())) {
                throw std::logic_error("the hierarchy lists node " + node.name() + " but not its parent");
            }
            children[node.parent()].push_back(node);
        }
    }
    std::map<OctreeNodeId, std::size_t> subtreeSizes;
    std::function<std::size_t(OctreeNodeId)> subtreeSize = [&](OctreeNodeId node) {
        std::size_t size = 1;
        for (const OctreeNodeId child : children[node]) {
            size += subtreeSize(child);
        }
        return subtreeSizes[node] = size;
    };
    subtreeSize(OctreeNodeId::root());

    std::string data;
    std::function<std::pair<std::uint64_t, std::uint64_t>(OctreeNodeId)> writePage = [&](OctreeNodeId pageRoot) {
        std::string page;
        auto addEntry = [&page](OctreeNodeId node, const Entry& entry) {
            const Entwine::Key key = Entwine::Key::of(node);
            std::string bytes(ENTRY_SIZE, '\0');
            put<std::int32_t>(bytes, 0, static_cast<std::int32_t>(key.depth));
            put<std::int32_t>(bytes, 4, static_cast<std::int32_t>(key.x));
            put<std::int32_t>(bytes, 8, static_cast<std::int32_t>(key.y));
            put<std::int32_t>(bytes, 12, static_cast<std::int32_t>(key.z));
            put<std::uint64_t>(bytes, 16, entry.offset);
            put<std::int32_t>(bytes, 24, entry.byteSize);
            put<std::int32_t>(bytes, 28, entry.pointCount);
            page += bytes;
        };
        std::function<void(OctreeNodeId)> visit = [&](OctreeNodeId node) {
            addEntry(node, mEntries.at(node));
            for (const OctreeNodeId child : children[node]) {
                if (child.level() % PAGE_LEVELS == 0 && subtreeSizes[child] > PAGE_MINIMUM_NODES) {
                    const auto [offset, size] = writePage(child);
                    addEntry(child, Entry{offset, static_cast<std::int32_t>(size), -1});
                } else {
                    visit(child);
                }
            }
        };
        visit(pageRoot);
        const std::uint64_t offset = dataStart + data.size();
        data += page;
        return std::pair<std::uint64_t, std::uint64_t>(offset, page.size());
    };
    std::tie(rootOffset, rootSize) = writePage(OctreeNodeId::root());
    return data;
}

void CopcWriter::finish()
{
    std::lock_guard lock(mMutex);
    const std::uint64_t tableOffset = mPosition;
    write(encodeChunkTable(mChunks));
    mEvlrStart = mPosition;
    const std::string pages = hierarchyPages(mEvlrStart + EXTENDED_RECORD_HEADER_SIZE, mRootPageOffset, mRootPageSize);
    write(extendedRecord("copc", 1000, "EPT hierarchy", pages));
    if (!mInputs.wkt.empty() && !wktFitsRecord(mInputs.wkt)) {
        write(extendedRecord("LASF_Projection", 2112, "coordinate system (WKT)", mInputs.wkt + '\0'));
    }
    const std::string finalHead = head();
    if (finalHead.size() != mPointDataOffset) {
        throw std::logic_error("the header of " + mFile.string() + " changed its size");
    }
    mOut.seekp(0);
    mOut.write(finalHead.data(), static_cast<std::streamsize>(finalHead.size()));
    mOut.write(reinterpret_cast<const char*>(&tableOffset), sizeof tableOffset);
    mOut.close();
    if (!mOut) {
        throw std::runtime_error("cannot write " + mFile.string() + " (is the disk full?)");
    }
}

} // namespace Index
