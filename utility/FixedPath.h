#pragma once

#include <string>
#include <string_view>

namespace Util {

/// Where a file that the service knows by a fixed path really lies: behind the platform's root, which is empty on a
/// television set. Every open, test or write of a fixed path goes through here; texts that are logged show the path
/// as it was given.
/// \param path absolute
std::string FixedPath(std::string_view path);

} // namespace Util
