#pragma once

#include <string>

/// Finds out whether the set was reset since the service last ran: the platform counts resets in two settings, and
/// this class keeps the service's own copy of each count in a file. Counts that differ, and counts that cannot be
/// compared, mean a reset.
///
/// The single steps throw std::runtime_error; isReset and the sync operations do not.
class ResetChecker
{
public:
    int getResetCountFromVconf(int keyId);
    int getFactoryResetCountFromVconf();
    int getServiceResetCountFromVconf();
    int getResetCountFromPreference(const std::string& fileName);
    int getFactoryResetCountFromPreference();
    int getServiceResetCountFromPreference();
    void setResetCountToPreference(int count, const std::string& fileName);
    void setFactoryResetCountToPreference(int count);
    void setServiceResetCountToPreference(int count);
    bool isFactoryReset();
    bool isServiceReset();
    bool isReset();
    void syncFactoryResetCount();
    void syncServiceResetCount();
    void syncResetCount();

private:
    std::string m_factoryFileName = "factoryResetCount.txt";
    std::string m_serviceFileName = "serviceResetCount.txt";
};
