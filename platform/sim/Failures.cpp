#include "sim/Failures.h"

#include "sim/FunctionNames.h"
#include "sim/Misuse.h"

#include <algorithm>

namespace sim {

void Failures::Set(std::string_view function, int code, int times)
{
    if (!std::ranges::binary_search(kFunctionNames, function)) {
        Misuse("there is no platform function that could fail of this name: " + std::string(function));
    }
    m_failures.insert_or_assign(std::string(function), Failure{code, times});
}

void Failures::Remove(std::string_view function)
{
    const auto found = m_failures.find(function);
    if (found != m_failures.end()) {
        m_failures.erase(found);
    }
}

std::vector<Failures::Failing> Failures::All() const
{
    std::vector<Failing> all;
    for (const auto& [function, failure] : m_failures) {
        all.push_back({function, failure.code, failure.times});
    }
    return all;
}

std::optional<int> Failures::Take(std::string_view function)
{
    if (m_judge) {
        if (const std::optional<int> code = m_judge(function)) {
            return code;
        }
    }
    const auto found = m_failures.find(function);
    if (found == m_failures.end()) {
        return std::nullopt;
    }
    const int code = found->second.code;
    if (found->second.times != kForever && --found->second.times == 0) {
        m_failures.erase(found);
    }
    return code;
}

} // namespace sim
