// The default colours of point classes: users tell classes apart by them alone.
#include <lumaro/render/core/PointClasses.h>

#include <lumaro/core/ReadLocalFile.h>
#include <lumaro/testsupport/TestStores.h>

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <regex>
#include <set>
#include <string>

namespace {

using Render::PointClasses;

double distance(const Math::Color& a, const Math::Color& b)
{
    return std::hypot(a.r() - b.r(), a.g() - b.g(), a.b() - b.b());
}

TEST(PointClasses, EveryClassHasADistinctOpaqueColourAndTheStandardOnesLieFarApart)
{
    const PointClasses classes;
    std::map<std::uint32_t, std::size_t> classOfColor;
    for (std::size_t c = 0; c < Render::pointClassCount; ++c) {
        const auto classIndex = static_cast<std::uint8_t>(c);
        EXPECT_EQ(classes.color(classIndex), PointClasses::defaultColor(classIndex));
        EXPECT_EQ(classes.color(classIndex).a(), 255) << c;
        EXPECT_TRUE(classes.isShown(classIndex)) << c;
        const auto [other, added] = classOfColor.emplace(classes.color(classIndex).packed(), c);
        EXPECT_TRUE(added) << "classes " << other->second << " and " << c << " are both " << classes.color(classIndex);
    }
    // LAS 1.4's classes 0 to 18, which real scans use, at least a tenth of the colour cube's
    // diagonal from each other.
    for (int a = 0; a <= 18; ++a)
        for (int b = a + 1; b <= 18; ++b)
            EXPECT_GT(distance(PointClasses::defaultColor(static_cast<std::uint8_t>(a)),
                               PointClasses::defaultColor(static_cast<std::uint8_t>(b))),
                      44.0)
                << a << " and " << b;
}

// The README lists the standard classes' colours for users: they are the ones drawn.
TEST(PointClasses, TheStandardClassesHaveTheColoursTheReadmeLists)
{
    const std::string readme = Core::readLocalFile(TestSupport::testStore("../README.md"));
    const std::regex entry(R"(\| (\d+) \| [^|`]+ \| `([0-9a-f]{6})` )");
    std::set<unsigned long> listed;
    for (auto match = std::sregex_iterator(readme.begin(), readme.end(), entry); match != std::sregex_iterator();
         ++match) {
        const unsigned long classIndex = std::stoul((*match)[1]);
        const unsigned long rgb = std::stoul((*match)[2], nullptr, 16);
        ASSERT_LT(classIndex, 19u);
        EXPECT_EQ(PointClasses::defaultColor(static_cast<std::uint8_t>(classIndex)),
                  Math::Color(static_cast<std::uint32_t>(0xFF000000u | rgb)))
            << classIndex;
        listed.insert(classIndex);
    }
    EXPECT_EQ(listed.size(), 19u);
}

} // namespace
