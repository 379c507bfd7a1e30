#pragma once

#include <string>

/// Finds out whether the set was reset since the service last ran: the platform counts resets in two settings, and
/// this class keeps the service's own copy of each count in a file. Counts that differ, and counts that cannot be
/// compared, mean a reset.
///
/// The single steps throw std::runtime_error; isReset and the sync operations do not. The object itself has no state:
/// what the set and sync operations change are the files.
class ResetChecker
{
public:
    int getResetCountFromVconf(int keyId) const;
    int getFactoryResetCountFromVconf() const;
    int getServiceResetCountFromVconf() const;
    int getResetCountFromPreference(const std::string& fileName) const;
    int getFactoryResetCountFromPreference() const;
    int getServiceResetCountFromPreference() const;
    void setResetCountToPreference(int count, const std::string& fileName) const;
    void setFactoryResetCountToPreference(int count) const;
    void setServiceResetCountToPreference(int count) const;
    bool isFactoryReset() const;
    bool isServiceReset() const;
    bool isReset() const;
    void syncFactoryResetCount() const;
    void syncServiceResetCount() const;
    void syncResetCount() const;

private:
    std::string m_factoryFileName = "factoryResetCount.txt";
    std::string m_serviceFileName = "serviceResetCount.txt";
};
