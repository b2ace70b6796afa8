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

NodePointData::NodePointData(PointAttributes attributes, std::size_t count) : m_attributes(attributes)
{
    resize(count);
}

void NodePointData::resize(std::size_t count)
{
    resizeIf(hasPositions(), m_positions, count);
    resizeIf(hasColors(), m_colors, count);
    resizeIf(hasIntensities(), m_intensities, count);
    resizeIf(hasClassifications(), m_classifications, count);
    resizeIf(hasScanIndices(), m_scanIndices, count);
    resizeIf(hasVisibility(), m_visibility, count);
    resizeIf(hasNormals(), m_normals, count);
    m_size = count;
}

void NodePointData::drop(PointAttributes attributes)
{
    m_attributes = m_attributes - attributes;
    if (!hasPositions()) release(m_positions);
    if (!hasColors()) release(m_colors);
    if (!hasIntensities()) release(m_intensities);
    if (!hasClassifications()) release(m_classifications);
    if (!hasScanIndices()) release(m_scanIndices);
    if (!hasVisibility()) release(m_visibility);
    if (!hasNormals()) release(m_normals);
}

} // namespace Octree
