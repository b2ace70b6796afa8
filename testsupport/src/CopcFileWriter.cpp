#include <lumaro/testsupport/CopcFileWriter.h>

#include <lumaro/indexer/LazChunkCompressor.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <limits>
#include <map>
#include <sstream>
#include <stdexcept>

namespace TestSupport {

namespace {

struct Key {
    int depth = 0;
    int x = 0;
    int y = 0;
    int z = 0;

    static Key parse(const std::string& text)
    {
        Key key;
        char dash = 0;
        std::istringstream in(text);
        in >> key.depth >> dash >> key.x >> dash >> key.y >> dash >> key.z;
        if (!in) {
            throw std::invalid_argument("not a COPC key: " + text);
        }
        return key;
    }
    Key ancestor(int level) const
    {
        const int shift = depth - level;
        return {level, x >> shift, y >> shift, z >> shift};
    }
    friend auto operator<=>(const Key&, const Key&) = default;
};

template <typename T>
void put(std::string& bytes, std::size_t at, T value)
{
    std::memcpy(bytes.data() + at, &value, sizeof(T));
}

std::string record(const char* user, std::uint16_t id, const std::string& data, bool extended)
{
    std::string bytes(extended ? 60 : 54, '\0');
    std::memcpy(bytes.data() + 2, user, std::strlen(user));
    put<std::uint16_t>(bytes, 18, id);
    if (extended) {
        put<std::uint64_t>(bytes, 20, data.size());
    } else {
        put<std::uint16_t>(bytes, 20, static_cast<std::uint16_t>(data.size()));
    }
    return bytes + data;
}

std::size_t baseRecordLength(unsigned format)
{
    return format == 6 ? 30 : format == 7 ? 36 : 38;
}

struct Compressed {
    std::string chunk;
    std::string laszipRecord;
    std::string extraBytesRecord;
};

// The extra-bytes description of the three float normals.
std::string normalsRecord()
{
    std::string record;
    for (const char* name : {"NormalX", "NormalY", "NormalZ"}) {
        std::string entry(192, '\0');
        entry[2] = 9; // float
        std::memcpy(entry.data() + 4, name, std::strlen(name));
        record += entry;
    }
    return record;
}

// Each node's points as LAS 1.4 records of the layout, compressed into one chunk by the
// indexer's compressor.
Compressed compress(const std::vector<CopcPoint>& points, const CopcLayout& layout)
{
    const Index::LazChunkCompressor compressor(layout.pointFormat, layout.normals ? 12 : 0);
    const std::size_t length = compressor.recordLength();
    std::string records(points.size() * length, '\0');
    for (std::size_t i = 0; i < points.size(); ++i) {
        const CopcPoint& p = points[i];
        char* record = records.data() + i * length;
        std::memcpy(record, p.stored.data(), 12);
        std::memcpy(record + 12, &p.intensity, 2);
        record[14] = 0x11; // return 1 of 1
        record[16] = static_cast<char>(p.classification);
        std::memcpy(record + 20, &p.pointSource, 2);
        if (layout.pointFormat >= 7) {
            std::memcpy(record + 30, p.rgb.data(), 6);
        }
        if (layout.pointFormat == 8) {
            std::memcpy(record + 36, &p.nir, 2);
        }
        if (layout.normals) {
            std::memcpy(record + baseRecordLength(layout.pointFormat), p.normal.data(), 12);
        }
    }
    return Compressed{compressor.compress(records, points.size()), compressor.laszipRecord(),
                      layout.normals ? normalsRecord() : std::string()};
}

struct Entry {
    Key key;
    std::uint64_t offset = 0;
    std::int32_t size = 0;
    std::int32_t count = 0;
};

std::string pageBytes(const std::vector<Entry>& entries)
{
    std::string page(32 * entries.size(), '\0');
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const Entry& e = entries[i];
        put<std::int32_t>(page, 32 * i, e.key.depth);
        put<std::int32_t>(page, 32 * i + 4, e.key.x);
        put<std::int32_t>(page, 32 * i + 8, e.key.y);
        put<std::int32_t>(page, 32 * i + 12, e.key.z);
        put<std::uint64_t>(page, 32 * i + 16, e.offset);
        put<std::int32_t>(page, 32 * i + 24, e.size);
        put<std::int32_t>(page, 32 * i + 28, e.count);
    }
    return page;
}

} // namespace

