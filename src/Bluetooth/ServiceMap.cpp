#include "Bluetooth/ServiceMap.h"

#include <algorithm>

void ServiceMap::Put(const std::string& address, const char* service)
{
    Remove(address);
    if (m_entries.size() == kMost) {
        m_entries.erase(m_entries.begin());
    }
    m_entries.push_back({address, service});
}

const char* ServiceMap::Find(std::string_view address) const
{
    const auto entry = std::find_if(m_entries.begin(), m_entries.end(),
                                    [address](const Entry& candidate) { return candidate.address == address; });
    return entry != m_entries.end() ? entry->service : nullptr;
}

void ServiceMap::Remove(std::string_view address)
{
    std::erase_if(m_entries, [address](const Entry& entry) { return entry.address == address; });
}
