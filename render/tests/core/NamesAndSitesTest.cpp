// The names users give colourings and colour maps, and the placement of a site's stores.
#include <lumaro/render/core/Coloring.h>
#include <lumaro/render/gpu/ColorMap.h>
#include <lumaro/render/renderables/SiteGroup.h>

#include <lumaro/octree/potree/FileSystemLocation.h>
#include <lumaro/testsupport/FailureOf.h>
#include <lumaro/testsupport/TestStores.h>

#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <string>

namespace {

using TestSupport::failureOf;

TEST(Names, EveryNameStandsForOneValueAndUnknownNamesListTheKnownOnes)
{
    std::set<Render::Coloring> colorings;
    for (const auto& [name, coloring] : Render::coloringNames()) {
        EXPECT_EQ(Render::coloringNamed(name), coloring) << name;
        EXPECT_EQ(Render::nameOf(coloring), name);
        colorings.insert(coloring);
    }
    EXPECT_EQ(colorings.size(), 9u);
    // The map numbers are the shader's: the names in the order of the numbers 0 to 12.
    const char* const maps[] = {"turbo",
                                "inferno",
                                "magma",
                                "viridis",
                                "plasma",
                                "gray",
                                "bone",
                                "red-white-blue",
                                "level-of-accuracy",
                                "pass-fail",
                                "traffic-light",
                                "cool-warm",
                                "level-of-accuracy-imperial"};
    ASSERT_EQ(Render::colorMapNames().size(), std::size(maps));
    for (int number = 0; number < 13; ++number) {
        EXPECT_EQ(static_cast<int>(Render::colorMapNamed(maps[number])), number) << maps[number];
        EXPECT_EQ(Render::nameOf(static_cast<Render::ColorMap>(number)), maps[number]);
    }
    EXPECT_EQ(Render::nameOf(static_cast<Render::ColorMap>(40)), "turbo") << "what the shader draws";

    const std::string mode = failureOf<std::invalid_argument>([] { Render::coloringNamed("height"); });
    EXPECT_EQ(mode,
              "unknown mode 'height' (known: rgb, intensity, normal, uniform, elevation, tomographic, "
              "tomographic-dark, mesh-distance, classification)");
    const std::string map = failureOf<std::invalid_argument>([] { Render::colorMapNamed("Turbo"); });
    EXPECT_NE(map.find("unknown colour map 'Turbo' (known: turbo, inferno"), std::string::npos) << map;

    // The modes that draw what the names promise.
    EXPECT_EQ(Render::renderModeOf(Render::Coloring::Rgb), Render::RenderMode::Default);
    EXPECT_EQ(Render::renderModeOf(Render::Coloring::Elevation), Render::RenderMode::PlaneDistance);
    EXPECT_EQ(Render::renderModeOf(Render::Coloring::Tomographic), Render::RenderMode::TomographicBright);
    EXPECT_EQ(static_cast<int>(Render::renderModeOf(Render::Coloring::Classification)), 8) << "the shaders' number";
}

// The minimum corner of a Potree store's cube, read from its metadata by hand.
Eigen::Vector3d cubeMinimum(const std::string& store)
{
    const nlohmann::json metadata =
        nlohmann::json::parse(std::ifstream(TestSupport::testStore(store) / "metadata.json"));
    const auto& min = metadata["boundingBox"]["min"];
    return {min[0].get<double>(), min[1].get<double>(), min[2].get<double>()};
}

TEST(SiteGroup, PlacesEachStoreByItsReferencePositionRelativeToTheFirst)
{
    Render::SiteGroup site("site");
    EXPECT_EQ(site.origin(), Eigen::Vector3d::Zero());
    const auto first =
        site.addStore(PoTree::FileSystemLocation(TestSupport::testStore("potree2/autzen_trim-brotli")), "autzen", 1000);
    const auto second = site.addStore(
        PoTree::FileSystemLocation(TestSupport::testStore("potree2/1.2-with-color-brotli")), "color", 1000);
    const Eigen::Vector3d origin = cubeMinimum("potree2/autzen_trim-brotli");
    const Eigen::Vector3d offset = cubeMinimum("potree2/1.2-with-color-brotli") - origin;
    EXPECT_LT((site.origin() - origin).norm(), 1e-9);
    EXPECT_EQ(site.clouds().size(), 2u);
    EXPECT_EQ(site.group()->size(), 2u);
    EXPECT_TRUE(first->matrix().isIdentity());
    EXPECT_LT((second->matrix().col(3).head<3>().cast<double>() - offset).norm(), 1e-3);

    // Scene and store coordinates are each other's inverse, and sceneFromStores moves a store
    // point to its scene point.
    const Eigen::Vector3d storePoint = origin + Eigen::Vector3d(12.5, -3.25, 40.0);
    const Math::Point<float, 3> scenePoint = site.sceneCoordinates(storePoint);
    EXPECT_LT((scenePoint - Math::Point<float, 3>(12.5f, -3.25f, 40.0f)).norm(), 1e-5f);
    EXPECT_LT((site.storeCoordinates(scenePoint) - storePoint).norm(), 1e-5);
    const Eigen::Vector4f moved = site.sceneFromStores() * Eigen::Vector4f(0.0f, 0.0f, 0.0f, 1.0f);
    EXPECT_LT((moved.head<3>().cast<double>() + origin).norm(), 1.0) << "float translation of a georeferenced origin";

    const std::string refused = failureOf<std::invalid_argument>([&] {
        site.addStore(PoTree::FileSystemLocation(TestSupport::testStore("potree2/test1_4-brotli")), "none", 0);
    });
    EXPECT_NE(refused.find("test1_4-brotli"), std::string::npos) << refused;
    EXPECT_EQ(site.clouds().size(), 2u);
}

} // namespace
