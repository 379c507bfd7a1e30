#pragma once

#include "log/Journal.h"

#include <string>
#include <string_view>
#include <vector>

namespace kpi {

/// One usage event. Its description is "{key=value;key=value}".
struct Event
{
    struct Item
    {
        std::string key;
        std::string value;
    };

    std::string category;
    std::string name;
    std::string code;
    std::string description;

    /// The description taken apart. A piece without "=" belongs to the value before it: a device may call itself "a;b".
    [[nodiscard]] std::vector<Item> Items() const;

    /// \param time UTC, as ISO 8601 has it
    [[nodiscard]] std::string ToJson(std::string_view time) const;

    /// Hands it to the journal, with a field for each item: KPI_ITEM_ and the key in capitals.
    [[nodiscard]] journal::Journal::Outcome ToJournal() const;
};

} // namespace kpi
