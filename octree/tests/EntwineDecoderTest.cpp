#include <lumaro/octree/OperationCancelled.h>
#include <lumaro/octree/entwine/BinaryDecoder.h>
#include <lumaro/octree/entwine/LaszipDecoder.h>
#include <lumaro/octree/entwine/Metadata.h>
#include <lumaro/octree/entwine/ZstandardDecoder.h>

#include <lumaro/core/ReadLocalFile.h>

#include <lumaro/testsupport/EptStoreWriter.h>
#include <lumaro/testsupport/FailureOf.h>
#include <lumaro/testsupport/LasReader.h>
#include <lumaro/testsupport/SyntheticLas.h>
#include <lumaro/testsupport/TemporaryFolder.h>

#include <gtest/gtest.h>
#include <zstd.h>

#include <set>
#include <string>

using Entwine::decodeBinaryPoints;
using Entwine::decodeLaszipPoints;
using Entwine::decompressZstandard;
using Entwine::Dimension;
using Entwine::DimensionType;
using Entwine::Schema;
using Octree::PointAttribute;
using Octree::PointAttributes;
using TestSupport::EptTestPoint;
using TestSupport::eptTestRecord;
using TestSupport::failureOf;

namespace {

const std::filesystem::path file = "store/ept-data/0-0-0-0.bin";
const std::filesystem::path lazFile =
    std::filesystem::path(LUMARO_TEST_DATA_DIR) / "ept" / "1.2-with-color" / "ept-data" / "0-0-0-0.laz";

Schema testSchema()
{
    auto json = TestSupport::eptTestMetadata("binary", 0);
    return Entwine::Metadata::parse(json.dump(), "ept.json").schema;
}

const std::vector<EptTestPoint> testPoints = {
    {-5, 1600, 0, 7, 2, 255, 0, 65535, 3},
    {123456, -7, 42, 65535, 31, 1, 2, 3, 0},
    {0, 0, -2147483647 - 1, 0, 255, 40704, 256, 0, 4000000000u},
};

std::string testRecords()
{
    std::string records;
    for (const auto& point : testPoints) {
        records += eptTestRecord(point);
    }
    return records;
}

std::string compress(std::string_view data, int level = 3)
{
    std::string out(ZSTD_compressBound(data.size()), '\0');
    const std::size_t size = ZSTD_compress(out.data(), out.size(), data.data(), data.size(), level);
    if (ZSTD_isError(size)) {
        throw std::runtime_error("test compression failed");
    }
    out.resize(size);
    return out;
}

} // namespace

TEST(EntwineBinaryDecoder, ReadsEveryDimensionFromItsPlaceInTheRecord)
{
    const auto decoded = decodeBinaryPoints(testRecords(), testSchema(), 3, PointAttributes::all(), file);
    const auto& raw = decoded.points;
    EXPECT_EQ(raw.count, 3u);
    EXPECT_EQ(raw.attributes,
              PointAttribute::Position | PointAttribute::Color | PointAttribute::Intensity
                  | PointAttribute::Classification | PointAttribute::ScanIndex);
    EXPECT_EQ(decoded.scale, (std::array<double, 3>{0.01, 0.01, 0.01}));
    EXPECT_EQ(decoded.offset, (std::array<double, 3>{100, 200, 300}));
    ASSERT_EQ(raw.positions.size(), 3u);
    for (std::size_t i = 0; i < testPoints.size(); ++i) {
        const auto& p = testPoints[i];
        EXPECT_EQ(raw.positions[i], (std::array<std::int64_t, 3>{p.x, p.y, p.z})) << i;
        EXPECT_EQ(raw.colors[i], (std::array<std::uint16_t, 3>{p.red, p.green, p.blue})) << i;
        EXPECT_EQ(raw.intensities[i], p.intensity) << i;
        EXPECT_EQ(raw.classifications[i], p.classification) << i;
        EXPECT_EQ(raw.scanIndices[i], p.originId) << i;
    }
    EXPECT_TRUE(raw.normals.empty());
    EXPECT_TRUE(raw.visibilities.empty());
}

