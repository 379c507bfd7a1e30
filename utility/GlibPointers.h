#pragma once

// Owning pointers for the handles of GLib and of the platform. Each holds one reference or one allocation and gives it
// back when it goes; a null pointer owns nothing.

#include <gio/gio.h>

#include <cstdlib>
#include <memory>

namespace Util {

template <auto Release>
struct ReleaseWith
{
    template <typename Handle>
    void operator()(Handle* handle) const
    {
        Release(handle);
    }
};

using VariantPtr = std::unique_ptr<GVariant, ReleaseWith<g_variant_unref>>;
using MessagePtr = std::unique_ptr<GDBusMessage, ReleaseWith<g_object_unref>>;
using ErrorPtr = std::unique_ptr<GError, ReleaseWith<g_error_free>>;
using MainLoopPtr = std::unique_ptr<GMainLoop, ReleaseWith<g_main_loop_unref>>;
using GlibString = std::unique_ptr<char, ReleaseWith<g_free>>;

/// A string that the platform allocated with malloc and leaves to its caller.
using MallocString = std::unique_ptr<char, ReleaseWith<std::free>>;

/// Takes over a body that a caller hands in: a floating reference becomes ours, of a full one we keep a share.
/// \param body may be null, which stays null.
inline VariantPtr TakeBody(GVariant* body)
{
    return VariantPtr(body != nullptr ? g_variant_ref_sink(body) : nullptr);
}

} // namespace Util
