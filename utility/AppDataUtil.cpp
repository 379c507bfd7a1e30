#include "AppDataUtil.h"

#include "DlogUtil.h"

namespace Util {

namespace {

constexpr const char* kDataFolder = "/opt/usr/home/owner/apps_rw/org.vantor.vyrel/data/";
constexpr const char* kSharedFolder = "/opt/usr/home/owner/apps_rw/org.vantor.vyrel/shared/";

} // namespace

std::string AppDataUtil::getDataPath()
{
    return kDataFolder;
}

std::string AppDataUtil::GetAppDataFilePath()
{
    LOGD("path = %s", kDataFolder);
    return kDataFolder;
}

std::string AppDataUtil::GetAppDataFilePath(const std::string& name)
{
    std::string path = kDataFolder + name;
    LOGD("path = %s", path.c_str());
    return path;
}

std::string AppDataUtil::GetAppSharedResourcePath()
{
    LOGD("path = %s", kSharedFolder);
    return kSharedFolder;
}

std::string AppDataUtil::GetAppSharedResourcePath(const std::string& name)
{
    std::string path = kSharedFolder + name;
    LOGD("path = %s", path.c_str());
    return path;
}

} // namespace Util