TEST(EntwineBinaryDecoder, ConvertsOtherTypesAndFallsBackToThePointSourceId)
{
    auto dimension = [](const char* name, DimensionType type, std::size_t size, double scale = 1, double offset = 0) {
        return Dimension{name, type, size, scale, offset};
    };
    const Schema schema({dimension("Z", DimensionType::Unsigned, 2), dimension("Y", DimensionType::Signed, 8),
                         dimension("X", DimensionType::Signed, 1, 0.5, -1), dimension("Red", DimensionType::Signed, 2),
                         dimension("Green", DimensionType::Float, 4), dimension("Blue", DimensionType::Unsigned, 4),
                         dimension("Intensity", DimensionType::Float, 8),
                         dimension("PointSourceId", DimensionType::Unsigned, 2),
                         dimension("NormalX", DimensionType::Float, 4), dimension("NormalY", DimensionType::Float, 4),
                         dimension("NormalZ", DimensionType::Signed, 1, 0.01)});
    using TestSupport::bytesOf;
    auto floatBytes = [](float value) {
        std::uint32_t bits;
        std::memcpy(&bits, &value, sizeof bits);
        return bytesOf(bits);
    };
    auto doubleBytes = [](double value) {
        std::uint64_t bits;
        std::memcpy(&bits, &value, sizeof bits);
        return bytesOf(bits);
    };
    const std::string record = bytesOf(std::uint16_t{65000}) + bytesOf(std::int64_t{-3}) + bytesOf(std::int8_t{-128})
        + bytesOf(std::int16_t{-5}) + floatBytes(300.6f) + bytesOf(std::uint32_t{70000}) + doubleBytes(-2.0)
        + bytesOf(std::uint16_t{77}) + floatBytes(0.25f) + floatBytes(-0.5f) + bytesOf(std::int8_t{-100});
    ASSERT_EQ(record.size(), schema.recordSize());

    const auto decoded = decodeBinaryPoints(record, schema, 1, PointAttributes::all(), file);
    const auto& raw = decoded.points;
    EXPECT_EQ(raw.positions[0], (std::array<std::int64_t, 3>{-128, -3, 65000}));
    EXPECT_EQ(decoded.scale[0], 0.5);
    EXPECT_EQ(decoded.offset[0], -1);
    // Colours and intensities clamp into 16 bits instead of wrapping around.
    EXPECT_EQ(raw.colors[0], (std::array<std::uint16_t, 3>{0, 301, 65535}));
    EXPECT_EQ(raw.intensities[0], 0);
    EXPECT_EQ(raw.scanIndices[0], 77u);
    EXPECT_EQ(raw.normals[0], (std::array<float, 3>{0.25f, -0.5f, -1.0f}));
}

TEST(EntwineBinaryDecoder, RejectsFilesWhoseLengthDoesNotFitTheCount)
{
    const std::string records = testRecords(); // 3 x 25 bytes
    const std::string shorter =
        failureOf([&] { decodeBinaryPoints(records.substr(0, 74), testSchema(), 3, PointAttributes::all(), file); });
    EXPECT_EQ(shorter, file.string() + ": holds 74 bytes, but 3 points of 25 bytes need 75");
    const std::string longer =
        failureOf([&] { decodeBinaryPoints(records, testSchema(), 2, PointAttributes::all(), file); });
    EXPECT_EQ(longer, file.string() + ": holds 75 bytes, but 2 points of 25 bytes need 50");
    EXPECT_EQ(decodeBinaryPoints("", testSchema(), 0, PointAttributes::all(), file).points.count, 0u);
}

TEST(EntwineZstandardDecoder, CorruptOrMismatchedDataNameTheFile)
{
    const std::string records = testRecords();
    const std::string packed = compress(records);
    auto failure = [&](std::string_view data, std::size_t size) {
        return failureOf([&] { decompressZstandard(data, size, file); });
    };
    EXPECT_EQ(failure(packed, records.size() + 1),
              file.string() + ": decompresses to 75 bytes, but its point count needs 76");
    EXPECT_EQ(failure(packed, records.size() - 1),
              file.string() + ": decompresses to more than the 74 bytes that its point count needs");
    EXPECT_NE(failure(std::string_view(packed).substr(0, packed.size() - 3), records.size())
                  .find("end in the middle of a frame"),
              std::string::npos);
    EXPECT_NE(failure("this is not zstandard", records.size()).find(file.string() + ": corrupt Zstandard data"),
              std::string::npos);
    EXPECT_NE(failure(packed + "junk", records.size()).find(file.string() + ": corrupt Zstandard data"),
              std::string::npos);
    EXPECT_EQ(failure("", 4), file.string() + ": is empty, but its point count needs 4 bytes");
    // A count far beyond the data fails on the data, not on allocating a terabyte.
    EXPECT_EQ(failure(packed, std::size_t{1} << 40),
              file.string() + ": decompresses to 75 bytes, but its point count needs 1099511627776");
}

