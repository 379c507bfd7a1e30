#include "NotSupported.h"

#include "Log.h"

#include <algorithm>
#include <string_view>
#include <vector>

int NotSupported(const char* function, const char* why)
{
    constexpr int kNotSupported = -95;
    static std::vector<std::string_view> said;
    if (std::find(said.begin(), said.end(), function) == said.end()) {
        said.emplace_back(function);
        PLATFORM_LOG(DLOG_WARN, "%s is not supported: %s", function, why);
    }
    return kNotSupported;
}
