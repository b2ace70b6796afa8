#pragma once

#include <cstdint>
#include <initializer_list>
#include <stdexcept>

namespace Render {

// The shader stages an object is bound to. Values combine as a bit mask; the empty mask
// (ShaderConfiguration{}) means bound to no stage.
enum class ShaderConfiguration : std::uint32_t {
    Vertex = 1,
    Geometry = 2,
    Pixel = 4,
    Compute = 8,
};

constexpr ShaderConfiguration operator|(ShaderConfiguration left, ShaderConfiguration right)
{
    return static_cast<ShaderConfiguration>(static_cast<std::uint32_t>(left) | static_cast<std::uint32_t>(right));
}

constexpr ShaderConfiguration operator&(ShaderConfiguration left, ShaderConfiguration right)
{
    return static_cast<ShaderConfiguration>(static_cast<std::uint32_t>(left) & static_cast<std::uint32_t>(right));
}

constexpr ShaderConfiguration& operator|=(ShaderConfiguration& left, ShaderConfiguration right)
{
    return left = left | right;
}

// True when every stage of `stage` is part of `stages`.
constexpr bool contains(ShaderConfiguration stages, ShaderConfiguration stage)
{
    return (stages & stage) == stage;
}

// Calls `bind(stage)` once for each stage of `stages`, always in the order vertex, pixel,
// geometry, compute, so that every kind of bindable object touches the stages alike.
template <class Bind>
void forEachStage(ShaderConfiguration stages, Bind&& bind)
{
    for (const ShaderConfiguration stage : {ShaderConfiguration::Vertex, ShaderConfiguration::Pixel,
                                            ShaderConfiguration::Geometry, ShaderConfiguration::Compute}) {
        if (contains(stages, stage))
            bind(stage);
    }
}

// Pairing checks for objects bound with begin/end: `stages` is what the object is bound to now.
inline void requireUnbound(ShaderConfiguration stages)
{
    if (stages != ShaderConfiguration{})
        throw std::logic_error("Error: end call is missing");
}

inline void requireBound(ShaderConfiguration stages)
{
    if (stages == ShaderConfiguration{})
        throw std::logic_error("Error: begin call is missing");
}

} // namespace Render
