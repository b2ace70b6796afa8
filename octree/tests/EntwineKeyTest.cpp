#include <lumaro/octree/entwine/Key.h>

#include <gtest/gtest.h>

using Entwine::Key;

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
