#include "ResetChecker/ResetChecker.h"

#include "AppDataUtil.h"
#include "LiteDebug.h"
#include "SafeFile.h"
#include "VconfKeyId.h"
#include "VconfUtil.h"

#include <exception>
#include <optional>
#include <stdexcept>

namespace {

constexpr int kNoCount = -1;

const char* WordOf(bool isFactory)
{
    return isFactory ? "factory" : "service";
}

} // namespace

int ResetChecker::getResetCountFromVconf(int keyId) const
{
    const char* word = WordOf(keyId == VconfKey::DB_FACTORY_FACTORY_RESET_COUNT);
    int count = kNoCount;
    Util::VconfUtil::GetVconf(keyId, count);
    if (count == kNoCount) {
        throw std::runtime_error(std::string("fail to get") + word + " reset count");
    }
    LOGE("<<Not Error>%s reset count = %d", word, count);
    return count;
}

int ResetChecker::getFactoryResetCountFromVconf() const
{
    return getResetCountFromVconf(VconfKey::DB_FACTORY_FACTORY_RESET_COUNT);
}

int ResetChecker::getServiceResetCountFromVconf() const
{
    return getResetCountFromVconf(VconfKey::DB_FACTORY_SERVICE_RESET_COUNT);
}

int ResetChecker::getResetCountFromPreference(const std::string& fileName) const
{
    const std::optional<std::string> text = Util::SafeFile::Read(Util::AppDataUtil::GetAppDataFilePath(fileName));
    if (!text) {
        throw std::runtime_error("open fail");
    }
    // A file without a number counts as 0, which differs from every count that a reset has raised.
    const int count = Util::SafeFile::ToInt(*text);
    LOGE("<<Not Error> %s reset count = %d", WordOf(fileName == m_factoryFileName), count);
    return count;
}

int ResetChecker::getFactoryResetCountFromPreference() const
{
    return getResetCountFromPreference(m_factoryFileName);
}

int ResetChecker::getServiceResetCountFromPreference() const
{
    return getResetCountFromPreference(m_serviceFileName);
}

void ResetChecker::setResetCountToPreference(int count, const std::string& fileName) const
{
    if (!Util::SafeFile::Replace(Util::AppDataUtil::GetAppDataFilePath(fileName), std::to_string(count))) {
        throw std::runtime_error("open fail");
    }
    LOGE("<<Not Error> %s reset count = %d", WordOf(fileName == m_factoryFileName), count);
}

void ResetChecker::setFactoryResetCountToPreference(int count) const
{
    setResetCountToPreference(count, m_factoryFileName);
}

void ResetChecker::setServiceResetCountToPreference(int count) const
{
    setResetCountToPreference(count, m_serviceFileName);
}

bool ResetChecker::isFactoryReset() const
{
    const int count = getFactoryResetCountFromVconf();
    return getFactoryResetCountFromPreference() != count;
}

bool ResetChecker::isServiceReset() const
{
    const int count = getServiceResetCountFromVconf();
    return getServiceResetCountFromPreference() != count;
}

bool ResetChecker::isReset() const
{
    try {
        return isFactoryReset() || isServiceReset();
    } catch (const std::exception&) {
        LOGE("fail to comapre reset count");
        return true;
    }
}

void ResetChecker::syncFactoryResetCount() const
{
    try {
        setFactoryResetCountToPreference(getFactoryResetCountFromVconf());
        LOGE("<<Not Error>> sync factory count");
    } catch (const std::runtime_error&) {
        LOGE("fail to syncFactoryResetCount");
    }
}

void ResetChecker::syncServiceResetCount() const
{
    try {
        setServiceResetCountToPreference(getServiceResetCountFromVconf());
        LOGE("<<Not Error>> sync Service count");
    } catch (const std::runtime_error&) {
        LOGE("fail to syncServiceResetCount");
    }
}

void ResetChecker::syncResetCount() const
{
    try {
        syncFactoryResetCount();
        syncServiceResetCount();
        LOGE("<<Not Error>> sync factory count"); // said of both counts: readers of the log look for this text
    } catch (const std::exception&) {
        LOGE("fail to syncFactoryResetCount");
    }
}
