// The points of a profile as files: LAS read back by the tests' own LAS reader and LAZ by LASzip
// give exactly the points written, on the grid they came on; text gives the lines of `lumaro points`.
#include "ProfilePointsFile.h"

#include <lumaro/testsupport/LasReader.h>
#include <lumaro/testsupport/TemporaryFolder.h>

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

namespace {

// Points on a centimetre grid around (500000, 5200000, 0), one of them with a 16-bit colour and
// a class above 31 (which only LAS 1.4's formats hold).
Measure::Profile profile()
{
    Measure::Profile profile;
    profile.length = 10.0;
    profile.scale = {0.01, 0.01, 0.01};
    profile.offset = {500000.0, 5200000.0, 0.0};
    Measure::ProfilePoint a;
    a.position = {500000.0 + 1234 * 0.01, 5200000.0 + 5678 * 0.01, 10000 * 0.01};
    a.color = {65535, 256, 0};
    a.intensity = 4321;
    a.classification = 45;
    Measure::ProfilePoint b;
    b.position = {500000.0 - 7 * 0.01, 5200000.0 + 2 * 0.01, -350 * 0.01};
    b.color = {10, 20, 30};
    b.intensity = 1;
    b.classification = 2;
    profile.points = {a, b};
    return profile;
}

TEST(ProfilePointsFileTest, LasHoldsExactlyThePointsOnTheirGrid)
{
    TestSupport::TemporaryFolder folder;
    const Measure::Profile written = profile();
    Tool::writeProfilePoints(written, folder.path() / "profile.LAS");
    const TestSupport::LasFile las = TestSupport::readLas(folder.path() / "profile.LAS");
    EXPECT_EQ(las.scale, written.scale);
    EXPECT_EQ(las.offset, written.offset);
    ASSERT_EQ(las.points.size(), 2u);
    for (std::size_t i = 0; i < 2; ++i) {
        EXPECT_EQ(las.points[i].position, written.points[i].position) << i;
        EXPECT_EQ(las.points[i].color, written.points[i].color) << i;
        EXPECT_EQ(las.points[i].intensity, written.points[i].intensity) << i;
        EXPECT_EQ(las.points[i].classification, written.points[i].classification) << i;
    }
    // Only the file itself is left.
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), std::filesystem::directory_iterator()),
              1);
}

TEST(ProfilePointsFileTest, LazReadsBackThroughLaszip)
{
    TestSupport::TemporaryFolder folder;
    const Measure::Profile written = profile();
    const std::filesystem::path file = folder.path() / "profile.laz";
    Tool::writeProfilePoints(written, file);
    // LAZ marks its point format with the high bit.
    std::ifstream bytes(file, std::ios::binary);
    char head[105] = {};
    bytes.read(head, sizeof head);
    EXPECT_EQ(std::string(head, 4), "LASF");
    EXPECT_EQ(static_cast<unsigned char>(head[104]), 0x80u | 7u);
    const TestSupport::LasFile laz = TestSupport::readLaz(file);
    ASSERT_EQ(laz.points.size(), 2u);
    for (std::size_t i = 0; i < 2; ++i) {
        EXPECT_EQ(laz.points[i].position, written.points[i].position) << i;
        EXPECT_EQ(laz.points[i].color, written.points[i].color) << i;
        EXPECT_EQ(laz.points[i].intensity, written.points[i].intensity) << i;
        EXPECT_EQ(laz.points[i].classification, written.points[i].classification) << i;
    }
}

TEST(ProfilePointsFileTest, PointsWithoutAGridGoOnMillimetres)
{
    TestSupport::TemporaryFolder folder;
    Measure::Profile written = profile();
    written.scale = {};
    written.points[0].position[0] += 0.0004; // rounds to the millimetre below
    Tool::writeProfilePoints(written, folder.path() / "profile.las");
    const TestSupport::LasFile las = TestSupport::readLas(folder.path() / "profile.las");
    EXPECT_EQ(las.scale, (std::array<double, 3>{0.001, 0.001, 0.001}));
    EXPECT_NEAR(las.points[0].position[0], 500012.34, 1e-9);
}

TEST(ProfilePointsFileTest, TextIsWhatLumaroPointsWrites)
{
    TestSupport::TemporaryFolder folder;
    Tool::writeProfilePoints(profile(), folder.path() / "profile.txt");
    std::ifstream in(folder.path() / "profile.txt");
    std::stringstream text;
    text << in.rdbuf();
    // Shortest texts that read back as the same doubles.
    EXPECT_EQ(text.str(),
              "500012.34 5200056.78 100 65535 256 0 4321 45\n"
              "499999.93 5200000.02 -3.5 10 20 30 1 2\n");
}

TEST(ProfilePointsFileTest, AFileThatCannotBeWrittenLeavesNothing)
{
    TestSupport::TemporaryFolder folder;
    const std::filesystem::path missing = folder.path() / "no-such-folder" / "profile.las";
    try {
        Tool::writeProfilePoints(profile(), missing);
        ADD_FAILURE() << "wrote into a missing folder";
    } catch (const std::runtime_error& error) {
        EXPECT_NE(std::string(error.what()).find(missing.string()), std::string::npos) << error.what();
    }
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), std::filesystem::directory_iterator()),
              0);
}

} // namespace
