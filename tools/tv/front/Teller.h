#pragma once

#include "tv/front/Entry.h"
#include "tv/front/Object.h"
#include "tv/front/Output.h"

#include <functional>
#include <string>

namespace front {

/// Tells what happens, line by line: as a story, or in columns beside a prompt.
class Teller
{
public:
    enum class Style
    {
        Story,  ///< headings, and under them what happens to the set and what the service does about it
        Columns ///< time, lane, and what it was
    };
    struct Settings
    {
        Style style = Style::Story;
        bool verbose = false; ///< also every log line, question and callback
    };
    /// Takes a piece of text, whole lines.
    using Sink = std::function<void(const std::string& text)>;

    /// \param output is asked for colours only
    Teller(const Output& output, Settings settings, Sink sink);

    /// \param object as the Feed tells it
    void Hears(const std::string& object);
    void Begins(const std::string& title);

    /// "3 steps: 12 messages on the bus, ..."
    [[nodiscard]] std::string Summary() const;

private:
    void HearsEntry(const Entry& entry);
    void TellsEvent(const Entry& entry);
    void TellsDoing(const Entry& entry, const std::string& subject, const std::string& text);
    void TellsAnswer(const std::string& text);
    void Counts(const Entry& entry);
    [[nodiscard]] std::string Row(const Entry& entry, const std::string& subject, const std::string& text) const;

    const Output& m_output;
    Settings m_settings;
    Sink m_sink;
    int m_steps = 0;
    int m_messages = 0;
    int m_settingsWritten = 0;
    int m_commands = 0;
    int m_usage = 0;
};

} // namespace front
