// Owners of GLib's handles: each gives back one reference when it goes.
#pragma once

#include <gio/gio.h>

#include <memory>

namespace bus {

template <auto Release>
struct ReleaseWith
{
    template <typename Handle>
    void operator()(Handle* handle) const
    {
        Release(handle);
    }
};

template <typename Object>
using ObjectPtr = std::unique_ptr<Object, ReleaseWith<g_object_unref>>;
using VariantPtr = std::unique_ptr<GVariant, ReleaseWith<g_variant_unref>>;
using ErrorPtr = std::unique_ptr<GError, ReleaseWith<g_error_free>>;
using TextPtr = std::unique_ptr<char, ReleaseWith<g_free>>;
using ContextPtr = std::unique_ptr<GMainContext, ReleaseWith<g_main_context_unref>>;

/// A source that was attached to a main context; it is taken out of it with its owner.
inline void DestroySource(GSource* source)
{
    g_source_destroy(source);
    g_source_unref(source);
}
using SourcePtr = std::unique_ptr<GSource, ReleaseWith<DestroySource>>;

/// Takes over a floating reference, or keeps a share of a full one. Null stays null.
inline VariantPtr Take(GVariant* variant)
{
    return VariantPtr(variant != nullptr ? g_variant_ref_sink(variant) : nullptr);
}

} // namespace bus
