#include "tv/front/Help.h"

#include "tv/language/Commands.h"
#include "tv/language/Line.h"
#include "tv/language/Misunderstood.h"
#include "tv/language/Nearest.h"

#include <cstddef>
#include <string>
#include <vector>

namespace front {

namespace {

constexpr std::size_t kSyntaxColumns = 46;

std::string Row(const language::Command& command)
{
    std::string row = "  " + std::string(command.syntax);
    if (row.size() > kSyntaxColumns) {
        row += "\n" + std::string(kSyntaxColumns, ' ');
    } else {
        row.resize(kSyntaxColumns, ' ');
    }
    return row + "  " + std::string(command.help) + "\n";
}

} // namespace

std::string HelpAbout(std::string_view word)
{
    const std::vector<const language::Command*> commands = language::About(word);
    if (commands.empty()) {
        throw language::Misunderstood("there is no line about \"" + std::string(word.substr(0, 60)) + "\"" +
                                      language::Suggestion(word, language::Completions("")));
    }
    std::string text;
    for (const language::Command* command : commands) {
        text += Row(*command);
    }
    return text;
}

} // namespace front
