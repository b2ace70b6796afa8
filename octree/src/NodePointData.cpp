#include <lumaro/octree/NodePointData.h>

namespace Octree {

namespace {

template <typename T>
void resizeIf(bool carried, std::vector<T>& column, std::size_t count)
{
    if (carried) {
        column.resize(count);
    }
}

template <typename T>
void release(std::vector<T>& column)
{
    std::vector<T>().swap(column);
}

} // namespace

NodePointData::NodePointData() : NodePointData(PointAttributes::all()) {}

NodePointData::NodePointData(PointAttributes attributes, std::size_t count) : mAttributes(attributes)
{
    resize(count);
}

void NodePointData::resize(std::size_t count)
{
    resizeIf(hasPositions(), mPositions, count);
    resizeIf(hasColors(), mColors, count);
    resizeIf(hasIntensities(), mIntensities, count);
    resizeIf(hasClassifications(), mClassifications, count);
    resizeIf(hasScanIndices(), mScanIndices, count);
    resizeIf(hasVisibility(), mVisibility, count);
    resizeIf(hasNormals(), mNormals, count);
    mSize = count;
}

void NodePointData::drop(PointAttributes attributes)
{
    mAttributes = mAttributes - attributes;
    if (!hasPositions())
        release(mPositions);
    if (!hasColors())
        release(mColors);
    if (!hasIntensities())
        release(mIntensities);
    if (!hasClassifications())
        release(mClassifications);
    if (!hasScanIndices())
        release(mScanIndices);
    if (!hasVisibility())
        release(mVisibility);
    if (!hasNormals())
        release(mNormals);
}

} // namespace Octree
