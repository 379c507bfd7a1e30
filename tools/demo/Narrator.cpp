#include "Narrator.h"

#include "Words.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <optional>

namespace demo {

Narrator::Narrator(bool verbose) : m_verbose(verbose), m_colours(::isatty(STDOUT_FILENO) == 1) {}

void Narrator::Begins(const std::string& title)
{
    m_title = title;
    m_step.clear();
    ++m_steps;
    std::printf(m_colours ? "\n\033[1m%s\033[0m\n" : "\n%s\n", title.c_str());
    std::fflush(stdout);
}

void Narrator::Print(const char* subject, const std::string& text) const
{
    std::printf(m_colours ? "      \033[36m%-9s\033[0m %s\n" : "      %-9s %s\n", subject, text.c_str());
    std::fflush(stdout);
}

void Narrator::Hears(const sim::Entry& entry)
{
    m_step.push_back(entry.text);
    if (entry.kind == sim::Kind::Note) {
        std::printf("   %s\n", entry.text.c_str());
        std::fflush(stdout);
        return;
    }
    if (entry.kind == sim::Kind::Log && m_verbose) {
        Print("log", entry.text);
    }
    const std::optional<Line> line = InWords(entry);
    if (!line) {
        return;
    }
    m_messages += line->subject == "bus" ? 1 : 0;
    m_settings += line->subject == "setting" ? 1 : 0;
    m_commands += line->subject == "remote" || line->subject == "stand" ? 1 : 0;
    m_usage += line->subject == "usage" ? 1 : 0;
    Print(line->subject.c_str(), line->text);
}

void Narrator::Misses(const std::string& what)
{
    m_failures.push_back(m_title + " — " + what);
    std::printf(m_colours ? "   \033[31m%s\033[0m\n" : "   %s\n", ("NOT AS IT SHOULD: " + what).c_str());
}

void Narrator::ShouldHaveSeen(const std::vector<std::string>& wanted, const std::vector<std::string>& unwanted)
{
    auto from = m_step.begin();
    for (const std::string& text : wanted) {
        from = std::find_if(from, m_step.end(),
                            [&](const std::string& seen) { return seen.find(text) != std::string::npos; });
        if (from == m_step.end()) {
            Misses("missing, or too early: " + text);
            return;
        }
        ++from;
    }
    for (const std::string& text : unwanted) {
        if (std::ranges::any_of(m_step,
                                [&](const std::string& seen) { return seen.find(text) != std::string::npos; })) {
            Misses("should not have come: " + text);
        }
    }
}

void Narrator::Claims(bool holds, const std::string& claim)
{
    if (!holds) {
        Misses(claim);
    }
}

int Narrator::Summarizes() const
{
    std::printf("\n%d steps: %d messages on the bus, %d settings written, %d commands to remotes and stand, "
                "%d usage events\n",
                m_steps, m_messages, m_settings, m_commands, m_usage);
    for (const std::string& failure : m_failures) {
        std::printf("not as it should: %s\n", failure.c_str());
    }
    std::fflush(stdout);
    return static_cast<int>(m_failures.size());
}

} // namespace demo
