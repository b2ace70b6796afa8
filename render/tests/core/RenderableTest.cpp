#include <lumaro/render/core/Renderable.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <Eigen/Geometry>

#include <cmath>
#include <memory>
#include <string>
#include <vector>

namespace {

using Box = Math::NBoundingBox<float, 3>;
using Point = Math::Point<float, 3>;

// A drawable with fixed bounds that records the base-class calls routed through the virtual table.
class TestRenderable : public Render::Renderable {
public:
    explicit TestRenderable(std::string name, Box box = Box(Point(0, 0, 0), Point(1, 2, 3)))
        : Renderable(std::move(name)), mBox(box)
    {}

    Box boundingBox() override { return mBox; }

    void invalidateWorldMatrix() override
    {
        calls.push_back("invalidateWorldMatrix");
        Renderable::invalidateWorldMatrix();
    }

    void setNeedsRedraw(bool needsRedraw) override
    {
        calls.push_back(needsRedraw ? "setNeedsRedraw(true)" : "setNeedsRedraw(false)");
        Renderable::setNeedsRedraw(needsRedraw);
    }

    std::vector<std::string> calls;

private:
    Box mBox;
};

Eigen::Matrix4f translation(float x, float y, float z)
{
    Eigen::Matrix4f m = Eigen::Matrix4f::Identity();
    m(0, 3) = x;
    m(1, 3) = y;
    m(2, 3) = z;
    return m;
}

// Counter-clockwise quarter turn about z: (x, y) -> (-y, x).
Eigen::Matrix4f quarterTurnZ()
{
    Eigen::Matrix4f m = Eigen::Matrix4f::Identity();
    m(0, 0) = 0;
    m(0, 1) = -1;
    m(1, 0) = 1;
    m(1, 1) = 0;
    return m;
}

Eigen::Vector3f apply(const Eigen::Matrix4f& m, float x, float y, float z)
{
    return (m * Eigen::Vector4f(x, y, z, 1)).head<3>();
}

void expectNear(const Eigen::Vector3f& actual, const Eigen::Vector3f& expected)
{
    EXPECT_NEAR(actual.x(), expected.x(), 1e-5f);
    EXPECT_NEAR(actual.y(), expected.y(), 1e-5f);
    EXPECT_NEAR(actual.z(), expected.z(), 1e-5f);
}

TEST(RenderableBase, SettersReportARedrawOnlyWhenSomethingChanges)
{
    TestRenderable renderable("r");
    renderable.render();

    renderable.setMatrix(Eigen::Matrix4f::Identity());
    renderable.setVisible(true);
    renderable.setSelected(false);
    EXPECT_FALSE(renderable.needsRedraw());
    EXPECT_TRUE(renderable.calls.empty());

    renderable.setMatrix(translation(1, 2, 3));
    EXPECT_THAT(renderable.calls,
                testing::ElementsAre("invalidateWorldMatrix", "setNeedsRedraw(true)", "setNeedsRedraw(true)"));
    EXPECT_TRUE(renderable.needsRedraw());

    for (const auto change :
         {+[](TestRenderable& r) { r.setVisible(false); }, +[](TestRenderable& r) { r.setSelected(true); }}) {
        renderable.render();
        renderable.calls.clear();
        change(renderable);
        EXPECT_THAT(renderable.calls, testing::ElementsAre("setNeedsRedraw(true)"));
        EXPECT_TRUE(renderable.needsRedraw());
    }
    EXPECT_FALSE(renderable.visible());
    EXPECT_TRUE(renderable.selected());
}

TEST(RenderableWorldMatrix, IsTheParentsWorldMatrixTimesTheLocalOne)
{
    auto parent = std::make_shared<TestRenderable>("parent");
    auto child = std::make_shared<TestRenderable>("child");
    child->setParent(parent);
    parent->setMatrix(translation(10, 0, 0));
    child->setMatrix(quarterTurnZ());

    // Local quarter turn first, then the parent's shift: (1, 0, 0) -> (0, 1, 0) -> (10, 1, 0).
    expectNear(apply(child->worldMatrix(), 1, 0, 0), {10, 1, 0});
    expectNear(apply(child->invWorldMatrix(), 10, 1, 0), {1, 0, 0});

    // The cached product is kept until this renderable is invalidated (a group does that).
    parent->setMatrix(translation(20, 0, 0));
    expectNear(apply(child->worldMatrix(), 1, 0, 0), {10, 1, 0});
    child->invalidateWorldMatrix();
    expectNear(apply(child->worldMatrix(), 1, 0, 0), {20, 1, 0});
}

TEST(RenderableBounds, WorldAndParentBoxesAreTheAxisAlignedBoundsOfTheTransformedBox)
{
    auto parent = std::make_shared<TestRenderable>("parent");
    auto child = std::make_shared<TestRenderable>("child", Box(Point(0, 0, 0), Point(1, 2, 3)));
    child->setParent(parent);
    parent->setMatrix(translation(10, 0, 0));
    child->setMatrix(quarterTurnZ());

    // The quarter turn maps x in [0, 1], y in [0, 2] to x in [-2, 0], y in [0, 1].
    const Box inParent = child->boundingBoxParent();
    expectNear(inParent.min(), {-2, 0, 0});
    expectNear(inParent.max(), {0, 1, 3});

    const Box inWorld = child->boundingBoxWorld();
    expectNear(inWorld.min(), {8, 0, 0});
    expectNear(inWorld.max(), {10, 1, 3});
}

TEST(RenderablePlacement, TranslationAndRotationCarryPointAndDirection)
{
    TestRenderable renderable("r");
    renderable.setMatrix(translation(0, 0, 1));
    // Direction +x onto -y: a clockwise quarter turn; the vertical parts of the directions do not count.
    renderable.setTranslationAndZRotationByCorrespondences(Point(0, 0, 1), Point(5, 5, 1), Eigen::Vector3f(2, 0, 7),
                                                           Eigen::Vector3f(0, -1, -3));
    // (0, 0, 0) is at `from` (0, 0, 1) after the original matrix, so it lands on `to`.
    expectNear(apply(renderable.matrix(), 0, 0, 0), {5, 5, 1});
    // One unit further along +x ends one unit along -y from `to`.
    expectNear(apply(renderable.matrix(), 1, 0, 0), {5, 4, 1});
}

} // namespace