void writeCopcFile(const std::filesystem::path& file, const std::vector<CopcNode>& nodes, const CopcLayout& layout)
{
    // Chunks first, to learn the LASzip record and where each chunk lands.
    std::vector<Compressed> chunks;
    for (const CopcNode& node : nodes) {
        chunks.push_back(compress(node.points, layout));
    }
    const Compressed& any = chunks.empty() ? compress({}, layout) : chunks.front();
    std::string laszip = any.laszipRecord;
    put<std::uint32_t>(laszip, 12, layout.chunkSize);

    std::string records =
        record("copc", 1, std::string(160, '\0'), false) + record("laszip encoded", 22204, laszip, false);
    std::uint32_t recordCount = 2;
    if (!any.extraBytesRecord.empty()) {
        records += record("LASF_Spec", 4, any.extraBytesRecord, false);
        ++recordCount;
    }
    const std::size_t pointData = 375 + records.size();

    std::map<Key, Entry> entries;
    std::string body;
    std::uint64_t total = 0;
    std::array<double, 3> low{std::numeric_limits<double>::max(), std::numeric_limits<double>::max(),
                              std::numeric_limits<double>::max()};
    std::array<double, 3> high{std::numeric_limits<double>::lowest(), std::numeric_limits<double>::lowest(),
                               std::numeric_limits<double>::lowest()};
    for (std::size_t n = nodes.size(); n-- > 0;) {
        const Key key = Key::parse(nodes[n].key);
        entries[key] = Entry{key, pointData + 8 + body.size(), static_cast<std::int32_t>(chunks[n].chunk.size()),
                             static_cast<std::int32_t>(nodes[n].points.size())};
        body += chunks[n].chunk;
        total += nodes[n].points.size();
        for (const CopcPoint& p : nodes[n].points) {
            for (int axis = 0; axis < 3; ++axis) {
                const double world = p.stored[axis] * layout.scale[axis] + layout.offset[axis];
                low[axis] = std::min(low[axis], world);
                high[axis] = std::max(high[axis], world);
            }
        }
    }
    for (const std::string& empty : layout.emptyKeys) {
        entries[Key::parse(empty)] = Entry{Key::parse(empty), 0, 0, 0};
    }

    // Each entry belongs to the page of its nearest page root; child pages go first.
    std::vector<Key> pageRoots;
    for (const std::string& root : layout.pageRoots) {
        pageRoots.push_back(Key::parse(root));
        if (!entries.contains(pageRoots.back())) {
            entries[pageRoots.back()] = Entry{pageRoots.back(), 0, 0, 0};
        }
    }
    std::sort(pageRoots.begin(), pageRoots.end(), [](const Key& a, const Key& b) { return a.depth > b.depth; });
    pageRoots.push_back(Key{});
    auto pageOf = [&](const Key& key, bool strictlyAbove) {
        for (int level = key.depth - (strictlyAbove ? 1 : 0); level > 0; --level) {
            if (std::find(pageRoots.begin(), pageRoots.end(), key.ancestor(level)) != pageRoots.end()) {
                return key.ancestor(level);
            }
        }
        return Key{};
    };
    const std::uint64_t evlrStart = pointData + 8 + body.size();
    std::string pages;
    std::map<Key, Entry> pagePointers;
    std::uint64_t rootPage = 0;
    std::uint64_t rootSize = 0;
    for (const Key& root : pageRoots) {
        std::vector<Entry> page;
        for (const auto& [key, entry] : entries) {
            if (pageOf(key, false) == root) {
                page.push_back(entry);
            }
        }
        for (const auto& [key, pointer] : pagePointers) {
            if (pageOf(key, true) == root && !(key == root)) {
                page.push_back(pointer);
            }
        }
        const std::string bytes = pageBytes(page);
        const std::uint64_t offset = evlrStart + 60 + pages.size();
        pagePointers[root] = Entry{root, offset, static_cast<std::int32_t>(bytes.size()), -1};
        pages += bytes;
        rootPage = offset;
        rootSize = bytes.size();
    }

    std::string info(160, '\0');
    for (int axis = 0; axis < 3; ++axis) {
        put<double>(info, 8 * axis, layout.center[axis]);
    }
    put<double>(info, 24, layout.halfSize);
    put<double>(info, 32, layout.spacing);
    put<std::uint64_t>(info, 40, rootPage);
    put<std::uint64_t>(info, 48, rootSize);
    records.replace(54, 160, info);

    std::string header(375, '\0');
    std::memcpy(header.data(), "LASF", 4);
    header[24] = 1;
    header[25] = 4;
    put<std::uint16_t>(header, 94, 375);
    put<std::uint32_t>(header, 96, static_cast<std::uint32_t>(pointData));
    put<std::uint32_t>(header, 100, recordCount);
    header[104] = static_cast<char>(layout.pointFormat | 0x80u);
    put<std::uint16_t>(header, 105,
                       static_cast<std::uint16_t>(baseRecordLength(layout.pointFormat) + (layout.normals ? 12 : 0)));
    for (int axis = 0; axis < 3; ++axis) {
        put<double>(header, 131 + 8 * axis, layout.scale[axis]);
        put<double>(header, 155 + 8 * axis, layout.offset[axis]);
        put<double>(header, 179 + 16 * axis, total ? high[axis] : 0.0);
        put<double>(header, 187 + 16 * axis, total ? low[axis] : 0.0);
    }
    put<std::uint64_t>(header, 235, evlrStart);
    put<std::uint32_t>(header, 243, 1);
    put<std::uint64_t>(header, 247, total);

    std::string tablePointer(8, '\0');
    put<std::uint64_t>(tablePointer, 0, evlrStart); // no chunk table: COPC readers do not need it
    std::ofstream out(file, std::ios::binary);
    out << header << records << tablePointer << body << record("copc", 1000, pages, true);
    if (!out) {
        throw std::runtime_error("cannot write " + file.string());
    }
}

} // namespace TestSupport
