#include "sim/Features.h"

#include <system_info.h>

namespace sim {

namespace {

constexpr int kNotFound = -2;

template <typename Map, typename Value>
int Find(const Map& map, const std::string& key, Value& value)
{
    const auto found = map.find(key);
    if (found == map.end()) {
        return kNotFound;
    }
    value = found->second;
    return 0;
}

} // namespace

std::string Features::Key(std::string_view feature)
{
    return "com.quorix/featureconf/" + std::string(feature);
}

void Features::Forgets(std::string_view feature)
{
    m_bools.erase(Key(feature));
    m_ints.erase(Key(feature));
}

int Features::GetBool(const std::string& key, bool& value) const
{
    return Find(m_bools, key, value);
}

int Features::GetInt(const std::string& key, int& value) const
{
    return Find(m_ints, key, value);
}

int Features::GetSystemInt(int number, int& value) const
{
    if (number != SYSTEM_INFO_IR_KEY_CODE || !irKeyCode) {
        return kNotFound;
    }
    value = *irKeyCode;
    return 0;
}

} // namespace sim
