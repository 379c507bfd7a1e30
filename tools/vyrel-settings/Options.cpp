#include "Options.h"

#include "settings/Store.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <cstddef>
#include <map>
#include <stdexcept>
#include <system_error>
#include <utility>
#include <variant>

namespace command {

const char* const kHelp =
    R"(usage: vyrel-settings [OPTION...] get KEY [--type]
       vyrel-settings [OPTION...] set KEY --int NUMBER | --bool true|false | --string TEXT
       vyrel-settings [OPTION...] unset KEY
       vyrel-settings [OPTION...] list [PREFIX]
       vyrel-settings [OPTION...] watch KEY... [--count N] [--timeout SECONDS]

Reads, writes and watches the settings of the television. Keys under db/ survive a reboot, keys under memory/ do not.

  get      prints the value; with --type its type (bool, int or string)
           with --int, --bool or --string (without a value): fails when the value is of another type
  set      writes the value together with its type, and tells all who watch the key
           a key or a string of more than 1 MiB is refused
  unset    removes the value; nobody is told
  list     prints key, type and value of every setting whose key begins with PREFIX, between tabs
  watch    prints key, type and value of every write, between tabs, until SIGINT or SIGTERM, N writes or the time-out;
           says "watching" on standard error once no write can be missed any more

In the lines of list and watch, \\, \n, \t and \xHH stand for a backslash, a line end, a tab and other control bytes.

options, which can stand anywhere, as --root DIR or --root=DIR; what follows -- is a key or a prefix:
  --root DIR         a folder put in front of both places (the root of a simulated television)
  --persistent DIR   where the db/ keys are kept (default: ROOT/var/lib/vyrel-lite)
  --memory DIR       where the memory/ keys are kept (default: ROOT/run/vyrel-lite)
  --help             prints this text

exit status:
  0  done
  1  the key holds no value; watch: the time-out came before the N writes
  2  the command line is wrong
  3  the value is of another type
  4  the store cannot be used, or the output cannot be written
)";

namespace {

using Arguments = std::vector<std::string>;

int ParseInt(const std::string& text)
{
    int number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || text.empty() || end != text.data() + text.size()) {
        throw CLI::ValidationError("\"" + text + "\" is not a whole number of 32 bits");
    }
    return number;
}

bool ParseBool(const std::string& text)
{
    if (text != "true" && text != "false") {
        throw CLI::ValidationError("\"" + text + "\" is neither true nor false");
    }
    return text == "true";
}

void CheckKey(const std::string& key, const settings::Value& value)
{
    if (const std::string objection = settings::Store::Objection(key, value); !objection.empty()) {
        constexpr std::size_t kShown = 100; // bytes of a key that may be long
        throw CLI::ValidationError("\"" + key.substr(0, kShown) + "\" cannot be kept: " + objection);
    }
}

// CLI11 gives "--option=" the next argument; here it means an empty value, as everywhere. After an option without "="
// it is that option's value.
Arguments WithEmptyValuesApart(const Arguments& arguments)
{
    Arguments apart;
    for (const std::string& argument : arguments) {
        const auto isOption = [](const std::string& text) { return text.starts_with("--"); };
        const bool isValue = !apart.empty() && isOption(apart.back()) && apart.back().find('=') == std::string::npos;
        if (!isValue && isOption(argument) && argument.find('=') == argument.size() - 1) {
            apart.push_back(argument.substr(0, argument.size() - 1));
            apart.emplace_back();
        } else {
            apart.push_back(argument);
        }
    }
    return apart;
}

class Parser
{
public:
    Parser();

    Options Parse(const Arguments& arguments);

private:
    CLI::App* AddCommand(const char* name, Action action);
    void AddGet();
    void AddSet();
    void AddWatch();
    void AddPositiveNumber(CLI::App* command, const char* option, std::optional<int>& number);

