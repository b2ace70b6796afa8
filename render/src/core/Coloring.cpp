#include <lumaro/render/core/Coloring.h>

#include <array>

namespace Render {

namespace {

constexpr std::array<Named<Coloring>, 9> colorings{{
    {"rgb", Coloring::Rgb},
    {"intensity", Coloring::Intensity},
    {"normal", Coloring::Normal},
    {"uniform", Coloring::Uniform},
    {"elevation", Coloring::Elevation},
    {"tomographic", Coloring::Tomographic},
    {"tomographic-dark", Coloring::TomographicDark},
    {"mesh-distance", Coloring::MeshDistance},
    {"classification", Coloring::Classification},
}};

} // namespace

std::span<const Named<Coloring>> coloringNames()
{
    return colorings;
}

Coloring coloringNamed(std::string_view name)
{
    return valueNamed(coloringNames(), name, "mode");
}

std::string_view nameOf(Coloring coloring)
{
    return nameIn(coloringNames(), coloring);
}

RenderMode renderModeOf(Coloring coloring)
{
    switch (coloring) {
    case Coloring::Rgb: return RenderMode::Default;
    case Coloring::Intensity: return RenderMode::Intensity;
    case Coloring::Normal: return RenderMode::Normal;
    case Coloring::Uniform: return RenderMode::UniformColor;
    case Coloring::Elevation: return RenderMode::PlaneDistance;
    case Coloring::Tomographic: return RenderMode::TomographicBright;
    case Coloring::TomographicDark: return RenderMode::TomographicDark;
    case Coloring::MeshDistance: return RenderMode::MeshDistance;
    case Coloring::Classification: return RenderMode::Classification;
    }
    return RenderMode::Default;
}

} // namespace Render
