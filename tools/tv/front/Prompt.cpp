#include "tv/front/Prompt.h"

#include "tv/language/Line.h"
#include "tv/language/Words.h"

#include <editline/readline.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>
#include <vector>

namespace front {

namespace {

constexpr const char* kPrompt = "tv> ";

/// What the editor's callbacks act on.
struct Current
{
    std::function<void(const std::string& line)> line;
    std::function<void()> end;
    std::vector<std::string> candidates;
    bool hidden = false;   ///< the prompt
    bool tookLine = false; ///< since somebody looked
    bool typed = false;    ///< something stands behind the prompt
};

Current& TheOne()
{
    static Current current;
    return current;
}

void TakeLine(char* text)
{
    Current& current = TheOne();
    current.tookLine = true;
    if (text == nullptr) {
        current.end();
        return;
    }
    const std::string line = text;
    std::free(text); // the editor gives it so
    if (!language::IsRemark(line)) {
        add_history(line.c_str());
        current.line(line);
    }
}

char* NextCandidate(const char*, int state)
{
    static std::size_t next = 0;
    next = state == 0 ? 0 : next;
    const std::vector<std::string>& candidates = TheOne().candidates;
    return next < candidates.size() ? ::strdup(candidates[next++].c_str()) : nullptr;
}

char** Complete(const char* text, int, int end)
{
    rl_attempted_completion_over = 1; // no names of files
    TheOne().candidates = language::Completions(std::string_view(rl_line_buffer, static_cast<std::size_t>(end)));
    return TheOne().candidates.empty() ? nullptr : rl_completion_matches(text, NextCandidate);
}

} // namespace

Prompt::Prompt(std::function<void(const std::string& line)> line, std::function<void()> end)
{
    TheOne() = {std::move(line), std::move(end), {}, false, false, false};
    static char name[] = "vyrel-tv";
    static char breaks[] = " \t";
    rl_readline_name = name;
    rl_completer_word_break_characters = breaks;
    rl_attempted_completion_function = Complete;
    rl_catch_signals = 0;
    using_history();
    constexpr int kMostHistory = 1000;
    stifle_history(kMostHistory);
    rl_callback_handler_install(kPrompt, TakeLine);
}

Prompt::~Prompt()
{
    rl_callback_handler_remove();
    clear_history();
    TheOne() = {};
}

void Prompt::Read()
{
    Shows(); // or what is typed would stand without the prompt
    rl_callback_read_char();
    Current& current = TheOne();
    const bool tookLine = std::exchange(current.tookLine, false);
    current.typed = !tookLine && rl_end > 0;
    if (tookLine) {
        // With the line the editor gave the terminal back; without this, keys would be echoed, and not looked at, until
        // the next one is read.
        rl_callback_handler_install(kPrompt, TakeLine);
    }
}

std::string Prompt::Hides()
{
    if (std::exchange(TheOne().hidden, true)) {
        return "";
    }
    return "\r\033[K";
}

void Prompt::Shows()
{
    if (std::exchange(TheOne().hidden, false)) {
        rl_on_new_line();
        rl_forced_update_display();
        std::fflush(rl_outstream != nullptr ? rl_outstream : stdout);
    }
}

bool Prompt::Clears()
{
    if (!std::exchange(TheOne().typed, false)) {
        return false;
    }
    rl_replace_line(" ", 0); // the editor takes no empty text; a blank says as little
    return true;
}

} // namespace front