TEST(EntwineLaszipDecoder, BadFilesNameTheFileAndTheProblem)
{
    const std::string laz = Core::readLocalFile(lazFile);
    auto failure = [&](std::string_view data, std::uint64_t count) {
        return failureOf([&] { decodeLaszipPoints(data, count, PointAttributes::all(), lazFile); });
    };
    EXPECT_EQ(failure(laz, 1066), lazFile.string() + ": its header counts 1065 points, but the hierarchy counts 1066");
    const std::string truncated = failure(std::string_view(laz).substr(0, laz.size() / 2), 1065);
    EXPECT_EQ(truncated.rfind(lazFile.string() + ": LASzip cannot decompress point ", 0), 0u) << truncated;
    std::string badSignature = laz;
    badSignature.replace(0, 4, "LAZ!");
    EXPECT_EQ(failure(badSignature, 1065).rfind(lazFile.string() + ": LASzip cannot read the file", 0), 0u);
    EXPECT_EQ(failure(laz.substr(0, 100), 1065).rfind(lazFile.string() + ": LASzip cannot read the file", 0), 0u);
    EXPECT_EQ(failure("", 1065).rfind(lazFile.string() + ": LASzip cannot read the file", 0), 0u);
    // A header that promises billions of points (legacy count at byte 107) fails on the data.
    std::string inflated = laz;
    inflated.replace(107, 4, TestSupport::bytesOf(std::uint32_t{4000000000u}));
    EXPECT_EQ(failure(inflated, 4000000000u).rfind(lazFile.string() + ": LASzip cannot ", 0), 0u);
    // An item that LAZ does not define is refused before LASzip sees it: LASzip would keep what it
    // allocated for the record, which this build's leak checker reports when the program ends.
    const std::size_t record = laz.find("laszip encoded") - 2 + 54;
    std::string unknownItem = laz;
    unknownItem.replace(record + 34, 2, TestSupport::bytesOf(std::uint16_t{750}));
    EXPECT_EQ(failure(unknownItem, 1065),
              lazFile.string()
                  + ": its LASzip record describes item 0 as type 750 of 20 "
                    "bytes, version 2, which LAZ does not define");
    // A header size below the header's own fields made LASzip allocate 4 GiB (its size minus 227).
    std::string noHeader = laz;
    noHeader.replace(94, 2, TestSupport::bytesOf(std::uint16_t{0}));
    EXPECT_EQ(failure(noHeader, 1065).rfind(lazFile.string() + ": its header (0 bytes) and point data offset", 0), 0u);
    std::string recordsPastPoints = laz;
    recordsPastPoints.replace(100, 4, TestSupport::bytesOf(std::uint32_t{4000000000u}));
    EXPECT_NE(failure(recordsPastPoints, 1065).find("record 2 of 4000000000 runs past the start of the point data"),
              std::string::npos);
    // Items that do not add up to the header's point length made LASzip leak the same way.
    std::string longerPoints = laz;
    longerPoints.replace(105, 2, TestSupport::bytesOf(std::uint16_t{54}));
    EXPECT_EQ(failure(longerPoints, 1065),
              lazFile.string()
                  + ": its LASzip record's items take 38 bytes a point, but its "
                    "header's points take 54");
    // Chunks of variable size without the table that sizes them: LASzip followed a null pointer.
    std::string variableChunks = laz.substr(0, laz.size() / 2);
    variableChunks.replace(record + 12, 4, TestSupport::bytesOf(std::uint32_t{0xFFFFFFFFu}));
    EXPECT_NE(failure(variableChunks, 1065).find(": its chunks are of variable size, but the chunk table"),
              std::string::npos);
    // An item version LAZ does not compress with made LASzip leak its point reader.
    std::string colourVersion0 = laz;
    colourVersion0.replace(record + 34 + 2 * 6 + 4, 2, TestSupport::bytesOf(std::uint16_t{0}));
    EXPECT_EQ(failure(colourVersion0, 1065),
              lazFile.string()
                  + ": its LASzip record describes item 2 as type 8 of 6 "
                    "bytes, version 0, which LAZ does not define");
    std::string wrongSize = laz;
    wrongSize.replace(record + 36, 2, TestSupport::bytesOf(std::uint16_t{21}));
    EXPECT_NE(failure(wrongSize, 1065).find("item 0 as type 6 of 21 bytes"), std::string::npos);
}

// Point formats 0 to 5 keep the class in the five low bits of their classification byte, under the
// synthetic, key-point and withheld flags; formats 6 to 10 have a byte of its own for it.
TEST(EntwineLaszipDecoder, ClassesAreTheFiveLowBitsInOldFormatsAndTheWholeByteInNewOnes)
{
    const TestSupport::TemporaryFolder folder;
    for (const unsigned format : {3u, 6u}) {
        TestSupport::SyntheticLas recipe;
        recipe.format = format;
        recipe.minor = format < 6 ? 2 : 4;
        const std::filesystem::path las = folder.path() / ("format" + std::to_string(format) + ".las");
        TestSupport::writeSyntheticLas(las, recipe, 60);
        const TestSupport::LasFile expected = TestSupport::readLas(las);
        const auto decoded = decodeLaszipPoints(Core::readLocalFile(las), 60, PointAttributes::all(), las);
        ASSERT_EQ(decoded.points.classifications.size(), 60u) << format;
        std::set<int> classes;
        for (std::size_t i = 0; i < 60; ++i) {
            EXPECT_EQ(decoded.points.classifications[i], expected.points[i].classification) << format << " " << i;
            classes.insert(decoded.points.classifications[i]);
        }
        EXPECT_GT(classes.size(), 10u) << "the file has classes to tell apart";
    }
}

TEST(EntwineLaszipDecoder, StopsWhenAsked)
{
    std::stop_source stop;
    stop.request_stop();
    EXPECT_THROW(
        decodeLaszipPoints(Core::readLocalFile(lazFile), 1065, PointAttributes::all(), lazFile, stop.get_token()),
        Octree::OperationCancelled);
}
