#include "Utf8.h"

#include "GlibPointers.h"

#include <glib.h>

namespace Util {

std::string ToValidUtf8(std::string_view text)
{
    if (g_utf8_validate_len(text.data(), text.size(), nullptr) != FALSE) {
        return std::string(text);
    }
    const GlibString valid(g_utf8_make_valid(text.data(), static_cast<gssize>(text.size())));
    return valid.get();
}

} // namespace Util
