#include "vyrel-ctl/Options.h"

#include "people/Arguments.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <charconv>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>

namespace control {

const char* const kHelp =
    R"(usage: vyrel-ctl [--json] status
       vyrel-ctl [--json] devices [--all]
       vyrel-ctl [--json] remotes
       vyrel-ctl [--json] power [normal|picture-off|standby|suspend|off|reboot]
       vyrel-ctl [--json] pairing list
       vyrel-ctl pairing accept ADDRESS [--code PIN] [--trust]
       vyrel-ctl pairing refuse ADDRESS
       vyrel-ctl [--json] features
       vyrel-ctl [--json] watch [--count N] [--timeout SECONDS]

Shows and tells the Bluetooth service of this box, over the system bus.

  status    all at a glance: service, adapter, power, remotes, devices, sibling services, the last wakes
  devices   the devices that are paired or connected; with --all those in the air too
  remotes   the box's own remotes that were connected since the service started. A battery is a reading from 0 to 31,
            with what the remote says of its level and how long ago
  power     the power state, or another one. Going out, siblings are told first; root or a member of "vyrel" may
  pairing   who waits for an answer, and the answer to all that this device waits for: it is given 25 seconds
            --code is the PIN or the passkey where one is to be entered, --trust spares later questions
  features  the key files of the box, as the service has read them
  watch     all that the service tells its siblings and all, in words, as it happens: until SIGINT or SIGTERM, N messages
            or the time-out; says "watching" on standard error once none can be missed. Only root may: the bus shows
            nobody else what others are told
  --json    the same for programs: one value on one line, for watch one for each message
  --help    prints this text

exit status:
  0  done
  1  no such device waits for an answer; watch: the time-out came before the N messages
  2  the command line is wrong
  4  the bus does not answer or is not there, an answer makes no sense, or the output cannot be written
  5  the service, or the Bluetooth daemon where it is asked, does not run. "status" shows what there is all the same
  6  this user may not
  7  the service will not now: it is on its way out
)";

namespace {

class Parser
{
public:
    Parser();

    Options Parse(std::vector<std::string> reversed);

private:
    CLI::App* Add(CLI::App& parent, const char* name, Action action);
    void AddPairing();
    void AddPositiveNumber(CLI::App* command, const char* option, std::optional<int>& number);

    CLI::App m_app;
    Options m_options;
};

Parser::Parser()
{
    m_app.set_help_flag("-h,--help");
    m_app.require_subcommand(1);
    m_app.add_flag("--json", m_options.json)->disable_flag_override();
    Add(m_app, "status", Action::Status);
    Add(m_app, "devices", Action::Devices)->add_flag("--all", m_options.all)->disable_flag_override();
    Add(m_app, "remotes", Action::Remotes);
    const auto takeState = [this](const std::string& text) {
        constexpr std::array<std::string_view, 6> kStates = {"normal",  "picture-off", "standby",
                                                             "suspend", "off",         "reboot"};
        if (std::ranges::find(kStates, text) == kStates.end()) {
            throw CLI::ValidationError("\"" + text + "\" is no power state to go to");
        }
        m_options.state = text;
    };
    Add(m_app, "power", Action::Power)->add_option_function<std::string>("STATE", takeState);
    AddPairing();
    Add(m_app, "features", Action::Features);
    CLI::App* watch = Add(m_app, "watch", Action::Watch);
    AddPositiveNumber(watch, "--count", m_options.count);
    AddPositiveNumber(watch, "--timeout", m_options.timeoutSeconds);
}

CLI::App* Parser::Add(CLI::App& parent, const char* name, Action action)
{
    CLI::App* command = parent.add_subcommand(name);
    command->fallthrough(); // --json may follow the command
    command->set_help_flag();
    command->callback([this, action] { m_options.action = action; });
    return command;
}

void Parser::AddPairing()
{
    CLI::App* pairing = m_app.add_subcommand("pairing");
    pairing->fallthrough();
    pairing->set_help_flag();
    pairing->require_subcommand(1);
    Add(*pairing, "list", Action::PairingList);
    CLI::App* accept = Add(*pairing, "accept", Action::PairingAccept);
    people::AddAddress(accept, m_options.address);
    accept->add_option("--code", m_options.code);
    accept->add_flag("--trust", m_options.trust)->disable_flag_override();
    people::AddAddress(Add(*pairing, "refuse", Action::PairingRefuse), m_options.address);
}

void Parser::AddPositiveNumber(CLI::App* command, const char* option, std::optional<int>& number)
{
    command->add_option_function<std::string>(option, [option, &number](const std::string& text) {
        int value = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
        if (error != std::errc() || end != text.data() + text.size() || value <= 0) {
            throw CLI::ValidationError(std::string(option) + " takes a whole number above 0");
        }
        number = value;
    });
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

} // namespace control
