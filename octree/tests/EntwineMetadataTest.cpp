#include <lumaro/octree/entwine/Metadata.h>

#include <lumaro/testsupport/EptStoreWriter.h>
#include <lumaro/testsupport/FailureOf.h>

#include <gtest/gtest.h>

using Entwine::DataType;
using Entwine::DimensionType;
using Entwine::Metadata;
using Octree::PointAttribute;

namespace {

const std::filesystem::path file = "store/ept.json";

Metadata parse(const nlohmann::json& json)
{
    return Metadata::parse(json.dump(), file);
}

std::string failureOf(const std::string& text)
{
    return TestSupport::failureOf([&] { Metadata::parse(text, file); });
}

std::string failureOf(const nlohmann::json& json)
{
    return failureOf(json.dump());
}

} // namespace

TEST(EntwineMetadata, ReadsBoxesCountsAndTheSchemaInRecordOrder)
{
    const Metadata metadata = parse(TestSupport::eptTestMetadata("zstandard", 1234));
    EXPECT_EQ(metadata.cubeMin, (std::array<double, 3>{100, 200, 300}));
    EXPECT_EQ(metadata.cubeMax, (std::array<double, 3>{116, 216, 316}));
    EXPECT_EQ(metadata.conformingMin, (std::array<double, 3>{101, 201, 301}));
    EXPECT_EQ(metadata.conformingMax, (std::array<double, 3>{115, 215, 315}));
    EXPECT_EQ(metadata.dataType, DataType::Zstandard);
    EXPECT_EQ(metadata.points, 1234u);
    EXPECT_EQ(metadata.span, 16u);
    EXPECT_EQ(metadata.version, "1.0.0");
    EXPECT_DOUBLE_EQ(metadata.rootSpacing(), 1.0); // 16 / 16

    const auto& schema = metadata.schema;
    EXPECT_EQ(schema.recordSize(), 25u); // 3 x 4 + 2 + 1 + 3 x 2 + 4
    ASSERT_EQ(schema.dimensions().size(), 9u);
    const auto* z = schema.find("Z");
    ASSERT_NE(z, nullptr);
    EXPECT_EQ(z->byteOffset, 8u);
    EXPECT_EQ(z->type, DimensionType::Signed);
    EXPECT_DOUBLE_EQ(z->scale, 0.01);
    EXPECT_DOUBLE_EQ(z->offset, 300);
    const auto* blue = schema.find("Blue");
    ASSERT_NE(blue, nullptr);
    EXPECT_EQ(blue->byteOffset, 19u); // 12 + 2 + 1 + 2 + 2
    EXPECT_DOUBLE_EQ(blue->scale, 1.0);
    EXPECT_DOUBLE_EQ(blue->offset, 0.0);
    EXPECT_EQ(schema.find("blue"), nullptr);
    EXPECT_EQ(schema.pointAttributes(),
              PointAttribute::Position | PointAttribute::Color | PointAttribute::Intensity
                  | PointAttribute::Classification | PointAttribute::ScanIndex);
}

TEST(EntwineMetadata, AcceptsTheOlderSpanNameAndAMissingConformingBox)
{
    auto json = TestSupport::eptTestMetadata("binary", 0);
    json.erase("span");
    json.erase("boundsConforming");
    json["ticks"] = 64;
    const Metadata metadata = parse(json);
    EXPECT_EQ(metadata.span, 64u);
    EXPECT_EQ(metadata.conformingMin, metadata.cubeMin);
    EXPECT_EQ(metadata.conformingMax, metadata.cubeMax);
    EXPECT_DOUBLE_EQ(metadata.rootSpacing(), 0.25);
}

TEST(EntwineMetadata, BadFilesNameTheFileAndTheProblem)
{
    auto without = [](const char* member) {
        auto json = TestSupport::eptTestMetadata("binary", 1);
        json.erase(member);
        return json;
    };
    auto with = [](const char* member, nlohmann::json value) {
        auto json = TestSupport::eptTestMetadata("binary", 1);
        json[member] = std::move(value);
        return json;
    };
    auto withDimension = [](nlohmann::json dimension) {
        auto json = TestSupport::eptTestMetadata("binary", 1);
        json["schema"].push_back(std::move(dimension));
        return json;
    };
    const std::vector<std::pair<std::string, std::string>> cases = {
        {failureOf(std::string("{\"bounds\": [")), "not valid JSON"},
        {failureOf(std::string("[1, 2]")), "not a JSON object"},
        {failureOf(without("bounds")), "\"bounds\" is missing"},
        {failureOf(with("bounds", {0, 0, 0, 1, 1})), "\"bounds\" is not an array of six numbers"},
        {failureOf(with("bounds", {0, 5, 0, 1, 4, 1})), "minimum above or at its maximum on axis 1"},
        {failureOf(with("bounds", {0, 0, "0", 1, 1, 1})), "\"bounds\" entry 2 is not a finite number"},
        {failureOf(with("dataType", "brotli")), "unknown \"dataType\" 'brotli'"},
        {failureOf(with("hierarchyType", "gzip")), "\"hierarchyType\" 'gzip' is not supported"},
        {failureOf(with("points", -5)), "\"points\" is not a non-negative integer"},
        {failureOf(with("span", 0)), "\"span\" must be positive"},
        {failureOf(without("span")), "\"ticks\" is missing"},
        {failureOf(with("schema", "X")), "\"schema\" is not an array"},
        {failureOf(withDimension({{"name", "W"}, {"type", "unsigned"}, {"size", 3}})), "impossible size of 3 bytes"},
        {failureOf(withDimension({{"name", "W"}, {"type", "float"}, {"size", 2}})), "impossible size of 2 bytes"},
        {failureOf(withDimension({{"name", "W"}, {"type", "complex"}, {"size", 8}})), "unknown type 'complex'"},
        {failureOf(withDimension({{"name", "W"}, {"type", "signed"}, {"size", 4}, {"scale", 0}})), "unusable scale"},
        {failureOf(withDimension({{"name", "Red"}, {"type", "signed"}, {"size", 4}})), "'Red' appears twice"},
        {failureOf(withDimension({{"type", "signed"}, {"size", 4}})), "schema entry 9: member \"name\" is missing"},
    };
    for (const auto& [message, expected] : cases) {
        EXPECT_NE(message.find(file.string() + ": "), std::string::npos) << message;
        EXPECT_NE(message.find(expected), std::string::npos) << message << "\n  expected: " << expected;
    }
}

TEST(EntwineMetadata, PackedRecordsNeedIntegerCoordinatesButLazFilesDoNot)
{
    auto json = TestSupport::eptTestMetadata("binary", 1);
    json["schema"][1] = {{"name", "Y"}, {"type", "float"}, {"size", 8}};
    EXPECT_NE(failureOf(json).find("dimension Y is a float"), std::string::npos);
    json["dataType"] = "laszip";
    EXPECT_NO_THROW(parse(json));

    json["schema"].erase(2);
    EXPECT_NE(failureOf(json).find("no dimension Z"), std::string::npos);
}
