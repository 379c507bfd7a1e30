#include "Options.h"

#include "settings/Store.h"

#include <charconv>
#include <map>

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
  unset    removes the value; nobody is told
  list     prints key, type and value of every setting whose key begins with PREFIX, between tabs
  watch    prints key, type and value of every write, between tabs, until SIGINT or SIGTERM, N writes or the time-out;
           says "watching" on standard error once no write can be missed any more

In the lines of list and watch, \\, \n, \t and \xHH stand for a backslash, a line end, a tab and other control bytes.

options:
  --root DIR         a folder put in front of both places (the root of a simulated television)
  --persistent DIR   where the db/ keys are kept (default: ROOT/var/lib/vyrel-lite)
  --memory DIR       where the memory/ keys are kept (default: ROOT/run/vyrel-lite)
  --help             prints this text

exit status:
  0  done
  1  the key holds no value; watch: the time-out came before the N writes
  2  the command line is wrong
  3  the value is of another type
  4  the store cannot be used
)";

namespace {

using Arguments = std::vector<std::string>;

constexpr std::size_t kShown = 100; // bytes of a key, in a message

std::optional<int> ParseInt(const std::string& text)
{
    int number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool whole = !text.empty() && end == text.data() + text.size();
    return error == std::errc() && whole ? std::optional<int>(number) : std::nullopt;
}

class Parser
{
public:
    explicit Parser(const Arguments& arguments) : m_arguments(arguments) {}

    std::optional<Options> Parse(std::string& error);

private:
    bool ParseOption(const std::string& option);
    bool ParseCommand(const std::string& word);
    bool ParseType(const std::string& option);
    bool ParseNumber(const std::string& option, std::optional<int>& number);
    bool TakeText(const std::string& option, std::string& text);
    bool CheckOperands();
    bool CheckOptions();
    bool Fail(const std::string& error);

    const Arguments& m_arguments;
    std::size_t m_next = 0;
    std::string m_error;
    Options m_options;
    bool m_commandSeen = false;
    std::string m_root;
    std::string m_persistent;
    std::string m_memory;
};

std::optional<Options> Parser::Parse(std::string& error)
{
    while (m_next < m_arguments.size()) {
        const std::string& argument = m_arguments[m_next++];
        if (argument == "--help" || argument == "-h") {
            return Options{};
        }
        const bool understood = argument.starts_with("-") ? ParseOption(argument) : ParseCommand(argument);
        if (!understood) {
            error = m_error;
            return std::nullopt;
        }
    }
    if (!CheckOperands() || !CheckOptions()) {
        error = m_error;
        return std::nullopt;
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

bool Parser::ParseCommand(const std::string& word)
{
    if (m_commandSeen) {
        m_options.operands.push_back(word);
        return true;
    }
    static const std::map<std::string, Action> kActions = {{"get", Action::Get},
                                                           {"set", Action::Set},
                                                           {"unset", Action::Unset},
                                                           {"list", Action::List},
                                                           {"watch", Action::Watch}};
    const auto action = kActions.find(word);
    if (action == kActions.end()) {
        return Fail("there is no command \"" + word + "\"");
    }
    m_commandSeen = true;
    m_options.action = action->second;
    return true;
}

bool Parser::ParseOption(const std::string& option)
{
    if (option == "--root") {
        return TakeText(option, m_root);
    }
    if (option == "--persistent") {
        return TakeText(option, m_persistent);
    }
    if (option == "--memory") {
        return TakeText(option, m_memory);
    }
    if (option == "--count") {
        return ParseNumber(option, m_options.count);
    }
    if (option == "--timeout") {
        return ParseNumber(option, m_options.timeoutSeconds);
    }
    if (option == "--type") {
        m_options.showType = true;
        return true;
    }
    if (option == "--int" || option == "--bool" || option == "--string") {
        return ParseType(option);
    }
    return Fail("there is no option \"" + option + "\"");
}

bool Parser::ParseType(const std::string& option)
{
    if (m_options.value) {
        return Fail("a setting has one type: \"" + option + "\" is one too many");
    }
    if (m_options.action == Action::Get) {
        // Only the type counts: what is read must be of it.
        m_options.value = option == "--int"    ? settings::Value(0)
                          : option == "--bool" ? settings::Value(false)
                                               : settings::Value(std::string());
        return true;
    }
    std::string text;
    if (!TakeText(option, text)) {
        return false;
    }
    if (option == "--string") {
        m_options.value = text;
        return true;
    }
    if (option == "--bool") {
        if (text != "true" && text != "false") {
            return Fail("\"" + text + "\" is neither true nor false");
        }
        m_options.value = text == "true";
        return true;
    }
    const std::optional<int> number = ParseInt(text);
    if (!number) {
        return Fail("\"" + text + "\" is not a whole number of 32 bits");
    }
    m_options.value = *number;
    return true;
}

bool Parser::ParseNumber(const std::string& option, std::optional<int>& number)
{
    std::string text;
    if (!TakeText(option, text)) {
        return false;
    }
    number = ParseInt(text);
    return (number && *number > 0) || Fail(option + " takes a number above 0, not \"" + text + "\"");
}

bool Parser::TakeText(const std::string& option, std::string& text)
{
    if (m_next == m_arguments.size()) {
        return Fail(option + " takes a value");
    }
    text = m_arguments[m_next++];
    return true;
}

bool Parser::CheckOperands()
{
    const std::size_t operands = m_options.operands.size();
    switch (m_options.action) {
    case Action::Help:
        return Fail("a command is missing");
    case Action::List:
        return operands <= 1 || Fail("list takes one prefix at most");
    case Action::Watch:
        return operands > 0 || Fail("watch takes a key");
    case Action::Get:
    case Action::Set:
    case Action::Unset:
        break;
    }
    return operands == 1 || Fail("this command takes one key");
}

bool Parser::CheckOptions()
{
    const Action action = m_options.action;
    for (const std::string& key : m_options.operands) {
        const std::string objection = settings::Store::Objection(key, m_options.value.value_or(false));
        if ((action == Action::Set || action == Action::Watch) && !objection.empty()) {
            return Fail("\"" + key.substr(0, kShown) + "\" cannot be kept: " + objection);
        }
    }
    if (action == Action::Set && !m_options.value) {
        return Fail("set takes a value: --int, --bool or --string");
    }
    if (action != Action::Set && action != Action::Get && m_options.value) {
        return Fail("only get and set take a type");
    }
    if (action != Action::Get && m_options.showType) {
        return Fail("only get takes --type");
    }
    if (action != Action::Watch && (m_options.count || m_options.timeoutSeconds)) {
        return Fail("only watch takes --count and --timeout");
    }
    return true;
}

bool Parser::Fail(const std::string& error)
{
    m_error = error;
    return false;
}

} // namespace

std::optional<Options> ParseOptions(const std::vector<std::string>& arguments, std::string& error)
{
    return Parser(arguments).Parse(error);
}

} // namespace command
