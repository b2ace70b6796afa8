// Inputs that cannot be indexed: each is refused with a message naming the file and the problem,
// and nothing is left behind, neither the output nor temporary files.
#include "PointFiles.h"

#include <lumaro/core/ReadLocalFile.h>
#include <lumaro/indexer/Indexer.h>

#include <lumaro/testsupport/SyntheticLas.h>
#include <lumaro/testsupport/TemporaryFolder.h>
#include <lumaro/testsupport/TestStores.h>

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <set>

namespace {

std::string lasBytes(const std::string& name)
{
    return Core::readLocalFile(TestSupport::testStore("las/" + name));
}

template <typename T>
std::string patched(std::string bytes, std::size_t at, T value)
{
    std::memcpy(bytes.data() + at, &value, sizeof(T));
    return bytes;
}

struct BadInput {
    const char* name;
    // Writes the inputs into the folder; the first one named in the message is the culprit.
    std::function<std::vector<std::filesystem::path>(const TestSupport::TemporaryFolder&)> make;
    const char* culprit; // file name the message names
    const char* problem; // words the message holds
};

void PrintTo(const BadInput& input, std::ostream* out)
{
    *out << input.name;
}

std::vector<std::filesystem::path> one(const TestSupport::TemporaryFolder& folder, const std::string& name,
                                       const std::string& bytes)
{
    return {folder.write(name, bytes)};
}

std::vector<std::filesystem::path> copies(const TestSupport::TemporaryFolder& folder,
                                          const std::vector<std::string>& names)
{
    std::vector<std::filesystem::path> paths;
    for (const std::string& name : names) {
        paths.push_back(folder.write(name, lasBytes(name)));
    }
    return paths;
}

// A LAZ file: our own output, which LASzip reads like any other.
std::string lazBytes(const TestSupport::TemporaryFolder& folder)
{
    const auto laz = folder.path() / "source" / "made.laz";
    std::filesystem::create_directories(laz.parent_path());
    Index::indexToCopc({TestSupport::testStore("las/autzen_trim.las")}, laz);
    std::string bytes = Core::readLocalFile(laz);
    std::filesystem::remove_all(laz.parent_path());
    return bytes;
}

const BadInput BAD_INPUTS[] = {
    {"Missing", [](const auto& folder) { return std::vector<std::filesystem::path>{folder.path() / "absent.las"}; },
     "absent.las", "no such file"},
    {"NotLas", [](const auto& folder) { return one(folder, "notes.las", "x y z\n1 2 3\n"); }, "notes.las",
     "not a LAS or LAZ file"},
    {"TooShortForAHeader",
     [](const auto& folder) { return one(folder, "stub.las", lasBytes("test1_4.las").substr(0, 100)); }, "stub.las",
     "too short for a LAS header"},
    {"Truncated",
     [](const auto& folder) { return one(folder, "cut.las", lasBytes("autzen_trim.las").substr(0, 1000000)); },
     "cut.las", "truncated"},
    {"CountBeyondTheFile",
     [](const auto& folder) {
         return one(folder, "count.las", patched<std::uint32_t>(lasBytes("warsaw_small.las"), 107, 3001));
     },
     "count.las", "counts 3001 points"},
    {"Version2",
     [](const auto& folder) {
         return one(folder, "v2.las", patched<std::uint8_t>(lasBytes("warsaw_small.las"), 24, 2));
     },
     "v2.las", "version 2.2 is not supported"},
    {"Format11",
     [](const auto& folder) { return one(folder, "f11.las", patched<std::uint8_t>(lasBytes("test1_4.las"), 104, 11)); },
     "f11.las", "point format 11 is not supported"},
    {"RecordsShorterThanTheFormat",
     [](const auto& folder) {
         return one(folder, "short.las", patched<std::uint16_t>(lasBytes("warsaw_small.las"), 105, 30));
     },
     "short.las", "shorter than the 34 bytes of point format 3"},
    {"ZeroScale",
     [](const auto& folder) { return one(folder, "scale.las", patched<double>(lasBytes("test1_4.las"), 139, 0.0)); },
     "scale.las", "y scale 0 is not a positive number"},
    {"RecordOverrunsThePoints",
     [](const auto& folder) {
         return one(folder, "vlr.las", patched<std::uint16_t>(lasBytes("warsaw_small.las"), 227 + 20, 60000));
     },
     "vlr.las", "runs past the start of the point data"},
    {"PointOutsideItsHeaderBounds",
     // The header's maximum x moved 1 km below the data.
     [](const auto& folder) {
         std::string bytes = lasBytes("1.2-with-color.las");
         double maxX = 0;
         std::memcpy(&maxX, bytes.data() + 179, 8);
         return one(folder, "bounds.las", patched<double>(bytes, 179, maxX - 1000));
     },
     "bounds.las", "lies outside the bounds its header gives"},
    {"TruncatedLaz",
     [](const auto& folder) {
         const std::string laz = lazBytes(folder);
         return one(folder, "cut.laz", laz.substr(0, laz.size() / 2));
     },
     "cut.laz", "truncated"},
    {"ColourAndNoColour",
     [](const auto& folder) {
         TestSupport::SyntheticLas plain;
         plain.format = 1;
         TestSupport::writeSyntheticLas(folder.path() / "plain.las", plain, 100);
         return std::vector<std::filesystem::path>{folder.write("colored.las", lasBytes("1.2-with-color.las")),
                                                   folder.path() / "plain.las"};
     },
     "plain.las", "cannot share a point format"},
    {"ExtraBytesDiffer",
     [](const auto& folder) {
         TestSupport::SyntheticLas recipe;
         TestSupport::writeSyntheticLas(folder.path() / "none.las", recipe, 100);
         recipe.extraBytes = 2;
         TestSupport::writeSyntheticLas(folder.path() / "two.las", recipe, 100);
         return std::vector<std::filesystem::path>{folder.path() / "none.las", folder.path() / "two.las"};
     },
     "two.las", "has 2 extra bytes per point"},
    {"GpsTimeCountedDifferently",
     [](const auto& folder) { return copies(folder, {"autzen_trim.las", "warsaw_small.las"}); }, "warsaw_small.las",
     "counts GPS time differently"},
    {"GridsThatCannotMeet",
     [](const auto& folder) {
         TestSupport::SyntheticLas recipe;
         TestSupport::writeSyntheticLas(folder.path() / "centimetres.las", recipe, 100);
         recipe.scale = {0.003, 0.003, 0.003};
         TestSupport::writeSyntheticLas(folder.path() / "odd.las", recipe, 100);
         return std::vector<std::filesystem::path>{folder.path() / "centimetres.las", folder.path() / "odd.las"};
     },
     "centimetres.las", "cannot share one coordinate grid"},
};

class RefusedInput : public testing::TestWithParam<BadInput> {};

TEST_P(RefusedInput, NamesTheFileAndLeavesNothingBehind)
{
    TestSupport::TemporaryFolder folder;
    const std::vector<std::filesystem::path> inputs = GetParam().make(folder);
    std::set<std::filesystem::path> before;
    for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
        before.insert(entry.path());
    }
    const auto output = folder.path() / "out.copc.laz";
    try {
        Index::indexToCopc(inputs, output);
        FAIL() << "indexing succeeded";
    } catch (const std::exception& error) {
        const std::string message = error.what();
        EXPECT_NE(message.find(GetParam().culprit), std::string::npos) << message;
        EXPECT_NE(message.find(GetParam().problem), std::string::npos) << message;
    }
    std::set<std::filesystem::path> after;
    for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
        after.insert(entry.path());
    }
    EXPECT_EQ(after, before);
}

INSTANTIATE_TEST_SUITE_P(Inputs, RefusedInput, testing::ValuesIn(BAD_INPUTS),
                         [](const auto& info) { return info.param.name; });

TEST(RefusedOptions, MemoryLimitBelowTheMinimumAndOutputOverAnInput)
{
    TestSupport::TemporaryFolder folder;
    const auto input = folder.write("in.las", lasBytes("warsaw_small.las"));
    Index::IndexOptions options;
    options.memoryLimitMiB = 8;
    EXPECT_THROW(Index::indexToCopc({input}, folder.path() / "out.copc.laz", options), std::invalid_argument);
    EXPECT_THROW(Index::indexToCopc({input}, input), std::invalid_argument);
    EXPECT_EQ(Core::readLocalFile(input), lasBytes("warsaw_small.las"));
}

} // namespace
