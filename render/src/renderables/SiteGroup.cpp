#include <lumaro/render/renderables/SiteGroup.h>

#include <Eigen/Geometry>

#include <stdexcept>

namespace Render {

namespace {

Eigen::Matrix4f translation(const Eigen::Vector3d& offset)
{
    return Eigen::Affine3f(Eigen::Translation3f(offset.cast<float>())).matrix();
}

} // namespace

SiteGroup::SiteGroup(const std::string& name) : mGroup(GroupRenderable::create(name)) {}

std::shared_ptr<PointCloudRenderable> SiteGroup::addStore(const Octree::Location& location, const std::string& name,
                                                          std::size_t budget)
{
    if (budget == 0)
        throw std::invalid_argument("the point budget of " + location.toString() + " must be at least 1");
    auto cloud = PointCloudRenderable::create(location, name, budget, 1.0);
    if (mClouds.empty())
        mOrigin = cloud->referencePosition();
    cloud->setMatrix(translation(cloud->referencePosition() - mOrigin));
    mGroup->add(cloud);
    mClouds.push_back(cloud);
    return cloud;
}

Eigen::Vector3d SiteGroup::storeCoordinates(const Math::Point<float, 3>& scenePoint) const
{
    return mOrigin + scenePoint.cast<double>();
}

Math::Point<float, 3> SiteGroup::sceneCoordinates(const Eigen::Vector3d& storePoint) const
{
    return Math::Point<float, 3>((storePoint - mOrigin).cast<float>());
}

Eigen::Matrix4f SiteGroup::sceneFromStores() const
{
    return translation(-mOrigin);
}

} // namespace Render
