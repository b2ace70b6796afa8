// Groups forward to their children and combine them; a recording child tells what it was told.
#include <lumaro/testsupport/render/RecordingRenderable.h>

#include <lumaro/render/core/Camera.h>
#include <lumaro/render/renderables/GroupRenderable.h>

#include <gtest/gtest.h>

#include <Eigen/Geometry>

#include <memory>
#include <string>
#include <vector>

namespace {

using Render::GroupRenderable;

using Recorder = RenderTest::RecordingRenderable;

TEST(GroupRenderable, CombinesItsChildrenAndDrawsOnlyTheVisibleOnes)
{
    const auto group = GroupRenderable::create("group");
    EXPECT_TRUE(group->boundingBox().isEmpty());
    EXPECT_FALSE(group->isTransparent());
    const auto hidden = std::make_shared<Recorder>("hidden");
    const auto shown = std::make_shared<Recorder>("shown");
    hidden->bounds = shown->bounds = Math::NBoundingBox<float, 3>({0.0f, 0.0f, 0.0f}, {1.0f, 1.0f, 1.0f});
    shown->proposedBrightness = 0.0f;
    hidden->proposedContrast = shown->proposedContrast = 2.0f;
    shown->setMatrix(Eigen::Affine3f(Eigen::Translation3f(5.0f, 0.0f, 0.0f)).matrix());
    hidden->setVisible(false);
    hidden->transparent = true;
    hidden->background = Math::Color(1, 2, 3, 4);
    hidden->proposedBrightness = 0.4f;
    group->add(hidden);
    group->add(shown);

    group->render();
    EXPECT_EQ(shown->calls(), (std::vector<std::string>{"shown.setMatrix(5, 0, 0)", "shown.render"}));
    EXPECT_TRUE(hidden->calls().empty());
    EXPECT_EQ(group->boundingBox(), (Math::NBoundingBox<float, 3>({0.0f, 0.0f, 0.0f}, {6.0f, 1.0f, 1.0f})));
    EXPECT_TRUE(group->isTransparent());
    EXPECT_EQ(group->backgroundColor(), Math::Color(1, 2, 3, 4));
    float brightness = 0.0f;
    float contrast = 0.0f;
    group->brightnessAndContrast(0.0f, 1.0f, brightness, contrast);
    EXPECT_FLOAT_EQ(brightness, 0.2f);
    EXPECT_FLOAT_EQ(contrast, 2.0f);

    hidden->setNeedsRedraw(false); // a new renderable wants its first frame
    EXPECT_FALSE(group->needsRedraw());
    hidden->setNeedsRedraw(true);
    EXPECT_TRUE(group->needsRedraw());

    // A group in a group: moving the outer one moves the inner one's children.
    const auto outer = GroupRenderable::create("outer");
    outer->add(group);
    EXPECT_EQ(shown->worldMatrix()(0, 3), 5.0f);
    outer->setMatrix(Eigen::Affine3f(Eigen::Translation3f(0.0f, 3.0f, 0.0f)).matrix());
    EXPECT_EQ(shown->worldMatrix()(1, 3), 3.0f);
    EXPECT_EQ(shown->worldMatrix()(0, 3), 5.0f);
}

} // namespace
