#include "InputSet.h"

#include <lumaro/core/ReadLocalFile.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>
#include <limits>
#include <stdexcept>
#include <system_error>

namespace Index {

namespace {

constexpr std::size_t EXTENDED_RECORD_HEADER_SIZE = 60;
// Header and records beyond this are no LAS file's.
constexpr std::uint64_t MAX_HEADER_BYTES = std::uint64_t{64} << 20;

std::string formatText(unsigned format)
{
    return "format " + std::to_string(format);
}

// A WKT coordinate system in an extended record of a LAS 1.4 file.
std::string extendedWkt(const InputFile& input)
{
    const LasHeader& header = input.header;
    std::uint64_t at = header.extendedRecordsStart;
    for (std::uint32_t r = 0; r < header.extendedRecordCount; ++r) {
        if (at < header.pointDataOffset || at + EXTENDED_RECORD_HEADER_SIZE > input.size) {
            return {}; // damaged extended records hold no coordinate system we can trust
        }
        const std::string record = Core::readLocalFileRange(input.path, at, EXTENDED_RECORD_HEADER_SIZE);
        std::uint64_t length = 0;
        std::memcpy(&length, record.data() + 20, 8);
        std::uint16_t id = 0;
        std::memcpy(&id, record.data() + 18, 2);
        if (length > input.size - at - EXTENDED_RECORD_HEADER_SIZE) {
            return {};
        }
        if (std::string_view(record.data() + 2, 15) == "LASF_Projection" && id == 2112 && length < MAX_HEADER_BYTES) {
            const std::string wkt = Core::readLocalFileRange(input.path, at + EXTENDED_RECORD_HEADER_SIZE, length);
            return wkt.substr(0, wkt.find('\0'));
        }
        at += EXTENDED_RECORD_HEADER_SIZE + length;
    }
    return {};
}

// LASzip trusts the chunk table's offset; a truncated file must not reach it.
void checkChunkTable(const InputFile& input)
{
    const std::uint64_t start = input.header.pointDataOffset;
    if (start + 8 > input.size) {
        throw std::runtime_error(input.name
                                 + ": the file ends where its compressed points should start; it is truncated");
    }
    std::int64_t table = 0;
    std::memcpy(&table, Core::readLocalFileRange(input.path, start, 8).data(), 8);
    if (table == -1 && input.size >= start + 16) {
        std::memcpy(&table, Core::readLocalFileRange(input.path, input.size - 8, 8).data(), 8);
    }
    if (table < static_cast<std::int64_t>(start + 8) || static_cast<std::uint64_t>(table) + 8 > input.size) {
        throw std::runtime_error(input.name + ": its LAZ chunk table is said to lie at byte " + std::to_string(table)
                                 + ", outside the file of " + std::to_string(input.size)
                                 + " bytes; it is truncated or corrupt");
    }
}

InputFile openInput(const std::filesystem::path& path)
{
    InputFile input;
    input.path = path;
    input.name = path.string();
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error)) {
        throw std::runtime_error(input.name + ": no such file");
    }
    input.size = std::filesystem::file_size(path, error);
    if (error) {
        throw std::runtime_error(input.name + ": cannot read its size: " + error.message());
    }
    const std::string start =
        Core::readLocalFileRange(path, 0, std::min<std::uint64_t>(input.size, LasHeader::FIXED_PART));
    const std::uint64_t needed = LasHeader::bytesNeeded(start, input.size, input.name);
    if (needed > MAX_HEADER_BYTES) {
        throw std::runtime_error(input.name + ": its header and records claim " + std::to_string(needed)
                                 + " bytes; it is not a LAS file we can read");
    }
    input.header = LasHeader::parse(Core::readLocalFileRange(path, 0, needed), input.size, input.name);
    if (input.header.compressed) {
        checkChunkTable(input);
    }
    if (input.header.wkt.empty() && input.header.extendedRecordCount > 0) {
        input.header.wkt = extendedWkt(input);
    }
    return input;
}

