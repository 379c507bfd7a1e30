#pragma once

#include <string>

namespace Util {

/// Where the service keeps its files. Paths are the fixed ones: FixedPath says where they really lie.
class AppDataUtil
{
public:
    /// The data folder, ending in a slash. The only getter that does not log its result.
    static std::string getDataPath();
    static std::string GetAppDataFilePath();
    static std::string GetAppDataFilePath(const std::string& name);
    /// The shared folder, ending in a slash.
    static std::string GetAppSharedResourcePath();
    static std::string GetAppSharedResourcePath(const std::string& name);
};

} // namespace Util
