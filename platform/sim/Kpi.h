#pragma once

#include <string>
#include <vector>

namespace sim {

struct KpiEvent
{
    std::string category;
    std::string name;
    std::string code;
    std::string description;
    bool wantsAnswer = false; ///< somebody is to be told of its delivery
};

/// The collector of usage events.
class Kpi
{
public:
    std::vector<KpiEvent> events;
};

} // namespace sim