// Whether `value` is a whole multiple of `step`, up to rounding of the decimal values involved.
bool isMultiple(double value, double step, std::int64_t& multiple)
{
    const double ratio = value / step;
    const double rounded = std::round(ratio);
    if (std::abs(ratio - rounded) > std::max(1e-6, 1e-12 * std::abs(ratio))) {
        return false;
    }
    multiple = static_cast<std::int64_t>(rounded);
    return true;
}

// One grid for every input: the finest scale on each axis, which every coarser one must be a
// whole multiple of, and the first input's offset on it, which every other offset must lie on.
void chooseGrid(InputSet& set)
{
    for (int axis = 0; axis < 3; ++axis) {
        set.scale[axis] = set.files.front().header.scale[axis];
        for (const InputFile& input : set.files) {
            set.scale[axis] = std::min(set.scale[axis], input.header.scale[axis]);
        }
        const InputFile* finest = &*std::find_if(set.files.begin(), set.files.end(), [&](const InputFile& input) {
            return input.header.scale[axis] == set.scale[axis];
        });
        set.offset[axis] = finest->header.offset[axis];
        static constexpr const char* axisNames[] = {"x", "y", "z"};
        for (InputFile& input : set.files) {
            std::int64_t factor = 1;
            std::int64_t shift = 0;
            if (!isMultiple(input.header.scale[axis], set.scale[axis], factor) || factor < 1
                || !isMultiple(input.header.offset[axis] - set.offset[axis], set.scale[axis], shift)) {
                throw std::runtime_error("the inputs cannot share one coordinate grid: " + input.name + " has the "
                                         + axisNames[axis] + " scale " + std::to_string(input.header.scale[axis])
                                         + " and offset " + std::to_string(input.header.offset[axis]) + ", "
                                         + finest->name + " the scale " + std::to_string(set.scale[axis])
                                         + " and offset " + std::to_string(set.offset[axis])
                                         + "; convert them to one scale and offset first");
            }
            input.grid.factor[axis] = factor;
            input.grid.shift[axis] = shift;
            if (input.header.pointCount == 0) {
                continue;
            }
            // The header's bounds on the output grid, a step wider for rounding.
            input.lowest[axis] =
                static_cast<std::int64_t>(std::floor((input.header.minimum[axis] - set.offset[axis]) / set.scale[axis]))
                - 1;
            input.highest[axis] =
                static_cast<std::int64_t>(std::ceil((input.header.maximum[axis] - set.offset[axis]) / set.scale[axis]))
                + 1;
            for (const double bound : {input.header.minimum[axis], input.header.maximum[axis]}) {
                const double stored = (bound - set.offset[axis]) / set.scale[axis];
                if (std::abs(stored) > std::numeric_limits<std::int32_t>::max() - 2.0) {
                    throw std::runtime_error("the inputs cannot share one coordinate grid: the points of " + input.name
                                             + " lie too far from the offset of " + finest->name);
                }
            }
        }
    }
}

