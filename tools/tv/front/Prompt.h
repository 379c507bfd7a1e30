#pragma once

#include <functional>
#include <string>

namespace front {

/// A line editor on the terminal, with completion and history, beside other text that comes meanwhile. There is one at
/// a time: the editor has no handle of its own.
class Prompt
{
public:
    /// \param line takes each line, without its end
    /// \param end is called when the user ends the input
    Prompt(std::function<void(const std::string& line)> line, std::function<void()> end);
    ~Prompt();
    Prompt(const Prompt&) = delete;
    Prompt& operator=(const Prompt&) = delete;

    /// To be called when the standard input is readable.
    void Read();

    /// Takes the prompt off the screen, for text that is to be written; Shows puts it there again, with what was typed.
    /// \return what is to be written first
    [[nodiscard]] std::string Hides();
    void Shows();

    /// Forgets what was typed.
    /// \return false when there was nothing
    bool Clears();
};

} // namespace front
