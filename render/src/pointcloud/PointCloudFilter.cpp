#include <lumaro/render/pointcloud/PointCloudFilter.h>

#include <stdexcept>

namespace Render {

PointCloudFilter::PointCloudFilter(std::size_t maxLevel, float minSpacing, IFilter* filter)
    : mMaxLevel(maxLevel), mMinSpacing(minSpacing), mFilter(filter)
{
    if (!mFilter)
        throw std::invalid_argument("PointCloudFilter needs a filter");
}

} // namespace Render
