#include <lumaro/octree/OperationCancelled.h>
#include <lumaro/octree/entwine/Hierarchy.h>

#include <lumaro/testsupport/EptStoreWriter.h>
#include <lumaro/testsupport/FailureOf.h>

#include <gtest/gtest.h>

using Entwine::Hierarchy;
using Entwine::Key;
using TestSupport::EptTestStore;
using TestSupport::failureOf;

namespace {

// A tree split over three files: the root file hands 1-1-0-0 to its own file, which hands
// 2-2-1-0 on again.
void writeSplitHierarchy(const EptTestStore& store)
{
    store.writeJson("ept-hierarchy/0-0-0-0.json",
                    {{"0-0-0-0", 5000}, {"1-0-0-0", 3000}, {"1-1-0-0", -1}, {"2-0-0-1", 10}, {"3-7-7-7", 4}});
    store.writeJson("ept-hierarchy/1-1-0-0.json",
                    {{"1-1-0-0", 2500}, {"2-2-0-1", 900}, {"2-3-1-1", 80}, {"2-2-1-0", -1}});
    store.writeJson("ept-hierarchy/2-2-1-0.json", {{"2-2-1-0", 7}, {"3-4-2-1", 3}});
}

} // namespace

TEST(EntwineHierarchy, ReadsSubtreeFilesOnlyWhenThatPartOfTheTreeIsVisited)
{
    EptTestStore store;
    writeSplitHierarchy(store);
    const Hierarchy hierarchy(store.path() / "ept-hierarchy");
    EXPECT_EQ(hierarchy.filesRead(), std::vector<Key>{Key{}});

    EXPECT_EQ(hierarchy.pointCount(Key{}), 5000u);
    EXPECT_EQ(hierarchy.pointCount(Key{1, 0, 0, 0}), 3000u);
    EXPECT_EQ(hierarchy.filesRead().size(), 1u);

    // The root's children: 1-0-0-0 (index 0) and 1-1-0-0 (index 4); existence needs no file.
    EXPECT_EQ(hierarchy.children(Key{}), (std::vector<Key>{Key{1, 0, 0, 0}, Key{1, 1, 0, 0}}));
    EXPECT_EQ(hierarchy.filesRead().size(), 1u);

    EXPECT_EQ(hierarchy.pointCount(Key{1, 1, 0, 0}), 2500u);
    EXPECT_EQ(hierarchy.filesRead(), (std::vector<Key>{Key{}, Key{1, 1, 0, 0}}));
    // 2-2-0-1 = index 1 (upper z), 2-2-1-0 = index 2 (upper y), 2-3-1-1 = index 7.
    EXPECT_EQ(hierarchy.children(Key{1, 1, 0, 0}),
              (std::vector<Key>{Key{2, 2, 0, 1}, Key{2, 2, 1, 0}, Key{2, 3, 1, 1}}));

    // Going deeper through the second split reads the third file on the way.
    EXPECT_EQ(hierarchy.pointCount(Key{3, 4, 2, 1}), 3u);
    EXPECT_EQ(hierarchy.filesRead().size(), 3u);
    EXPECT_EQ(hierarchy.pointCount(Key{2, 2, 1, 0}), 7u);
}

TEST(EntwineHierarchy, BadFilesNameTheFileAndTheProblem)
{
    const std::vector<std::pair<std::string, std::string>> parsed = {
        {R"({"0-0-0-0": )", "not valid JSON"},
        {R"([["0-0-0-0", 1]])", "not a JSON object"},
        {R"({"0-0-0": 1})", "'0-0-0' is not a node key"},
        {R"({"1-2-0-0": 1})", "outside the grid"},
        {R"({"22-0-0-0": 1})", "node 22-0-0-0 is deeper than the 21 levels"},
        {R"({"0-0-0-0": -2})", "count of 0-0-0-0 is not an integer of at least -1"},
        {R"({"0-0-0-0": 1.5})", "count of 0-0-0-0 is not an integer"},
        {R"({"0-0-0-0": "1"})", "count of 0-0-0-0 is not an integer"},
    };
    for (const auto& [text, expected] : parsed) {
        const std::string message = failureOf([&] { Hierarchy::parseFile(text, "tree/h.json"); });
        EXPECT_EQ(message.rfind("tree/h.json: ", 0), 0u) << message;
        EXPECT_NE(message.find(expected), std::string::npos) << message << "\n  expected: " << expected;
    }
}

TEST(EntwineHierarchy, MissingAndInconsistentFilesFailWhenReached)
{
    EptTestStore store;
    const auto folder = store.path() / "ept-hierarchy";
    EXPECT_NE(failureOf([&] { Hierarchy h(folder); }).find("0-0-0-0.json"), std::string::npos);

    store.writeJson("ept-hierarchy/0-0-0-0.json", {{"1-0-0-0", 5}});
    EXPECT_NE(failureOf([&] { Hierarchy h(folder); }).find("does not give the point count of the root"),
              std::string::npos);

    store.writeJson("ept-hierarchy/0-0-0-0.json",
                    {{"0-0-0-0", 5}, {"1-0-0-0", -1}, {"1-0-0-1", -1}, {"1-0-1-0", -1}, {"1-1-0-0", 1}});
    store.writeJson("ept-hierarchy/1-0-0-1.json", {{"2-0-0-2", 5}});
    store.writeJson("ept-hierarchy/1-0-1-0.json", {{"1-0-1-0", 5}, {"2-2-2-0", 1}});
    const Hierarchy hierarchy(folder);
    EXPECT_EQ(hierarchy.pointCount(Key{1, 1, 0, 0}), 1u); // the rest of the tree still works

    const std::string missing = failureOf([&] { hierarchy.pointCount(Key{1, 0, 0, 0}); });
    EXPECT_NE(missing.find((folder / "1-0-0-0.json").string()), std::string::npos) << missing;
    EXPECT_NE(missing.find("no such file"), std::string::npos) << missing;

    const std::string withoutItself = failureOf([&] { hierarchy.children(Key{1, 0, 0, 1}); });
    EXPECT_NE(withoutItself.find("1-0-0-1.json: does not give the point count of 1-0-0-1"), std::string::npos)
        << withoutItself;

    const std::string foreign = failureOf([&] { hierarchy.pointCount(Key{1, 0, 1, 0}); });
    EXPECT_NE(foreign.find("1-0-1-0.json: lists 2-2-2-0, which is not inside the subtree of 1-0-1-0"),
              std::string::npos)
        << foreign;
}

// A walk that was asked to stop reads no further file; the same question later reads it.
TEST(EntwineHierarchy, AStopRequestedBeforeAFileIsReadCancelsTheRead)
{
    EptTestStore store;
    writeSplitHierarchy(store);
    const Hierarchy hierarchy(store.path() / "ept-hierarchy");
    std::stop_source stop;
    stop.request_stop();
    EXPECT_EQ(hierarchy.children(Key{}, stop.get_token()).size(), 2u); // known without a file
    EXPECT_THROW(hierarchy.children(Key{1, 1, 0, 0}, stop.get_token()), Octree::OperationCancelled);
    EXPECT_EQ(hierarchy.filesRead().size(), 1u);
    EXPECT_EQ(hierarchy.children(Key{1, 1, 0, 0}).size(), 3u);
}
