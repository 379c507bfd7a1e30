#pragma once

#include "support/Child.h"
#include "support/MainLoop.h"
#include "support/TempDir.h"

#include <string>
#include <vector>

namespace people_test {

/// How a command ended.
struct Outcome
{
    int status = -1; ///< of its exit; -1 when it did not exit
    std::string output;
    std::string error;
};

/// A program that runs while this process goes on with its main loop, so that it can ask this process something. Its
/// output goes to files. It is killed when its owner goes.
class Command
{
public:
    /// \param words the program's path and its arguments
    /// \param redirection for the shell, after that of the outputs: "> /dev/full"
    explicit Command(std::vector<std::string> words, const std::string& redirection = {});

    [[nodiscard]] std::string Output() const;
    [[nodiscard]] std::string Error() const;

    /// Runs the main loop until \p text has come out of it, on either way.
    [[nodiscard]] bool Says(const std::string& text);

    void Send(int signal) const
    {
        m_child.Send(signal);
    }

    /// Runs the main loop until it ends.
    Outcome WaitForEnd();

private:
    support::TempDir m_folder;
    support::Child m_child; ///< last, so that it ends before its folder goes
};

/// Runs a program to its end.
Outcome RunToEnd(std::vector<std::string> words, const std::string& redirection = {});

} // namespace people_test
