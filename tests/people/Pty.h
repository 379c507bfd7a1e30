#pragma once

#include <string>

namespace people_test {

/// A terminal with a test in front of it.
class Pty
{
public:
    Pty();
    ~Pty();
    Pty(const Pty&) = delete;
    Pty& operator=(const Pty&) = delete;

    /// For the shell: standard input, output and error are this terminal.
    [[nodiscard]] std::string Redirection() const;

    void Types(const std::string& text) const;
    /// Pulls the plug.
    void HangsUp();

    /// Runs the main loop until \p text has come to the screen.
    [[nodiscard]] bool Shows(const std::string& text);
    [[nodiscard]] const std::string& Screen();

private:
    int m_near = -1; ///< the test's end
    int m_far = -1;  ///< kept open, so that the terminal lasts between its programs
    std::string m_name;
    std::string m_screen;
};

} // namespace people_test