void chooseLayout(InputSet& set, const std::function<void(const std::string&)>& warn)
{
    const InputFile& first = set.files.front();
    bool anyGpsTime = false;
    for (const InputFile& input : set.files) {
        const LasHeader& header = input.header;
        const unsigned format = header.pointFormat;
        if (lasFormatHasColor(format) != lasFormatHasColor(first.header.pointFormat)) {
            const InputFile& colored = lasFormatHasColor(format) ? input : first;
            const InputFile& plain = lasFormatHasColor(format) ? first : input;
            throw std::runtime_error("the inputs cannot share a point format: " + colored.name + " has colours ("
                                     + formatText(colored.header.pointFormat) + "), " + plain.name + " has none ("
                                     + formatText(plain.header.pointFormat) + ")");
        }
        if (lasFormatHasNearInfrared(format) != lasFormatHasNearInfrared(first.header.pointFormat)) {
            const InputFile& nir = lasFormatHasNearInfrared(format) ? input : first;
            const InputFile& plain = lasFormatHasNearInfrared(format) ? first : input;
            throw std::runtime_error("the inputs cannot share a point format: " + nir.name + " has near infrared ("
                                     + formatText(nir.header.pointFormat) + "), " + plain.name + " has none ("
                                     + formatText(plain.header.pointFormat) + ")");
        }
        if (header.extraBytes() != first.header.extraBytes()
            || (!header.extraBytesRecord.empty() && !first.header.extraBytesRecord.empty()
                && header.extraBytesRecord != first.header.extraBytesRecord)) {
            throw std::runtime_error(
                "the inputs cannot share a point format: " + input.name + " has " + std::to_string(header.extraBytes())
                + " extra bytes per point, " + first.name + " has " + std::to_string(first.header.extraBytes())
                + (header.extraBytes() == first.header.extraBytes() ? ", described differently" : ""));
        }
        if (lasFormatHasGpsTime(format)) {
            if (anyGpsTime && header.gpsTimeIsStandard() != ((set.globalEncoding & 1u) != 0)) {
                throw std::runtime_error(
                    "the inputs cannot share a point format: " + input.name
                    + " counts GPS time differently (standard or week seconds) from the inputs before it");
            }
            anyGpsTime = true;
            set.globalEncoding = static_cast<std::uint16_t>(header.globalEncoding & 1u);
        }
        if (lasFormatHasWaveform(format)) {
            warn(input.name + ": its waveform packets (" + formatText(format) + ") are not carried into the COPC file");
        }
        if (set.extraBytesRecord.empty()) {
            set.extraBytesRecord = header.extraBytesRecord;
        }
        if (!header.wkt.empty()) {
            if (set.wkt.empty()) {
                set.wkt = header.wkt;
            } else if (header.wkt != set.wkt) {
                warn(input.name
                     + ": its coordinate system differs from that of the inputs before it; the first is carried");
            }
        } else if (header.hasGeoTiffKeys) {
            warn(input.name
                 + ": its coordinate system is given only as GeoTIFF keys and is not carried into the COPC file");
        }
        set.pointCount += header.pointCount;
    }
    const unsigned format = first.header.pointFormat;
    set.layout.format = lasFormatHasNearInfrared(format) ? 8 : lasFormatHasColor(format) ? 7 : 6;
    set.layout.extraBytes = first.header.extraBytes();
}

// A cube around every input's header bounds, a few grid steps larger on each side so that
// points rounded onto a bound stay inside.
void chooseCube(InputSet& set)
{
    std::array<double, 3> low{};
    std::array<double, 3> high{};
    low.fill(std::numeric_limits<double>::max());
    high.fill(std::numeric_limits<double>::lowest());
    for (const InputFile& input : set.files) {
        if (input.header.pointCount == 0) {
            continue;
        }
        for (int axis = 0; axis < 3; ++axis) {
            low[axis] = std::min(low[axis], input.header.minimum[axis]);
            high[axis] = std::max(high[axis], input.header.maximum[axis]);
        }
    }
    const double margin = 2 * std::max({set.scale[0], set.scale[1], set.scale[2]});
    double extent = 0;
    for (int axis = 0; axis < 3; ++axis) {
        extent = std::max(extent, high[axis] - low[axis]);
        set.cube.minimum[axis] = low[axis] - margin;
    }
    set.cube.edge = extent + 2 * margin;
}

} // namespace

InputSet InputSet::open(const std::vector<std::filesystem::path>& paths,
                        const std::function<void(const std::string&)>& warn)
{
    if (paths.empty()) {
        throw std::invalid_argument("no input files given");
    }
    InputSet set;
    for (const std::filesystem::path& path : paths) {
        set.files.push_back(openInput(path));
    }
    chooseLayout(set, warn);
    if (set.pointCount == 0) {
        throw std::runtime_error("the inputs hold no points");
    }
    chooseGrid(set);
    chooseCube(set);
    return set;
}

} // namespace Index
