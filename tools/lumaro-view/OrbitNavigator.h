#pragma once

#include <lumaro/math/NBoundingBox.h>
#include <lumaro/math/Point.h>

#include <Eigen/Core>

namespace Tool {

// The camera of an interactive viewer with z up: an eye that orbits a pivot, pans with it and
// zooms toward a point, the way surveyors' viewers move. Pixel arguments are mouse movements in
// the window; the vertical field of view is fixed.
class OrbitNavigator {
public:
    static constexpr float FIELD_OF_VIEW_DEGREES = 60.0f;
    // The eye never looks straight up or down, where "up" would be undefined.
    static constexpr float MAX_PITCH_DEGREES = 89.0f;

    // Looks at the whole box from the south-east, from above, far enough for the box's bounding
    // sphere to fill the view's height. An empty box is framed as a unit cube at the origin.
    void frame(const Math::NBoundingBox<float, 3>& box);

    // Makes `pivot` the point that orbits turn around, keeping the eye where it is.
    void setPivot(const Math::Point<float, 3>& pivot);

    // Turns the eye around the pivot: a drag across the window's height turns by half a circle,
    // right drags turn the scene to the right (the eye to the left), down drags raise the eye.
    void orbit(float dxPixels, float dyPixels, float windowHeight);

    // Moves eye and pivot together so that the scene under the cursor at the pivot's depth follows
    // the mouse.
    void pan(float dxPixels, float dyPixels, float windowHeight);

    // Moves eye and pivot toward `point` by `factor` of their distance to it (0.2: a fifth of the
    // way); a negative factor moves away. The point stays where it is on the screen.
    void zoomToward(const Math::Point<float, 3>& point, float factor);

    const Math::Point<float, 3>& eye() const { return mEye; }
    const Math::Point<float, 3>& pivot() const { return mPivot; }
    Eigen::Vector3f up() const { return Eigen::Vector3f::UnitZ(); }

private:
    Eigen::Vector3f right() const;
    Eigen::Vector3f screenUp() const;

    Math::Point<float, 3> mEye{1.0f, 1.0f, 1.0f};
    Math::Point<float, 3> mPivot{0.0f, 0.0f, 0.0f};
};

} // namespace Tool
