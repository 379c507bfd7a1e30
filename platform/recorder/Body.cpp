#include "recorder/Body.h"

#include <memory>

namespace recorder {

GVariant* InOrderOfRecordings(GVariant* body)
{
    return G_BYTE_ORDER == G_LITTLE_ENDIAN ? g_variant_ref(body) : g_variant_byteswap(body);
}

GVariant* BodyOf(const std::string& type, const void* bytes, std::size_t size)
{
    if (g_variant_type_string_is_valid(type.c_str()) == FALSE ||
        g_variant_type_is_definite(G_VARIANT_TYPE(type.c_str())) == FALSE) {
        return nullptr;
    }
    const std::unique_ptr<GBytes, decltype(&g_bytes_unref)> copy(g_bytes_new(bytes, size), g_bytes_unref);
    const std::unique_ptr<GVariant, decltype(&g_variant_unref)> body(
        g_variant_ref_sink(g_variant_new_from_bytes(G_VARIANT_TYPE(type.c_str()), copy.get(), FALSE)), g_variant_unref);
    return InOrderOfRecordings(body.get());
}

} // namespace recorder
