#include <lumaro/octree/OctreeNodeId.h>

#include <gtest/gtest.h>

#include <stdexcept>
#include <unordered_set>

using Octree::OctreeNodeId;

TEST(OctreeNodeId, ChildIndexBitsSelectUpperHalvesOfXYZ)
{
    // 4 = upper x, 2 = upper y, 1 = upper z; "r73" is x 1,0 y 1,1 z 1,1 from the root down.
    EXPECT_EQ(OctreeNodeId::fromName("r4").gridPosition(), (std::array<std::uint32_t, 3>{1, 0, 0}));
    EXPECT_EQ(OctreeNodeId::fromName("r2").gridPosition(), (std::array<std::uint32_t, 3>{0, 1, 0}));
    EXPECT_EQ(OctreeNodeId::fromName("r1").gridPosition(), (std::array<std::uint32_t, 3>{0, 0, 1}));
    EXPECT_EQ(OctreeNodeId::fromName("r73").gridPosition(), (std::array<std::uint32_t, 3>{2, 3, 3}));
    EXPECT_EQ(OctreeNodeId::fromGridPosition(2, 2, 3, 3), OctreeNodeId::fromName("r73"));
    EXPECT_EQ(OctreeNodeId::fromGridPosition(0, 0, 0, 0), OctreeNodeId::root());
    EXPECT_THROW(OctreeNodeId::fromGridPosition(2, 4, 0, 0), std::invalid_argument);
    EXPECT_THROW(OctreeNodeId::fromGridPosition(22, 0, 0, 0), std::invalid_argument);
}

TEST(OctreeNodeId, TwentyOneLevelsFitAndNoMore)
{
    OctreeNodeId id;
    for (std::size_t level = 0; level < OctreeNodeId::MAX_REPRESENTABLE_LEVEL; ++level) {
        id = id.child(7);
    }
    EXPECT_EQ(OctreeNodeId::MAX_REPRESENTABLE_LEVEL, 21u);
    EXPECT_EQ(id.level(), 21u);
    EXPECT_EQ(id.name(), "r" + std::string(21, '7'));
    const std::uint32_t last = (1u << 21) - 1;
    EXPECT_EQ(id.gridPosition(), (std::array<std::uint32_t, 3>{last, last, last}));
    EXPECT_THROW(id.child(0), std::out_of_range);
    EXPECT_THROW(OctreeNodeId().child(8), std::out_of_range);
}

TEST(OctreeNodeId, RejectsMalformedNamesAndValues)
{
    EXPECT_THROW(OctreeNodeId::fromName(""), std::invalid_argument);
    EXPECT_THROW(OctreeNodeId::fromName("x0"), std::invalid_argument);
    EXPECT_THROW(OctreeNodeId::fromName("r8"), std::invalid_argument);
    EXPECT_THROW(OctreeNodeId::fromName("r" + std::string(22, '0')), std::invalid_argument);
    EXPECT_THROW(OctreeNodeId::fromValue(0), std::invalid_argument);
    EXPECT_THROW(OctreeNodeId::fromValue(2), std::invalid_argument); // bit width 2 is no level
    EXPECT_THROW(OctreeNodeId().parent(), std::logic_error);
}
