#pragma once

#include "tv/run/Run.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace timeline {

/// The lanes that a run uses, from what happens to the television over the service to whom it speaks with; the log,
/// which is long, comes last.
class Lanes
{
public:
    explicit Lanes(const run::Run& run);

    [[nodiscard]] const std::vector<std::string>& Names() const
    {
        return m_names;
    }
    [[nodiscard]] std::size_t IndexOf(std::string_view lane) const;

private:
    std::vector<std::string> m_names;
};

} // namespace timeline
