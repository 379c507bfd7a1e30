#include "tv/page/Files.h"

#include <gio/gio.h>

#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <utility>

// As the compiler of resources writes them.
extern "C" {
void page_files_register_resource();
GResource* page_files_get_resource();
}

namespace page {

namespace {

constexpr std::array<std::pair<std::string_view, std::string_view>, 4> kTypes = {{
    {".html", "text/html; charset=utf-8"},
    {".css", "text/css; charset=utf-8"},
    {".js", "text/javascript; charset=utf-8"},
    {".svg", "image/svg+xml"},
}};

GResource* Resource()
{
    static GResource* const resource = [] {
        page_files_register_resource();
        return page_files_get_resource();
    }();
    return resource;
}

} // namespace

std::optional<File> FindFile(std::string_view path)
{
    const std::string name = path == "/" ? "/index.html" : std::string(path);
    const auto* type = std::ranges::find_if(kTypes, [&](const auto& known) { return name.ends_with(known.first); });
    if (type == kTypes.end()) {
        return std::nullopt;
    }
    GBytes* found = g_resource_lookup_data(Resource(), name.c_str(), G_RESOURCE_LOOKUP_FLAGS_NONE, nullptr);
    if (found == nullptr) {
        return std::nullopt;
    }
    gsize size = 0;
    const auto* bytes = static_cast<const char*>(g_bytes_get_data(found, &size));
    const File file = {type->second, {bytes, size}};
    g_bytes_unref(found); // what it shows lies in the program itself and stays
    return file;
}

} // namespace page
