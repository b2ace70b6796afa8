// Groups forward to their children and combine them; a recording child tells what it was told.
#include "../gpu/TestDevice.h"

#include <lumaro/render/core/Camera.h>
#include <lumaro/render/renderables/GroupRenderable.h>

#include <gtest/gtest.h>

#include <Eigen/Geometry>

#include <memory>
#include <string>
#include <vector>

namespace {

using Render::GroupRenderable;

class Recorder : public Render::Renderable {
public:
    explicit Recorder(std::string name, Math::NBoundingBox<float, 3> box = {}) : Renderable(std::move(name)), mBox(box) {}

    void init(std::size_t, std::shared_ptr<Render::Camera>, Render::ComPtr<ID3D11Device>,
              Render::ComPtr<ID3D11DeviceContext>) override { calls.push_back("init"); }
    void deinit() override { calls.push_back("deinit"); }
    void onUpdateRenderMode(Render::RenderMode) override { calls.push_back("renderMode"); }
    void onUpdateMeshForDistanceColorization(const std::shared_ptr<Math::TriangleMesh<float>>&) override { calls.push_back("mesh"); }
    void onUpdatePlaneForDistanceColorization(const Math::NPlane<float, 3>&) override { calls.push_back("plane"); }
    void onUpdateColorMap(Render::ColorMap) override { calls.push_back("colorMap"); }
    void onUpdateUseSignedDistance(bool) override { calls.push_back("signed"); }
    void onUpdateColorMapRange(float, float) override { calls.push_back("range"); }
    void onUpdatePassFailDistanceRange(float, float) override { calls.push_back("passFail"); }
    void onUpdateWarnDistanceRange(float, float) override { calls.push_back("warn"); }
    void onUpdateTomographicColor(const Math::Color&) override { calls.push_back("tomographicColor"); }
    void render() override
    {
        Renderable::render();
        calls.push_back("render");
    }
    std::optional<Math::Color> backgroundColor() override { return background; }
    bool isTransparent() const override { return transparent; }
    void brightnessAndContrast(float, float, float& brightness, float& contrast) override
    {
        brightness = proposedBrightness;
        contrast = 2.0f;
    }
    Math::NBoundingBox<float, 3> boundingBox() override { return mBox; }

    std::vector<std::string> calls;
    std::optional<Math::Color> background;
    bool transparent = false;
    float proposedBrightness = 0.0f;

private:
    Math::NBoundingBox<float, 3> mBox;
};

std::vector<std::string> names(GroupRenderable& group)
{
    std::vector<std::string> result;
    for (const auto& child : group)
        result.push_back(child->name());
    return result;
}

class GroupRenderableTest : public Render::Testing::GpuTest {
protected:
    void initialise(GroupRenderable& group)
    {
        group.init(7, std::make_shared<Render::Camera>(false), gpu.devicePtr(), Render::ComPtr<ID3D11DeviceContext>(gpu.context()));
    }
};

TEST_F(GroupRenderableTest, RemovingByNameSwapsTheOthersFromTheBack)
{
    const auto group = GroupRenderable::create("group");
    for (const char* name : {"A", "x", "B", "C"})
        group->add(std::make_shared<Recorder>(name));
    group->add("x", std::make_shared<Recorder>("renamed"));
    EXPECT_EQ(group->findByName("x"), *std::next(group->begin()));
    group->removeByName("x");
    EXPECT_EQ(names(*group), (std::vector<std::string>{"A", "C", "B"}));
    group->removeByName("nobody");
    EXPECT_EQ(group->size(), 3u);
}

TEST_F(GroupRenderableTest, ALateChildGetsSixSettingsAndRangesForwardOnlyWhenChanged)
{
    const auto group = GroupRenderable::create("group");
    const auto early = std::make_shared<Recorder>("early");
    group->add(early);
    EXPECT_TRUE(early->calls.empty()) << "an uninitialised group hands nothing on";
    initialise(*group);
    EXPECT_EQ(early->calls, std::vector<std::string>{"init"});

    const auto late = std::make_shared<Recorder>("late");
    group->add(late);
    EXPECT_EQ(late->calls, (std::vector<std::string>{"init", "renderMode", "mesh", "colorMap", "signed", "range", "plane"}));
    EXPECT_EQ(late->parent(), group);

    late->calls.clear();
    group->onUpdateColorMapRange(0.0f, 1.0f); // unchanged
    group->onUpdateColorMapRange(0.0f, 2.0f);
    group->onUpdateColorMapRange(0.0f, 2.0f);
    group->onUpdateRenderMode(Render::RenderMode::Default);
    group->onUpdateRenderMode(Render::RenderMode::Default);
    group->onUpdatePassFailDistanceRange(-0.5f, 0.5f); // unchanged
    group->onUpdateTomographicColor(Math::Color::black(255));
    EXPECT_EQ(late->calls, (std::vector<std::string>{"range", "renderMode", "renderMode", "tomographicColor"}));

    late->calls.clear();
    group->remove(group->begin());
    EXPECT_EQ(early->calls.back(), "deinit");
    group->removeAll();
    EXPECT_EQ(late->calls, std::vector<std::string>{"deinit"});
}

TEST_F(GroupRenderableTest, CombinesItsChildrenAndDrawsOnlyTheVisibleOnes)
{
    const auto group = GroupRenderable::create("group");
    EXPECT_TRUE(group->boundingBox().isEmpty());
    EXPECT_FALSE(group->isTransparent());
    const auto hidden = std::make_shared<Recorder>("hidden", Math::NBoundingBox<float, 3>({0.0f, 0.0f, 0.0f}, {1.0f, 1.0f, 1.0f}));
    const auto shown = std::make_shared<Recorder>("shown", Math::NBoundingBox<float, 3>({0.0f, 0.0f, 0.0f}, {1.0f, 1.0f, 1.0f}));
    shown->setMatrix(Eigen::Affine3f(Eigen::Translation3f(5.0f, 0.0f, 0.0f)).matrix());
    hidden->setVisible(false);
    hidden->transparent = true;
    hidden->background = Math::Color(1, 2, 3, 4);
    hidden->proposedBrightness = 0.4f;
    group->add(hidden);
    group->add(shown);

    group->render();
    EXPECT_EQ(shown->calls, std::vector<std::string>{"render"});
    EXPECT_TRUE(hidden->calls.empty());
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
