#pragma once

#include "GlibPointers.h"

#include <glib.h>

#include <array>

/// True for a payload of exactly this type; null is none.
inline bool IsPayload(GVariant* payload, const char* type)
{
    return payload != nullptr && g_variant_is_of_type(payload, G_VARIANT_TYPE(type)) != FALSE;
}

/// The integer at this place of a payload that has one there. Without a format string, whose reading costs more than
/// the rest of a small event.
inline int IntegerOf(GVariant* payload, gsize place)
{
    const Util::VariantPtr integer(g_variant_get_child_value(payload, place));
    return g_variant_get_int32(integer.get());
}

/// A payload of integers alone, floating: "(i)", "(iiii)".
template <typename... Integers>
GVariant* PayloadOf(Integers... integers)
{
    std::array<GVariant*, sizeof...(Integers)> children = {g_variant_new_int32(integers)...};
    return g_variant_new_tuple(children.data(), children.size());
}
