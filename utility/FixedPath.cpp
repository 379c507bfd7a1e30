#include "FixedPath.h"

#include <platform_root.h>

namespace Util {

std::string FixedPath(std::string_view path)
{
    std::string real(platform_root());
    real.append(path);
    return real;
}

} // namespace Util
