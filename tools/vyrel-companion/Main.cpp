// vyrel-companion: the connection manager of a box that has no other.

#include "people/Failure.h"
#include "people/Json.h"
#include "people/Output.h"
#include "people/Table.h"
#include "vyrel-companion/Companion.h"
#include "vyrel-companion/Friends.h"
#include "vyrel-companion/Options.h"

#include <algorithm>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

namespace companion {
namespace {

constexpr const char* kProgram = "vyrel-companion";

int ListKnown(const Friends& friends)
{
    const auto list = friends.List();
    if (!list) {
        return people::kFailure;
    }
    people::Table table({"ADDRESS", "NAME"});
    for (const auto& [address, name] : *list) {
        table.Add({address, name});
    }
    people::Print(table.IsEmpty() ? "none\n" : table.Lines());
    return people::kDone;
}

int StatusOf(bool isWritten)
{
    return isWritten ? people::kDone : people::kFailure;
}

int Forget(Friends& friends, const std::string& address)
{
    const auto list = friends.List();
    if (!list) {
        return people::kFailure;
    }
    if (std::ranges::none_of(*list, [&](const auto& one) { return one.first == address; })) {
        throw people::Failure(people::kNotThere, address + " is not known");
    }
    return StatusOf(friends.Remove(address));
}

int Perform(const Options& options)
{
    Friends friends(options.root);
    switch (options.action) {
    case Action::Help:
        people::Print(kHelp);
        return people::kDone;
    case Action::Known:
        return ListKnown(friends);
    case Action::Trust:
        return StatusOf(friends.Add(options.address, ""));
    case Action::Forget:
        return Forget(friends, options.address);
    case Action::Run:
        Companion(options).Run();
        return people::kDone;
    }
    return people::kUsage;
}

int Main(const std::vector<std::string>& arguments)
{
    std::string error;
    const std::optional<Options> options = ParseOptions(arguments, error);
    if (!options) {
        std::fprintf(stderr, "%s: %s\nTry '%s --help'.\n", kProgram, error.c_str(), kProgram);
        return people::kUsage;
    }
    return Perform(*options);
}

} // namespace
} // namespace companion

int main(int argc, char** argv)
{
    return people::RunProgram(companion::kProgram,
                              [&] { return companion::Main(std::vector<std::string>(argv + 1, argv + argc)); });
}
