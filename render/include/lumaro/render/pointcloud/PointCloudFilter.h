#pragma once

#include <lumaro/render/Export.h>
#include <lumaro/render/pointcloud/IFilter.h>

#include <cstddef>

namespace Render {

// What a point query takes: nodes down to a level, nodes whose points lie farther apart than a
// spacing, and the points of a host's region (the IFilter, which the host owns and keeps alive
// for as long as the query runs).
class LUMARO_RENDER_API PointCloudFilter {
public:
    PointCloudFilter(std::size_t maxLevel, float minSpacing, IFilter* filter);
    PointCloudFilter(PointCloudFilter&&) noexcept = default;
    PointCloudFilter& operator=(PointCloudFilter&&) noexcept = default;
    PointCloudFilter(const PointCloudFilter&) = delete;
    PointCloudFilter& operator=(const PointCloudFilter&) = delete;

    bool testLevel(std::size_t level) const { return level <= mMaxLevel; }
    // Strictly: a node whose spacing equals the minimum is left out.
    bool testSpacing(float spacing) const { return spacing > mMinSpacing; }
    Octree::BoxTestResult testBox(const Math::NBoundingBox<float, 3>& box) { return mFilter->testBox(box); }
    bool testPosition(const Math::Point<float, 3>& position) { return mFilter->testPosition(position); }

private:
    std::size_t mMaxLevel;
    float mMinSpacing;
    IFilter* mFilter;
};

} // namespace Render
