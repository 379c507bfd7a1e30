#pragma once

#include "tv/front/StopSignals.h"

#include <string>
#include <string_view>

namespace front {

/// The standard output, for text that somebody may read slowly or not at all.
class Output
{
public:
    explicit Output(const StopSignals& signals);

    /// Returns when all is written. Throws Stopped when a signal comes while nobody reads, std::runtime_error when it
    /// cannot be written.
    void Write(std::string_view text) const;

    /// Colours are for terminals, and for those who did not ask to be spared (NO_COLOR).
    [[nodiscard]] bool HasColours() const
    {
        return m_hasColours;
    }
    /// \param code of the terminal, such as "1" for bold
    [[nodiscard]] std::string Coloured(const char* code, const std::string& text) const;

private:
    const StopSignals& m_signals;
    bool m_hasColours;
};

} // namespace front
