#include "files/Root.h"

#include <platform_root.h>

namespace files {

std::string UnderRoot(std::string_view path)
{
    return std::string(platform_root()).append(path);
}

} // namespace files
