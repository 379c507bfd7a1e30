#include "vyrel-companion/Options.h"

#include "people/Arguments.h"

#include <CLI/CLI.hpp>
#include <utility>

namespace companion {

const char* const kHelp =
    R"(usage: vyrel-companion [OPTION...]
       vyrel-companion [OPTION...] known
       vyrel-companion [OPTION...] trust ADDRESS
       vyrel-companion [OPTION...] forget ADDRESS

A connection manager for a box that has none: it answers the Bluetooth service, decides who may pair and connect, remembers
whom it let in, brings the last speaker back when the service asks for it, and prints what people should know.

  (none)    runs until SIGINT or SIGTERM
  known     lists the devices that may pair and connect without a question
  trust     adds a device to them, before or after it was paired; the running companion takes it in
  forget    takes it away

Who is not known is decided about by a rule:
  ask         on the terminal, as long as the service waits. Without a terminal it is as "known-only": nobody could see
              the question
  known-only  refused
  never       refused, as those who are known

options, which can stand anywhere:
  --rule RULE     the rule, in place of the key file's
  --config FILE   the key file (default: ROOT/etc/vyrel-lite/companion.conf)
  --root DIR      a folder put in front of all paths
  --help          prints this text

The key file, whose lines can all be left out:
  [pairing]
  rule=ask        or known-only, never
  pin=0000        for known devices that ask for a PIN

exit status:
  0  done, or told to end
  1  forget: no such device is known
  2  the command line is wrong
  4  the bus is gone or cannot be used, or something cannot be read or written
  6  this user may not be the connection manager
  7  another connection manager runs
)";

namespace {

class Parser
{
public:
    Parser();

    Options Parse(std::vector<std::string> reversed);

private:
    CLI::App* Add(const char* name, Action action);

    CLI::App m_app;
    Options m_options;
};

Parser::Parser()
{
    m_app.set_help_flag("-h,--help");
    m_app.require_subcommand(0, 1);
    m_app.add_option("--root", m_options.root)->take_last();
    m_app.add_option("--config", m_options.config)->take_last();
    const auto takeRule = [this](const std::string& text) {
        m_options.rule = RuleNamed(text);
        if (!m_options.rule) {
            throw CLI::ValidationError("\"" + text + "\" is none of ask, known-only and never");
        }
    };
    m_app.add_option_function<std::string>("--rule", takeRule)->take_last();
    Add("known", Action::Known);
    people::AddAddress(Add("trust", Action::Trust), m_options.address);
    people::AddAddress(Add("forget", Action::Forget), m_options.address);
}

CLI::App* Parser::Add(const char* name, Action action)
{
    CLI::App* command = m_app.add_subcommand(name);
    command->fallthrough(); // the options of the program may follow the command
    command->set_help_flag();
    command->callback([this, action] { m_options.action = action; });
    return command;
}

Options Parser::Parse(std::vector<std::string> reversed)
{
    m_app.parse(std::move(reversed));
    return m_options;
}

} // namespace

std::optional<Options> ParseOptions(const std::vector<std::string>& arguments, std::string& error)
{
    Options help;
    help.action = Action::Help;
    return people::ParseArguments<Parser>(arguments, help, error);
}

} // namespace companion