    CLI::App m_app;
    Options m_options;
    std::string m_root;
    std::string m_persistent;
    std::string m_memory;
};

Parser::Parser()
{
    m_app.set_help_flag("-h,--help");
    m_app.require_subcommand(1);
    m_app.add_option("--root", m_root)->take_last();
    m_app.add_option("--persistent", m_persistent)->take_last();
    m_app.add_option("--memory", m_memory)->take_last();
    AddGet();
    AddSet();
    AddCommand("unset", Action::Unset)->add_option("KEY", m_options.operands)->required()->expected(1);
    AddCommand("list", Action::List)->add_option("PREFIX", m_options.operands)->expected(1);
    AddWatch();
}

CLI::App* Parser::AddCommand(const char* name, Action action)
{
    CLI::App* command = m_app.add_subcommand(name);
    command->fallthrough(); // the options of the program may follow the command
    command->set_help_flag();
    command->callback([this, action] { m_options.action = action; });
    return command;
}

void Parser::AddGet()
{
    CLI::App* get = AddCommand("get", Action::Get);
    get->add_option("KEY", m_options.operands)->required()->expected(1);
    get->add_flag("--type", m_options.showType)->disable_flag_override();
    CLI::App* type = get->add_option_group("type")->require_option(0, 1);
    // Only the type counts: what is read must be of it.
    type->add_flag_callback("--int", [this] { m_options.value = 0; })->disable_flag_override();
    type->add_flag_callback("--bool", [this] { m_options.value = false; })->disable_flag_override();
    type->add_flag_callback("--string", [this] { m_options.value = std::string(); })->disable_flag_override();
}

void Parser::AddSet()
{
    CLI::App* set = AddCommand("set", Action::Set);
    set->add_option("KEY", m_options.operands)->required()->expected(1);
    CLI::App* value = set->add_option_group("value")->require_option(1);
    using Text = const std::string&;
    value->add_option_function<std::string>("--int", [this](Text text) { m_options.value = ParseInt(text); });
    value->add_option_function<std::string>("--bool", [this](Text text) { m_options.value = ParseBool(text); });
    value->add_option_function<std::string>("--string", [this](Text text) { m_options.value = text; });
}

void Parser::AddWatch()
{
    CLI::App* watch = AddCommand("watch", Action::Watch);
    watch->add_option("KEY", m_options.operands)->required();
    AddPositiveNumber(watch, "--count", m_options.count);
    AddPositiveNumber(watch, "--timeout", m_options.timeoutSeconds);
}

void Parser::AddPositiveNumber(CLI::App* command, const char* option, std::optional<int>& number)
{
    command->add_option_function<std::string>(option, [option, &number](const std::string& text) {
        number = ParseInt(text);
        if (*number <= 0) {
            throw CLI::ValidationError(std::string(option) + " takes a number above 0");
        }
    });
}

Options Parser::Parse(const Arguments& arguments)
{
    Arguments reversed = WithEmptyValuesApart(arguments);
    std::reverse(reversed.begin(), reversed.end()); // as CLI11 takes them
    m_app.parse(std::move(reversed));
    if (m_options.action == Action::Set || m_options.action == Action::Watch) {
        for (const std::string& key : m_options.operands) {
            CheckKey(key, m_options.value.value_or(false));
        }
    }
    m_options.folders = settings::FoldersUnder(m_root);
    if (!m_persistent.empty()) {
        m_options.folders.persistent = m_persistent;
    }
    if (!m_memory.empty()) {
        m_options.folders.memory = m_memory;
    }
    return m_options;
}

} // namespace

std::optional<Options> ParseOptions(const std::vector<std::string>& arguments, std::string& error)
{
    try {
        return Parser().Parse(arguments);
    } catch (const CLI::CallForHelp&) {
        return Options{};
    } catch (const CLI::ParseError& wrong) {
        error = wrong.what();
        return std::nullopt;
    }
}

} // namespace command
