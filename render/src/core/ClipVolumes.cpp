#include <lumaro/render/core/ClipVolumes.h>

#include <stdexcept>
#include <string>

namespace Render {

namespace {

std::size_t footprintVertices(const ClipVolumes::Shape& shape)
{
    const auto* prism = std::get_if<ClipPrism>(&shape);
    return prism ? prism->footprint.size() : 0;
}

} // namespace

bool ClipVolumes::Volume::contains(const Math::Point<double, 3>& point) const
{
    if (const auto* box = std::get_if<Math::OrientedBox>(&shape))
        return box->contains(point);
    const ClipPrism& prism = std::get<ClipPrism>(shape);
    return point.z() >= prism.bottom && point.z() <= prism.top
        && prism.footprint.contains(Math::Point<double, 2>(point.x(), point.y()));
}

Math::BoxTestResult ClipVolumes::Volume::testBox(const Math::NBoundingBox<double, 3>& box) const
{
    if (const auto* oriented = std::get_if<Math::OrientedBox>(&shape))
        return oriented->testBox(box);
    const ClipPrism& prism = std::get<ClipPrism>(shape);
    if (box.isEmpty() || box.max().z() < prism.bottom || box.min().z() > prism.top)
        return Math::BoxTestResult::Outside;
    const Math::BoxTestResult plan = prism.footprint.testRectangle(
        {Math::Point<double, 2>(box.min().head<2>()), Math::Point<double, 2>(box.max().head<2>())});
    if (plan == Math::BoxTestResult::Inside && (box.min().z() < prism.bottom || box.max().z() > prism.top))
        return Math::BoxTestResult::Intersecting;
    return plan;
}

bool ClipVolumes::Volume::operator==(const Volume& other) const
{
    if (effect != other.effect || shape.index() != other.shape.index())
        return false;
    if (const auto* box = std::get_if<Math::OrientedBox>(&shape))
        return *box == std::get<Math::OrientedBox>(other.shape);
    const ClipPrism& a = std::get<ClipPrism>(shape);
    const ClipPrism& b = std::get<ClipPrism>(other.shape);
    return a.footprint == b.footprint && a.bottom == b.bottom && a.top == b.top;
}

void ClipVolumes::add(const Shape& shape, ClipEffect effect)
{
    if (mVolumes.size() >= maxVolumes)
        throw std::invalid_argument("at most " + std::to_string(maxVolumes) + " clip volumes can be drawn");
    std::size_t vertices = footprintVertices(shape);
    for (const Volume& volume : mVolumes)
        vertices += footprintVertices(volume.shape);
    if (vertices > maxFootprintVertices)
        throw std::invalid_argument("clip prisms can have at most " + std::to_string(maxFootprintVertices)
                                    + " polygon vertices together, not " + std::to_string(vertices));
    if (const auto* prism = std::get_if<ClipPrism>(&shape))
        if (!(prism->bottom <= prism->top))
            throw std::invalid_argument("a clip prism's bottom " + std::to_string(prism->bottom)
                                        + " lies above its top " + std::to_string(prism->top));
    mVolumes.push_back({shape, effect});
}

bool ClipVolumes::draws(const Math::Point<double, 3>& point) const
{
    bool showsInside = false;
    bool shown = false;
    for (const Volume& volume : mVolumes) {
        if (volume.effect == ClipEffect::ShowInside) {
            showsInside = true;
            shown = shown || volume.contains(point);
        } else if (volume.effect == ClipEffect::ShowOutside && volume.contains(point)) {
            return false;
        }
    }
    return !showsInside || shown;
}

bool ClipVolumes::highlights(const Math::Point<double, 3>& point) const
{
    if (!draws(point))
        return false;
    for (const Volume& volume : mVolumes)
        if (volume.effect == ClipEffect::Highlight && volume.contains(point))
            return true;
    return false;
}

bool ClipVolumes::clipsAway(const Math::NBoundingBox<double, 3>& box) const
{
    bool showsInside = false;
    bool mayBeShown = false;
    for (const Volume& volume : mVolumes) {
        if (volume.effect == ClipEffect::ShowInside) {
            showsInside = true;
            mayBeShown = mayBeShown || volume.testBox(box) != Math::BoxTestResult::Outside;
        } else if (volume.effect == ClipEffect::ShowOutside && volume.testBox(box) == Math::BoxTestResult::Inside) {
            return true;
        }
    }
    return showsInside && !mayBeShown;
}

bool ClipVolumes::operator==(const ClipVolumes& other) const
{
    return mVolumes == other.mVolumes && mHighlight == other.mHighlight;
}

} // namespace Render
