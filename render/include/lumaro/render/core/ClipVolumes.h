#pragma once

#include <lumaro/render/Export.h>

#include <lumaro/math/Color.h>
#include <lumaro/math/NBoundingBox.h>
#include <lumaro/math/OrientedBox.h>
#include <lumaro/math/Point.h>
#include <lumaro/math/Polygon.h>

#include <cstddef>
#include <limits>
#include <variant>
#include <vector>

namespace Render {

/// What a clip volume does to what lies inside it.
enum class ClipEffect {
    ShowInside, ///< only what lies inside is drawn (inside any such volume, when there are several)
    ShowOutside, ///< what lies inside is not drawn
    Highlight, ///< everything is drawn, what lies inside in the highlight colour
};

/// A vertical prism: a polygon in plan (x, y) between two heights.
struct ClipPrism {
    /// The polygon in plan.
    Math::Polygon footprint;
    /// The lowest height (minus infinity: no floor).
    double bottom = -std::numeric_limits<double>::infinity();
    /// The highest height (infinity: no roof).
    double top = std::numeric_limits<double>::infinity();
};

/// Boxes (in any orientation) and vertical prisms over polygons that cut away what is in the way,
/// or highlight a part, in world coordinates, beside the eight clipping planes: a point or a mesh
/// pixel is drawn when it lies inside one of the volumes that show their inside (where there is
/// any) and inside none of those that show their outside, and is highlighted inside a
/// highlighting volume. Point clouds do not load the nodes that the volumes clip away whole.
class LUMARO_RENDER_API ClipVolumes {
public:
    /// The most volumes, and the most polygon vertices of all prisms together, that the shaders
    /// hold.
    static constexpr std::size_t maxVolumes = 8;
    /// See maxVolumes.
    static constexpr std::size_t maxFootprintVertices = 64;

    /// A box or a prism.
    using Shape = std::variant<Math::OrientedBox, ClipPrism>;
    /// A shape and what it does.
    struct Volume {
        /// See Shape.
        Shape shape;
        /// See ClipEffect.
        ClipEffect effect = ClipEffect::ShowInside;
        /// Whether the point (world coordinates) lies in the closed volume.
        bool contains(const Math::Point<double, 3>& point) const;
        /// Where a box lies against the volume: inside and outside are exact, intersecting may
        /// be either near an edge.
        Math::BoxTestResult testBox(const Math::NBoundingBox<double, 3>& box) const;
        /// The same shape and effect.
        bool operator==(const Volume& other) const;
    };

    /// Adds a volume. Throws std::invalid_argument when there would be more than maxVolumes, or
    /// more than maxFootprintVertices polygon vertices, or the prism's bottom lies above its top.
    void add(const Shape& shape, ClipEffect effect);
    /// Removes every volume.
    void clear() { mVolumes.clear(); }
    /// The volumes, in the order added.
    const std::vector<Volume>& volumes() const { return mVolumes; }
    /// Whether there are none: everything is drawn.
    bool empty() const { return mVolumes.empty(); }

    /// The colour highlighted points and pixels are mixed with; its alpha says how much (the
    /// default, an amber of alpha 160, turns them well toward it).
    ///@{
    Math::Color highlightColor() const { return mHighlight; }
    void setHighlightColor(Math::Color color) { mHighlight = color; }
    ///@}

    /// Whether the point (world coordinates) is drawn.
    bool draws(const Math::Point<double, 3>& point) const;
    /// Whether it is drawn highlighted.
    bool highlights(const Math::Point<double, 3>& point) const;
    /// Whether nothing inside the box (world coordinates) can be drawn: it lies outside every
    /// volume that shows its inside, or inside one that shows its outside.
    bool clipsAway(const Math::NBoundingBox<double, 3>& box) const;

    /// The same volumes in the same order and the same highlight colour.
    bool operator==(const ClipVolumes& other) const;

private:
    std::vector<Volume> mVolumes;
    Math::Color mHighlight{255, 176, 0, 160};
};

} // namespace Render
