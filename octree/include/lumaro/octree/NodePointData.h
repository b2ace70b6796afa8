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

    PointAttributes attributes() const { return m_attributes; }
    std::size_t size() const { return m_size; }
    bool empty() const { return m_size == 0; }

    // Resizes every carried column; new points are zero (visible, black, at the reference position).
    void resize(std::size_t count);

    // Stops carrying the given attributes and frees their columns.
    void drop(PointAttributes attributes);

    bool hasPositions() const { return m_attributes.contains(PointAttribute::Position); }
    bool hasColors() const { return m_attributes.contains(PointAttribute::Color); }
    bool hasIntensities() const { return m_attributes.contains(PointAttribute::Intensity); }
    bool hasClassifications() const { return m_attributes.contains(PointAttribute::Classification); }
    bool hasScanIndices() const { return m_attributes.contains(PointAttribute::ScanIndex); }
    bool hasVisibility() const { return m_attributes.contains(PointAttribute::Visibility); }
    bool hasNormals() const { return m_attributes.contains(PointAttribute::Normal); }

    // Element access; the index must be below size() and the attribute carried.
    const Position& position(std::size_t i) const { return m_positions[i]; }
    Math::Color color(std::size_t i) const { return m_colors[i]; }
    std::uint16_t intensity(std::size_t i) const { return m_intensities[i]; }
    std::uint8_t classification(std::size_t i) const { return m_classifications[i]; }
    std::uint32_t scanIndex(std::size_t i) const { return m_scanIndices[i]; }
    // 0 means visible. Data without a visibility column count as all visible.
    std::uint8_t visibility(std::size_t i) const { return hasVisibility() ? m_visibility[i] : 0; }
    bool isVisible(std::size_t i) const { return visibility(i) == 0; }
    const Normal& normal(std::size_t i) const { return m_normals[i]; }

    void setPosition(std::size_t i, const Position& position) { m_positions[i] = position; }
    void setColor(std::size_t i, Math::Color color) { m_colors[i] = color; }
    void setIntensity(std::size_t i, std::uint16_t intensity) { m_intensities[i] = intensity; }
    void setClassification(std::size_t i, std::uint8_t classification) { m_classifications[i] = classification; }
    void setScanIndex(std::size_t i, std::uint32_t scanIndex) { m_scanIndices[i] = scanIndex; }
    void setVisibility(std::size_t i, std::uint8_t visibility) { m_visibility[i] = visibility; }
    void setNormal(std::size_t i, const Normal& normal) { m_normals[i] = normal; }

    // Whole columns, for bulk filling and copying; empty when the attribute is not carried.
    std::span<const Position> positions() const { return m_positions; }
    std::span<Position> positions() { return m_positions; }
    std::span<const Math::Color> colors() const { return m_colors; }
    std::span<Math::Color> colors() { return m_colors; }
    std::span<const std::uint16_t> intensities() const { return m_intensities; }
    std::span<std::uint16_t> intensities() { return m_intensities; }
    std::span<const std::uint8_t> classifications() const { return m_classifications; }
    std::span<std::uint8_t> classifications() { return m_classifications; }
    std::span<const std::uint32_t> scanIndices() const { return m_scanIndices; }
    std::span<std::uint32_t> scanIndices() { return m_scanIndices; }
    std::span<const std::uint8_t> visibilities() const { return m_visibility; }
    std::span<std::uint8_t> visibilities() { return m_visibility; }
    std::span<const Normal> normals() const { return m_normals; }
    std::span<Normal> normals() { return m_normals; }

private:
    PointAttributes m_attributes;
    std::size_t m_size = 0;
    std::vector<Position> m_positions;
    std::vector<Math::Color> m_colors;
    std::vector<std::uint16_t> m_intensities;
    std::vector<std::uint8_t> m_classifications;
    std::vector<std::uint32_t> m_scanIndices;
    std::vector<std::uint8_t> m_visibility;
    std::vector<Normal> m_normals;
};

} // namespace Octree
