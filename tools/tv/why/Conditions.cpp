#include "tv/why/Conditions.h"

#include "tv/why/Tables.h"

#include <algorithm>
#include <utility>

namespace why {

Tables EmbeddedTables(); // written by the build

const std::vector<Outcome>& Outcomes()
{
    static const std::vector<Outcome> outcomes = OutcomesOf(EmbeddedTables());
    return outcomes;
}

const Outcome* OutcomeOf(std::string_view name)
{
    const auto found = std::ranges::find(Outcomes(), name, &Outcome::name);
    return found != Outcomes().end() ? &*found : nullptr;
}

const Way* WayOf(const Outcome& outcome, std::string_view name)
{
    const auto found = std::ranges::find(outcome.ways, name, &Way::name);
    return found != outcome.ways.end() ? &*found : nullptr;
}

} // namespace why
