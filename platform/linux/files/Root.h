#pragma once

#include <string>
#include <string_view>

namespace files {

/// Where a file that this platform knows by a fixed path really lies: behind platform_root(), which is empty in a
/// product. Every open, test, write or connection by path goes through here; what is logged shows the path as given.
/// \param path absolute
std::string UnderRoot(std::string_view path);

} // namespace files
