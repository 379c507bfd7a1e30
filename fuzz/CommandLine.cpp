// The command lines of the programs for people: the first letter says whose, then one argument a line.

#include "Input.h"
#include "Target.h"
#include "tv/front/Options.h"
#include "vyrel-ctl/Options.h"
#include "vyrel-settings/Options.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace {

template <typename Options>
void HoldsObjection(const Options& options, const std::string& error)
{
    fuzz::Expect(options.has_value() || !error.empty(), "a command line that is refused is told why");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzz::Input input(data, size);
    const char program = input.Letter();
    std::vector<std::string> arguments;
    while (!input.IsAtEnd()) {
        arguments.push_back(input.Until('\n'));
    }
    std::string error;
    switch (program) {
    case 'c':
        HoldsObjection(control::ParseOptions(arguments, error), error);
        break;
    case 's':
        HoldsObjection(command::ParseOptions(arguments, error), error);
        break;
    case 't':
        HoldsObjection(front::ParseOptions(arguments, error), error);
        break;
    default:
        break;
    }
    return 0;
}
