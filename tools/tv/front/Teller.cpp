#include "tv/front/Teller.h"

#include "tv/front/Object.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <sstream>
#include <utility>

namespace front {

namespace {

constexpr const char* kBold = "1";
constexpr const char* kCyan = "36";
constexpr const char* kRed = "31";
constexpr const char* kGrey = "90";

std::string Padded(std::string text, std::size_t columns)
{
    if (text.size() < columns) {
        text.resize(columns, ' ');
    }
    return text;
}

std::string Time(std::int64_t microseconds)
{
    std::array<char, 32> text = {};
    std::snprintf(text.data(), text.size(), "%10.3f", static_cast<double>(microseconds) / 1e6);
    return text.data();
}

/// One line, and nothing that steers a terminal.
std::string Tame(std::string text)
{
    for (char& character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte < 0x20 || byte == 0x7F) {
            character = ' ';
        }
    }
    return text;
}

} // namespace

Teller::Teller(const Output& output, Settings settings, Sink sink)
    : m_output(output),
      m_settings(settings),
      m_sink(std::move(sink))
{}

void Teller::Begins(const std::string& title)
{
    ++m_steps;
    m_sink("\n" + m_output.Coloured(kBold, Tame(title)) + "\n");
}

void Teller::Hears(const std::string& text)
{
    if (text.starts_with("{\"state\"")) {
        return; // there may be thousands, and each is long
    }
    const Object object = Object::Parse(text);
    if (object.Has("id")) {
        HearsEntry(Entry::From(object));
    } else if (object.Has("story")) {
        Begins(object.Text("story"));
    } else if (object.Has("finding")) {
        m_sink("   " + m_output.Coloured(kRed, "NOT AS IT SHOULD: " + Tame(object.Text("finding"))) + "\n");
    } else if (object.Has("help")) {
        m_sink(object.Text("help"));
    } else if (object.Has("answer")) {
        TellsAnswer(object.Member("answer").Text("text"));
    } else if (object.Has("done") && !object.Member("done").Text("error").empty()) {
        const std::string mark = m_settings.style == Style::Story ? "   NOT AS IT SHOULD: " : "   ";
        m_sink(m_output.Coloured(kRed, mark + object.Member("done").Text("error")) + "\n");
    }
}

void Teller::HearsEntry(const Entry& entry)
{
    Counts(entry);
    if (entry.kind == "note" || entry.kind == "life") {
        TellsEvent(entry);
    } else if (!entry.subject.empty()) {
        TellsDoing(entry, entry.subject, entry.words);
    } else if (m_settings.verbose && entry.kind != "line") {
        TellsDoing(entry, entry.kind, entry.text);
    }
}

void Teller::TellsAnswer(const std::string& text)
{
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        m_sink("   " + Tame(line) + "\n");
    }
}

void Teller::Counts(const Entry& entry)
{
    m_messages += entry.subject == "bus" ? 1 : 0;
    m_settingsWritten += entry.subject == "setting" ? 1 : 0;
    m_commands += entry.subject == "remote" || entry.subject == "stand" ? 1 : 0;
    m_usage += entry.subject == "usage" ? 1 : 0;
}

void Teller::TellsEvent(const Entry& entry)
{
    if (m_settings.style == Style::Story) {
        m_sink("   " + Tame(entry.text) + "\n");
    } else {
        m_sink(Row(entry, "", entry.text));
    }
}

void Teller::TellsDoing(const Entry& entry, const std::string& subject, const std::string& text)
{
    if (m_settings.style == Style::Story) {
        m_sink("      " + m_output.Coloured(kCyan, Padded(subject, 9)) + " " + Tame(text) + "\n");
    } else {
        m_sink(Row(entry, subject, text));
    }
}

std::string Teller::Row(const Entry& entry, const std::string& subject, const std::string& text) const
{
    return m_output.Coloured(kGrey, Time(entry.at)) + "  " + Padded(Tame(entry.lane), 17) + "  " +
           m_output.Coloured(kCyan, Padded(subject, 9)) + " " + Tame(text) + "\n";
}

std::string Teller::Summary() const
{
    std::array<char, 200> text = {};
    std::snprintf(text.data(), text.size(),
                  "%d steps: %d messages on the bus, %d settings written, %d commands to remotes and stand, %d usage "
                  "events",
                  m_steps, m_messages, m_settingsWritten, m_commands, m_usage);
    return text.data();
}

} // namespace front
