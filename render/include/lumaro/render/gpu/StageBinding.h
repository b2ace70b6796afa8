#pragma once

#include <lumaro/render/gpu/ShaderConfiguration.h>

#include <d3d11.h>

#include <cstddef>
#include <cstdint>
#include <type_traits>

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

// The order of the stages and slot fields inside the wrappers that embed a binding. That order is
// part of each wrapper's binary layout, which code built against the library may depend on, and
// it differs between them: shader-resource views keep the slot first, samplers and constant
// buffers the stages first.
enum class BindingLayout {
    StagesThenSlot,
    SlotThenStages,
};

template <BindingLayout Layout>
struct BindingFields;

template <>
struct BindingFields<BindingLayout::StagesThenSlot> {
    ShaderConfiguration stages{};
    std::uint32_t slot = 0;
};

template <>
struct BindingFields<BindingLayout::SlotThenStages> {
    std::uint32_t slot = 0;
    ShaderConfiguration stages{};
};

static_assert(offsetof(BindingFields<BindingLayout::StagesThenSlot>, stages)
              < offsetof(BindingFields<BindingLayout::StagesThenSlot>, slot));
static_assert(offsetof(BindingFields<BindingLayout::SlotThenStages>, slot)
              < offsetof(BindingFields<BindingLayout::SlotThenStages>, stages));

// The stages and slot an object (view, sampler, constant buffer) is bound to between begin and
// end. The object itself stays with its owner, which passes it and its kind's setters in.
template <BindingLayout Layout>
class BasicStageBinding {
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
        requireBound(mFields.stages);
        apply<Object>(context, setters, nullptr);
        mFields = {};
    }

    // The first half of begin, for owners with work between taking the slot and filling it.
    void bind(ShaderConfiguration stages, unsigned slot)
    {
        requireUnbound(mFields.stages);
        mFields.stages = stages;
        mFields.slot = slot;
    }

    // Puts `object` (null clears) into the slot of every bound stage.
    template <class Object>
    void apply(ID3D11DeviceContext* context, const StageSetters<Object>& setters, Object* object) const
    {
        Object* const objects[] = {object};
        const UINT slot = mFields.slot;
        forEachStage(mFields.stages, [&](ShaderConfiguration stage) {
            switch (stage) {
            case ShaderConfiguration::Vertex: (context->*setters.vertex)(slot, 1, objects); break;
            case ShaderConfiguration::Pixel: (context->*setters.pixel)(slot, 1, objects); break;
            case ShaderConfiguration::Geometry: (context->*setters.geometry)(slot, 1, objects); break;
            case ShaderConfiguration::Compute: (context->*setters.compute)(slot, 1, objects); break;
            }
        });
    }

    ShaderConfiguration stages() const { return mFields.stages; }
    std::uint32_t slot() const { return mFields.slot; }

private:
    BindingFields<Layout> mFields;
};

// Samplers and constant buffers.
using StageBinding = BasicStageBinding<BindingLayout::StagesThenSlot>;
// Shader-resource views.
using SlotFirstStageBinding = BasicStageBinding<BindingLayout::SlotThenStages>;

// A binding is nothing but its fields, so an owner's layout follows from where it puts the binding.
static_assert(std::is_standard_layout_v<StageBinding>
              && sizeof(StageBinding) == sizeof(BindingFields<BindingLayout::StagesThenSlot>));
static_assert(std::is_standard_layout_v<SlotFirstStageBinding>
              && sizeof(SlotFirstStageBinding) == sizeof(BindingFields<BindingLayout::SlotThenStages>));

} // namespace Render
