#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

/// Device address to the kind of its newest connection, until its signal strength is known.
///
/// Some devices come and go before they are asked, and their answer never comes. So that the map does not grow with
/// every address that was ever on the air, the oldest entry makes room for a new one when there are kMost, which is far
/// more than a set has connections at a time.
class ServiceMap
{
public:
    static constexpr std::size_t kMost = 256;

    /// Replaces what the address had; the entry counts as new then.
    /// \param service a literal
    void Put(const std::string& address, const char* service);
    /// \return null when the address has none
    const char* Find(std::string_view address) const;
    void Remove(std::string_view address);

private:
    struct Entry
    {
        std::string address;
        const char* service;
    };

    std::vector<Entry> m_entries; ///< oldest first
};
