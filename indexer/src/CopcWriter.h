#pragma once

#include "ChunkTable.h"
#include "InputSet.h"
#include "PointStats.h"

#include <lumaro/octree/OctreeNodeId.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace Index {

// Writes the COPC file: a header and records with placeholders first, then node chunks as they
// are ready (from any thread, in any order), and at the end the LAZ chunk table, the hierarchy
// pages in one extended record, and the header and COPC record with the final counts, bounds and
// offsets.
class CopcWriter {
public:
    CopcWriter(const std::filesystem::path& file, const InputSet& inputs, std::string laszipRecord);

    void addNode(Octree::OctreeNodeId node, std::uint32_t pointCount, std::string_view chunk, const PointStats& stats);
    // A node without points of its own whose descendants have some.
    void addEmptyNode(Octree::OctreeNodeId node);

    std::size_t nodeCount() const;
    std::uint64_t pointCount() const;

    // Throws std::runtime_error naming the file when it cannot be written.
    void finish();

private:
    struct Entry {
        std::uint64_t offset = 0;
        std::int32_t byteSize = 0;
        std::int32_t pointCount = 0;
    };

    std::string head() const;
    std::string hierarchyPages(std::uint64_t dataStart, std::uint64_t& rootOffset, std::uint64_t& rootSize) const;
    void write(std::string_view bytes);

    std::filesystem::path mFile;
    const InputSet& mInputs;
    std::string mLaszipRecord;
    std::ofstream mOut;
    mutable std::mutex mMutex;
    std::uint64_t mPosition = 0;
    std::uint64_t mPointDataOffset = 0;
    std::map<Octree::OctreeNodeId, Entry> mEntries;
    std::vector<ChunkTableEntry> mChunks;
    PointStats mStats;
    std::uint64_t mEvlrStart = 0;
    std::uint64_t mRootPageOffset = 0;
    std::uint64_t mRootPageSize = 0;
};

} // namespace Index
