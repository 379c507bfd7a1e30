#include "tv/front/Options.h"

#include <CLI/CLI.hpp>
#include <CLI/Validators.hpp>
#include <stdexcept>
#include <utility>

namespace front {

const char* const kHelp =
    R"(usage: vyrel-tv [--page-only | --prompt-only] [--port N] [--scenario FILE] [--verbose]
       vyrel-tv run [--quiet | --verbose] [--stay] [--save FILE] [--record FILE] FILE...
       vyrel-tv timeline RUN -o FILE
       vyrel-tv why RUN [TEXT]
       vyrel-tv why-not RUN OUTCOME [WAY]
       vyrel-tv replay RECORDING...
       vyrel-tv show [--brief | --json] [--anonymous] RECORDING
       vyrel-tv anonymous RECORDING -o FILE

A television on the desk: the service, a simulated set under it, a real message bus and its sibling services beside it.

without a command: a prompt (on a terminal; otherwise lines are read from the standard input) and a page in the browser
  --page-only        only the page
  --prompt-only      only the prompt
  --port N           where the page is; without it, at any port that is free
  --scenario FILE    carries these lines out first; without it, an ordinary set is plugged in

run: plays scenarios, each on a set of its own, and holds them against what they expect
  --quiet            tells only what does not go as it should
  --stay             the television stays on after the last line, until Ctrl-C
  --save FILE        saves all that happened in FILE.run
  --record FILE      records the service's life in FILE; those of earlier lives become FILE.1, FILE.2, ...

timeline: makes of a run that was saved what FILE ends in: a page (.html), a picture (.svg), a trace for a trace viewer
(.json), or a capture of what went over the bus (.pcap)
  -o, --output FILE  what is to be made

why: tells why something happened in a run that was saved: the last that the service did, or the last in which TEXT
stands, or the entry of this number

why-not: tells why one of the outcomes did not come about in a run that was saved, or when it did

replay: tells the service what it was told in a recording, and says where it first does something else, and why

show: tells in words all that a recording holds
  --brief            only what the service did
  --json             as the file of a run: a JSON object a line
  --anonymous        as the command below would leave it

anonymous: makes addresses, names and identities in a recording unrecognisable, each in the same way throughout, so that
it can be given away and still be replayed
  -o, --output FILE  where it is written

  --verbose          shows every line of the log, every question and every callback, too
  --help             prints this text; at the prompt, "help" tells what can be said

exit status:
  0  everything went as it should
  1  something did not
  2  the command line is wrong
  3  it could not be told: no message bus, a file that cannot be read, a port in use, ...
A signal that ends it early is passed on, after everything has been cleared away.
)";

namespace {

class Parser
{
public:
    Parser()
    {
        m_app.set_help_flag("-h,--help");
        CLI::Option* page = m_app.add_flag("--page-only");
        CLI::Option* prompt = m_app.add_flag("--prompt-only");
        page->excludes(prompt);
        page->each([this](const std::string&) { m_options.hasPrompt = false; });
        prompt->each([this](const std::string&) { m_options.hasPage = false; });
        constexpr int kHighestPort = 65535;
        m_app.add_option("--port", m_options.port)->check(CLI::Range(0, kHighestPort));
        m_app.add_option("--scenario", m_options.scenario);
        m_app.add_flag("--verbose", m_options.verbose);
        AddRun();
        AddTimeline();
        AddWhy();
        AddReplay();
        AddShow();
        AddAnonymous();
    }

    Options Parse(std::vector<std::string> arguments)
    {
        m_options.action = Options::Action::Desk;
        m_app.parse(std::move(arguments));
        return m_options;
    }

private:
    void AddRun()
    {
        CLI::App* run = m_app.add_subcommand("run");
        run->set_help_flag();
        run->fallthrough();
        run->callback([this] { m_options.action = Options::Action::Run; });
        run->add_option("FILE", m_options.files)->required();
        run->add_flag("--quiet", m_options.quiet);
        run->add_flag("--stay", m_options.stay);
        run->add_option("--save", m_options.saveTo);
        run->add_option("--record", m_options.record);
    }

    void AddReplay()
    {
        CLI::App* replay = m_app.add_subcommand("replay");
        replay->set_help_flag();
        replay->callback([this] { m_options.action = Options::Action::Replay; });
        replay->add_option("RECORDING", m_options.files)->required();
    }

    void AddShow()
    {
        CLI::App* show = m_app.add_subcommand("show");
        show->set_help_flag();
        show->callback([this] { m_options.action = Options::Action::Show; });
        show->add_option("RECORDING", m_options.run)->required();
        CLI::Option* json = show->add_flag("--json", m_options.json);
        show->add_flag("--brief", m_options.brief)->excludes(json);
        show->add_flag("--anonymous", m_options.anonymous);
    }

    void AddAnonymous()
    {
        CLI::App* anonymous = m_app.add_subcommand("anonymous");
        anonymous->set_help_flag();
        anonymous->callback([this] { m_options.action = Options::Action::Anonymous; });
        anonymous->add_option("RECORDING", m_options.run)->required();
        anonymous->add_option("-o,--output", m_options.output)->required();
    }

    void AddTimeline()
    {
        CLI::App* timeline = m_app.add_subcommand("timeline");
        timeline->set_help_flag();
        timeline->callback([this] { m_options.action = Options::Action::Timeline; });
        timeline->add_option("RUN", m_options.run)->required();
        timeline->add_option("-o,--output", m_options.output)->required();
    }

    void AddWhy()
    {
        CLI::App* why = m_app.add_subcommand("why");
        why->set_help_flag();
        why->callback([this] { m_options.action = Options::Action::Why; });
        why->add_option("RUN", m_options.run)->required();
        why->add_option("TEXT", m_options.question);
        CLI::App* whyNot = m_app.add_subcommand("why-not");
        whyNot->set_help_flag();
        whyNot->callback([this] { m_options.action = Options::Action::WhyNot; });
        constexpr int kWords = 2; // the outcome, and one of its ways
        whyNot->add_option("RUN", m_options.run)->required();
        whyNot->add_option("OUTCOME", m_options.question)->required()->expected(1, kWords);
    }

    CLI::App m_app;
    Options m_options;
};

} // namespace

std::optional<Options> ParseOptions(const std::vector<std::string>& arguments, std::string& error)
{
    try {
        return Parser().Parse({arguments.rbegin(), arguments.rend()}); // as CLI11 takes them
    } catch (const CLI::CallForHelp&) {
        return Options{};
    } catch (const CLI::ParseError& wrong) {
        error = wrong.what();
        return std::nullopt;
    }
}

} // namespace front
