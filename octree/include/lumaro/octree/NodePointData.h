#pragma once

#include <lumaro/math/Color.h>
#include <lumaro/math/Point.h>
#include <lumaro/octree/PointAttributes.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace Octree {

// The decoded points of one octree node, held column by column. Positions are relative to the
// octree's reference position and already multiplied by its unit scale, so float precision is
// spent on the node's neighbourhood and not on large world coordinates. Only the attributes
// asked for and present in the store are carried; the has...() queries tell which.
class NodePointData {
public:
    using Position = Math::Point<float, 3>;
    using Normal = std::array<float, 3>;

    // No points, carrying every attribute.
    NodePointData();
    explicit NodePointData(PointAttributes attributes, std::size_t count = 0);

    PointAttributes attributes() const { return mAttributes; }
    std::size_t size() const { return mSize; }
    bool empty() const { return mSize == 0; }

    // Resizes every carried column; new points are zero (visible, black, at the reference position).
    void resize(std::size_t count);

    // Stops carrying the given attributes and frees their columns.
    void drop(PointAttributes attributes);

    bool hasPositions() const { return mAttributes.contains(PointAttribute::Position); }
    bool hasColors() const { return mAttributes.contains(PointAttribute::Color); }
    bool hasIntensities() const { return mAttributes.contains(PointAttribute::Intensity); }
    bool hasClassifications() const { return mAttributes.contains(PointAttribute::Classification); }
    bool hasScanIndices() const { return mAttributes.contains(PointAttribute::ScanIndex); }
    bool hasVisibility() const { return mAttributes.contains(PointAttribute::Visibility); }
    bool hasNormals() const { return mAttributes.contains(PointAttribute::Normal); }

    // Element access; the index must be below size() and the attribute carried.
    const Position& position(std::size_t i) const { return mPositions[i]; }
    Math::Color color(std::size_t i) const { return mColors[i]; }
    std::uint16_t intensity(std::size_t i) const { return mIntensities[i]; }
    std::uint8_t classification(std::size_t i) const { return mClassifications[i]; }
    std::uint32_t scanIndex(std::size_t i) const { return mScanIndices[i]; }
    // 0 means visible. Data without a visibility column count as all visible.
    std::uint8_t visibility(std::size_t i) const { return hasVisibility() ? mVisibility[i] : 0; }
    bool isVisible(std::size_t i) const { return visibility(i) == 0; }
    const Normal& normal(std::size_t i) const { return mNormals[i]; }

    void setPosition(std::size_t i, const Position& position) { mPositions[i] = position; }
    void setColor(std::size_t i, Math::Color color) { mColors[i] = color; }
    void setIntensity(std::size_t i, std::uint16_t intensity) { mIntensities[i] = intensity; }
    void setClassification(std::size_t i, std::uint8_t classification) { mClassifications[i] = classification; }
    void setScanIndex(std::size_t i, std::uint32_t scanIndex) { mScanIndices[i] = scanIndex; }
    void setVisibility(std::size_t i, std::uint8_t visibility) { mVisibility[i] = visibility; }
    void setNormal(std::size_t i, const Normal& normal) { mNormals[i] = normal; }

    // Whole columns, for bulk filling and copying; empty when the attribute is not carried.
    std::span<const Position> positions() const { return mPositions; }
    std::span<Position> positions() { return mPositions; }
    std::span<const Math::Color> colors() const { return mColors; }
    std::span<Math::Color> colors() { return mColors; }
    std::span<const std::uint16_t> intensities() const { return mIntensities; }
    std::span<std::uint16_t> intensities() { return mIntensities; }
    std::span<const std::uint8_t> classifications() const { return mClassifications; }
    std::span<std::uint8_t> classifications() { return mClassifications; }
    std::span<const std::uint32_t> scanIndices() const { return mScanIndices; }
    std::span<std::uint32_t> scanIndices() { return mScanIndices; }
    std::span<const std::uint8_t> visibilities() const { return mVisibility; }
    std::span<std::uint8_t> visibilities() { return mVisibility; }
    std::span<const Normal> normals() const { return mNormals; }
    std::span<Normal> normals() { return mNormals; }

private:
    PointAttributes mAttributes;
    std::size_t mSize = 0;
    std::vector<Position> mPositions;
    std::vector<Math::Color> mColors;
    std::vector<std::uint16_t> mIntensities;
    std::vector<std::uint8_t> mClassifications;
    std::vector<std::uint32_t> mScanIndices;
    std::vector<std::uint8_t> mVisibility;
    std::vector<Normal> mNormals;
};

} // namespace Octree
