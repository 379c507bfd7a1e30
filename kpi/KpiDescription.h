#pragma once

#include <string>
#include <string_view>

/// The text of a usage event as the collector reads it: "{key=value;key=value}".
class KpiDescription
{
public:
    KpiDescription& Add(std::string_view key, std::string_view value);
    KpiDescription& Add(std::string_view key, int value);
    std::string Text() const;

private:
    std::string m_items;
};
