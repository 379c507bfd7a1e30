#pragma once

#include <glib.h>

/// True for a payload of exactly this type; null is none.
inline bool IsPayload(GVariant* payload, const char* type)
{
    return payload != nullptr && g_variant_is_of_type(payload, G_VARIANT_TYPE(type)) != FALSE;
}
