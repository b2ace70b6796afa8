#pragma once

#include <lumaro/render/gpu/ShaderConfiguration.h>

#include <d3d11.h>

#include <cstdint>

namespace Render {

// The context's per-stage setters for one kind of object, e.g. VSSetSamplers ... CSSetSamplers.
template <class Object>
struct StageSetters {
    using Setter = void (STDMETHODCALLTYPE ID3D11DeviceContext::*)(UINT, UINT, Object* const*);

    Setter vertex;
    Setter pixel;
    Setter geometry;
    Setter compute;
};

// The stages and slot an object (view, sampler, constant buffer) is bound to between begin and
// end. The object itself stays with its owner, which passes it and its kind's setters in.
class StageBinding {
public:
    // Throws std::logic_error when still bound from an earlier begin.
    template <class Object>
    void begin(ID3D11DeviceContext* context, ShaderConfiguration stages, unsigned slot,
               const StageSetters<Object>& setters, Object* object)
    {
        bind(stages, slot);
        apply(context, setters, object);
    }

    // Clears the slot on the bound stages; throws std::logic_error when not bound.
    template <class Object>
    void end(ID3D11DeviceContext* context, const StageSetters<Object>& setters)
    {
        requireBound(stages_);
        apply<Object>(context, setters, nullptr);
        stages_ = ShaderConfiguration{};
        slot_ = 0;
    }

    // The first half of begin, for owners with work between taking the slot and filling it.
    void bind(ShaderConfiguration stages, unsigned slot)
    {
        requireUnbound(stages_);
        stages_ = stages;
        slot_ = slot;
    }

    // Puts `object` (null clears) into the slot of every bound stage.
    template <class Object>
    void apply(ID3D11DeviceContext* context, const StageSetters<Object>& setters, Object* object) const
    {
        Object* const objects[] = {object};
        forEachStage(stages_, [&](ShaderConfiguration stage) {
            switch (stage) {
            case ShaderConfiguration::Vertex: (context->*setters.vertex)(slot_, 1, objects); break;
            case ShaderConfiguration::Pixel: (context->*setters.pixel)(slot_, 1, objects); break;
            case ShaderConfiguration::Geometry: (context->*setters.geometry)(slot_, 1, objects); break;
            case ShaderConfiguration::Compute: (context->*setters.compute)(slot_, 1, objects); break;
            }
        });
    }

    ShaderConfiguration stages() const { return stages_; }
    std::uint32_t slot() const { return slot_; }

private:
    ShaderConfiguration stages_{};
    std::uint32_t slot_ = 0;
};

} // namespace Render
