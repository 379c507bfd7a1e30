#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace sim {

/// What kind of set this is. A feature that nobody set is not known.
class Features
{
public:
    /// \param feature the key without its common prefix, "bluetooth.hfp_support"
    void Has(std::string_view feature, bool value = true)
    {
        m_bools.insert_or_assign(Key(feature), value);
    }
    void HasNumber(std::string_view feature, int value)
    {
        m_ints.insert_or_assign(Key(feature), value);
    }
    void Forgets(std::string_view feature);

    // What the platform's functions ask; the result is 0, or the platform's code for a key that is not known.
    int GetBool(const std::string& key, bool& value) const;
    int GetInt(const std::string& key, int& value) const;
    int GetSystemInt(int number, int& value) const;

    std::optional<std::string> modelName = "TV-55";
    std::optional<int> irKeyCode = 0x0107;

private:
    static std::string Key(std::string_view feature);

    std::map<std::string, bool, std::less<>> m_bools;
    std::map<std::string, int, std::less<>> m_ints;
};

} // namespace sim
