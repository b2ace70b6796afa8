#include <lumaro/testsupport/CopcFileWriter.h>

// LASzip's header declares its stream functions with unqualified std names after a
// using-directive, so it stays confined to this file.
#include <laszip/laszip_api.h>

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

template <typename T>
T get(const std::string& bytes, std::size_t at)
{
    T value;
    std::memcpy(&value, bytes.data() + at, sizeof(T));
    return value;
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

std::size_t baseRecordLength(unsigned format) { return format == 6 ? 30 : format == 7 ? 36 : 38; }

struct Compressed {
    std::string chunk;
    std::string laszipRecord;
    std::string extraBytesRecord;
};

void check(laszip_POINTER writer, laszip_I32 status, const char* action)
{
    if (status != 0) {
        laszip_CHAR* message = nullptr;
        laszip_get_error(writer, &message);
        throw std::runtime_error(std::string("LASzip cannot ") + action + ": " + (message ? message : "no details"));
    }
}

// LASzip writes whole LAZ files; one with a chunk size of at least its point count holds exactly
// one chunk, which is cut out of it together with the records a reader needs.
Compressed compress(const std::vector<CopcPoint>& points, const CopcLayout& layout)
{
    laszip_POINTER writer = nullptr;
    if (laszip_create(&writer) != 0) {
        throw std::runtime_error("cannot create a LASzip writer");
    }
    std::ostringstream out(std::ios::binary);
    try {
        laszip_header* header = nullptr;
        check(writer, laszip_get_header_pointer(writer, &header), "give the header");
        header->version_major = 1;
        header->version_minor = 4;
        header->header_size = 375;
        header->offset_to_point_data = 375;
        header->point_data_format = static_cast<laszip_U8>(layout.pointFormat);
        header->point_data_record_length =
            static_cast<laszip_U16>(baseRecordLength(layout.pointFormat) + (layout.normals ? 12 : 0));
        header->x_scale_factor = layout.scale[0];
        header->y_scale_factor = layout.scale[1];
        header->z_scale_factor = layout.scale[2];
        header->x_offset = layout.offset[0];
        header->y_offset = layout.offset[1];
        header->z_offset = layout.offset[2];
        header->extended_number_of_point_records = points.size();
        if (layout.normals) {
            for (const char* name : {"NormalX", "NormalY", "NormalZ"}) {
                check(writer, laszip_add_attribute(writer, 8 /* float */, name, "", 1.0, 0.0), "add an attribute");
            }
        }
        check(writer, laszip_request_native_extension(writer, 1), "use layered chunks");
        check(writer, laszip_set_chunk_size(writer, static_cast<laszip_U32>(std::max<std::size_t>(points.size(), 1))),
              "set the chunk size");
        check(writer, laszip_open_writer_stream(writer, out, 1, 0), "open the stream");
        laszip_point* point = nullptr;
        check(writer, laszip_get_point_pointer(writer, &point), "give the point");
        for (const CopcPoint& p : points) {
            point->X = p.stored[0];
            point->Y = p.stored[1];
            point->Z = p.stored[2];
            point->intensity = p.intensity;
            point->extended_return_number = 1;
            point->extended_number_of_returns = 1;
            point->return_number = 1;
            point->number_of_returns = 1;
            point->extended_classification = p.classification;
            point->classification = 0; // the extended field holds it
            point->point_source_ID = p.pointSource;
            point->rgb[0] = p.rgb[0];
            point->rgb[1] = p.rgb[1];
            point->rgb[2] = p.rgb[2];
            point->rgb[3] = p.nir;
            if (layout.normals) {
                std::memcpy(point->extra_bytes, p.normal.data(), 12);
            }
            check(writer, laszip_write_point(writer), "write a point");
        }
        check(writer, laszip_close_writer(writer), "close the stream");
    } catch (...) {
        laszip_destroy(writer);
        throw;
    }
    laszip_destroy(writer);

    const std::string laz = out.str();
    Compressed result;
    std::size_t at = get<std::uint16_t>(laz, 94);
    for (std::uint32_t r = 0; r < get<std::uint32_t>(laz, 100); ++r) {
        const std::string user(laz.data() + at + 2, strnlen(laz.data() + at + 2, 16));
        const auto id = get<std::uint16_t>(laz, at + 18);
        const std::string data = laz.substr(at + 54, get<std::uint16_t>(laz, at + 20));
        if (user == "laszip encoded" && id == 22204) {
            result.laszipRecord = data;
        } else if (user == "LASF_Spec" && id == 4) {
            result.extraBytesRecord = data;
        }
        at += 54 + data.size();
    }
    const std::uint32_t pointData = get<std::uint32_t>(laz, 96);
    std::int64_t table = get<std::int64_t>(laz, pointData);
    if (table == -1) {
        table = get<std::int64_t>(laz, laz.size() - 8);
    }
    result.chunk = laz.substr(pointData + 8, static_cast<std::size_t>(table) - pointData - 8);
    return result;
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

    std::string records = record("copc", 1, std::string(160, '\0'), false) + record("laszip encoded", 22204, laszip, false);
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
    put<std::uint16_t>(header, 105, static_cast<std::uint16_t>(baseRecordLength(layout.pointFormat) + (layout.normals ? 12 : 0)));
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
