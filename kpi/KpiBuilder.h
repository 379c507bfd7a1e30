#pragma once

#include <glib.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

/// The operation of an event's class that describes what belongs to one code.
template <typename Event>
struct KpiBuilder
{
    std::string_view code;
    void (Event::*build)(GVariant* payload);
};

/// \return null for a code that no row has
template <typename Event, std::size_t Size>
constexpr const KpiBuilder<Event>* FindBuilder(const std::array<KpiBuilder<Event>, Size>& builders,
                                               std::string_view code)
{
    const auto* found = std::find_if(builders.begin(), builders.end(),
                                     [code](const KpiBuilder<Event>& builder) { return builder.code == code; });
    return found != builders.end() ? found : nullptr;
}
