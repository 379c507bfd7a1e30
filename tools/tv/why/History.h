#pragma once

#include "tv/run/Run.h"
#include "tv/why/Evidence.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace why {

/// A run by its causes. The run outlives it.
class History
{
public:
    /// Places in the run's entries, in their order.
    using Places = std::vector<std::size_t>;

    explicit History(const run::Run& run);

    [[nodiscard]] const std::vector<run::Entry>& Entries() const
    {
        return m_entries;
    }
    [[nodiscard]] const run::Entry& At(std::size_t place) const
    {
        return m_entries[place];
    }
    [[nodiscard]] std::optional<std::size_t> PlaceOf(std::uint64_t id) const;
    /// What happened while this was handled.
    [[nodiscard]] const Places& EffectsOf(std::size_t place) const
    {
        return m_effects[place];
    }
    /// All that came of it, itself first. Of something that nothing can come of (a line of the log, a call) it is what
    /// came after it in the same handling.
    [[nodiscard]] Places WhatCameOf(std::size_t place) const;
    /// Its causes, the first one first, itself last.
    [[nodiscard]] Places ChainOf(std::size_t place) const;
    /// Where the service was started last; 0 when that is not in the run.
    [[nodiscard]] std::size_t LastStart() const;
    /// The last one before \p end for which \p isIt holds.
    [[nodiscard]] std::optional<std::size_t> LastBefore(std::size_t end,
                                                        const std::function<bool(const run::Entry&)>& isIt) const;

private:
    void AddAllThatCameOf(std::size_t place, Places& places) const;

    const std::vector<run::Entry>& m_entries;
    std::vector<Places> m_effects;
};

/// Whether the service is started.
bool IsStart(const run::Entry& entry);

/// \return empty when it is not known
std::string_view DetailOf(const run::Entry& entry, std::string_view name);

bool IsLike(const run::Entry& entry, const Pattern& pattern);

/// Something that the service does, and somebody outside it would notice.
bool IsDone(const run::Entry& entry);
/// A platform call that only asks.
bool IsQuery(const run::Entry& entry);

} // namespace why
