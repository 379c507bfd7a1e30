#pragma once

#include <optional>
#include <string>
#include <vector>

namespace front {

/// What the command line says.
struct Options
{
    enum class Action
    {
        Help,
        Desk,      ///< a television to drive
        Replay,    ///< recordings that the service is held against
        Run,       ///< scenarios to be held against what happens
        Timeline,  ///< a run to be looked at
        Show,      ///< what was recorded, in words
        Anonymous, ///< a recording without addresses and names
        Why,       ///< something happened in a run
        WhyNot     ///< something did not happen in a run
    };

    Action action = Action::Help;
    bool hasPrompt = true;
    bool hasPage = true;
    int port = 0;         ///< of the page; 0 for any
    std::string scenario; ///< carried out first; empty for none
    std::vector<std::string> files;
    bool verbose = false;
    bool quiet = false;
    bool stay = false;
    bool json = false;
    bool brief = false;
    bool anonymous = false;
    std::string record; ///< the file of the recording; empty for none
    std::string saveTo;
    std::string run;                   ///< the file of one
    std::vector<std::string> question; ///< about the run: its words
    std::string output;
};

extern const char* const kHelp;

/// \return nothing, and why in \p error, when the command line cannot be understood
std::optional<Options> ParseOptions(const std::vector<std::string>& arguments, std::string& error);

} // namespace front
