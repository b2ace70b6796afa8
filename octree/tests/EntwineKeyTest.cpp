#include <lumaro/octree/entwine/Key.h>

#include <gtest/gtest.h>

using Entwine::Key;

namespace {

Math::NBoundingBox<double, 3> box(double x0, double y0, double z0, double x1, double y1, double z1)
{
    return {Math::Point<double, 3>(x0, y0, z0), Math::Point<double, 3>(x1, y1, z1)};
}

void expectBox(const Math::NBoundingBox<double, 3>& actual, const Math::NBoundingBox<double, 3>& expected)
{
    for (int axis = 0; axis < 3; ++axis) {
        EXPECT_DOUBLE_EQ(actual.min()[axis], expected.min()[axis]) << "axis " << axis;
        EXPECT_DOUBLE_EQ(actual.max()[axis], expected.max()[axis]) << "axis " << axis;
    }
}

} // namespace

TEST(EntwineKey, ParsesAndPrintsDepthFirstUnpaddedNumbers)
{
    const Key key = Key::parse("10-513-2-1023");
    EXPECT_EQ(key, (Key{10, 513, 2, 1023}));
    EXPECT_EQ(key.toString(), "10-513-2-1023");
    EXPECT_EQ(Key::parse("0-0-0-0"), Key{});
}

TEST(EntwineKey, RejectsTextThatIsNotAKey)
{
    for (const char* text : {"", "0-0-0", "0-0-0-0-0", "1-0-0-x", "1--0-0", "-1-0-0-0", "01-0-0-0", "1-0-0-0 ",
                             "1-2-0-0", "3-8-0-0", "99999999999-0-0-0", "40-0-0-0"}) {
        EXPECT_THROW(Key::parse(text), std::invalid_argument) << "'" << text << "'";
    }
}

TEST(EntwineKey, ChildrenDoubleTheCellAndAddTheUpperHalfBits)
{
    const Key parent{2, 1, 2, 3};
    EXPECT_EQ(parent.child(0), (Key{3, 2, 4, 6}));
    EXPECT_EQ(parent.child(4), (Key{3, 3, 4, 6})); // upper x
    EXPECT_EQ(parent.child(2), (Key{3, 2, 5, 6})); // upper y
    EXPECT_EQ(parent.child(1), (Key{3, 2, 4, 7})); // upper z
    EXPECT_EQ(parent.child(7), (Key{3, 3, 5, 7}));
}

TEST(EntwineKey, MapsToTheNodeIdOfTheSameCell)
{
    // 1-1-0-1: upper x, lower y, upper z = child 4 + 1 of the root.
    EXPECT_EQ((Key{1, 1, 0, 1}.nodeId().name()), "r5");
    // 2-3-1-0: level 1 (x 1, y 0, z 0) = 4, level 2 (x 1, y 1, z 0) = 6.
    EXPECT_EQ((Key{2, 3, 1, 0}.nodeId().name()), "r46");
    const Key deep{7, 100, 3, 127};
    EXPECT_EQ(Key::of(deep.nodeId()), deep);
    EXPECT_THROW((Key{22, 0, 0, 0}.nodeId()), std::invalid_argument);
}

TEST(EntwineKey, ContainsItselfAndItsDescendantsOnly)
{
    const Key key{1, 1, 0, 1};
    EXPECT_TRUE(key.contains(key));
    EXPECT_TRUE(key.contains(Key{3, 5, 3, 4}));  // x 5>>2 = 1, y 3>>2 = 0, z 4>>2 = 1
    EXPECT_FALSE(key.contains(Key{3, 5, 4, 4})); // y 4>>2 = 1
    EXPECT_FALSE(key.contains(Key{}));
    EXPECT_TRUE(Key{}.contains(Key{5, 31, 0, 17}));
}

TEST(EntwineKey, BoundsHalveTheRootAlongThePath)
{
    // The lion stores' cube; 1-0-0-1 is lower x, lower y, upper z.
    const auto root = box(-7, -1, -6, 3, 9, 4);
    expectBox(Key{}.bounds(root), root);
    expectBox(Key{1, 0, 0, 1}.bounds(root), box(-7, -1, -1, -2, 4, 4));
    // Depth 2, cell (3, 0, 2): x edge 2.5 from -7 -> [0.5, 3]; y [-1, 1.5]; z [-1, 1.5].
    expectBox(Key{2, 3, 0, 2}.bounds(root), box(0.5, -1, -1, 3, 1.5, 1.5));
}
