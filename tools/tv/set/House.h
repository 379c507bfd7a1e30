#pragma once

#include "sim/Television.h"
#include "tv/language/Line.h"
#include "tv/language/Words.h"

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace set {

/// The set itself, and what other programs on it do: power, adapter, settings, features, flags, files, light, failures.
class House
{
public:
    explicit House(sim::Television& tv) : m_tv(tv) {}

    /// Carries out a line about them; std::runtime_error says what cannot be.
    /// \return false when it is about something else
    bool Does(const language::Line& line);

    /// What a set that is plugged in later has to be told, as lines. Settings and files stay by themselves.
    [[nodiscard]] std::vector<std::string> Furniture() const;

    /// Features by name, with their values as they were written.
    [[nodiscard]] const std::map<std::string, std::string>& Features() const
    {
        return m_features;
    }

private:
    bool DoesPower(const language::Line& line);
    bool DoesAdapter(const language::Line& line);
    bool DoesSettings(const language::Line& line);
    bool DoesProduct(const language::Line& line);
    bool DoesFiles(const language::Line& line);
    bool DoesFailures(const language::Line& line);
    void IsFurnished();
    void Has(const std::string& feature, const language::Word& value);
    void Writes(const std::string& key, const language::Word& value);

    sim::Television& m_tv;
    std::map<std::string, std::string> m_features;
    std::map<std::string, std::string> m_lasting; ///< lines, by what a later one about the same thing replaces
};

} // namespace set
