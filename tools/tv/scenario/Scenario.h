#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace scenario {

/// A line of a scenario.
struct Step
{
    std::string text;
    int number; ///< of the line in its file, from 1
};

struct Scenario
{
    std::string file; ///< as it was named
    std::vector<Step> steps;
};

/// Why a file is no scenario: "FILE:LINE: reason", one of them a line.
class Unreadable : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// Reads a file; remarks are left out. Throws Unreadable when it cannot be read, and for lines that nobody understands.
Scenario Read(const std::string& file);

/// The file's name as a title: "an evening" for "scenarios/an-evening.tv".
std::string TitleOf(const std::string& file);

} // namespace scenario
