#include "KpiDescription.h"

KpiDescription& KpiDescription::Add(std::string_view key, std::string_view value)
{
    if (!m_items.empty()) {
        m_items += ';';
    }
    m_items.append(key).append("=").append(value);
    return *this;
}

KpiDescription& KpiDescription::Add(std::string_view key, int value)
{
    return Add(key, std::string_view(std::to_string(value)));
}

std::string KpiDescription::Text() const
{
    return "{" + m_items + "}";
}
