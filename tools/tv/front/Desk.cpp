#include "tv/front/Desk.h"

#include "people/Json.h"
#include "sim/FunctionNames.h"
#include "tv/front/Entry.h"
#include "tv/front/Help.h"
#include "tv/language/Commands.h"
#include "tv/language/Misunderstood.h"
#include "tv/language/Numbers.h"
#include "tv/language/Words.h"
#include "tv/run/Run.h"
#include "tv/why/Answer.h"
#include "tv/why/History.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <iterator>
#include <set>
#include <span>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace front {

namespace {

namespace json = people::json;
using language::By;
using language::Line;
using language::Verb;
using std::chrono::milliseconds;

constexpr std::size_t kDoingsShown = 3; // of a service that has crashed

std::string Done(const std::string& line, const std::string& error)
{
    return json::Object({{"done", json::Object({{"line", json::Text(line)}, {"error", json::TextOrNull(error)}})}});
}

std::string TextsOf(const std::vector<std::string>& texts)
{
    std::vector<std::string> all;
    all.reserve(texts.size());
    std::transform(texts.begin(), texts.end(), std::back_inserter(all),
                   [](const std::string& text) { return json::Text(text); });
    return json::Array(all);
}

/// The choices of a line's arguments, but for the functions, which stand apart because they are many.
std::string ChoicesOf(const language::Command& command)
{
    static constexpr std::array kNames = {"CODE",   "DURATION", "ERROR",   "FEATURE", "FLAG",
                                          "OPTION", "OUTCOME",  "SIBLING", "VALUE"};
    std::vector<std::pair<const char*, std::string>> choices;
    for (const char* name : kNames) {
        if (command.syntax.find(name) != std::string_view::npos) {
            choices.emplace_back(name, TextsOf(language::KindOf(name).choices()));
        }
    }
    return json::Object(choices);
}

std::string HowItEnded(const support::ProcessEnd& end)
{
    if (end.how == support::ProcessEnd::How::Killed) {
        const char* name = ::sigabbrev_np(end.number);
        return "it was ended by SIG" + std::string(name != nullptr ? name : std::to_string(end.number));
    }
    return "its process ended with status " + std::to_string(end.number);
}

void WriteAll(const std::string& file, const std::string& text)
{
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> out(std::fopen(file.c_str(), "we"), std::fclose);
    if (!out || std::fwrite(text.data(), 1, text.size(), out.get()) != text.size() || std::fflush(out.get()) != 0) {
        throw std::runtime_error(file + " cannot be written: " + std::strerror(errno));
    }
}

} // namespace

std::string Greeting()
{
    std::vector<std::string> commands;
    for (const language::Command& command : language::Commands()) {
        commands.push_back(json::Object({{"syntax", json::Text(command.syntax)},
                                         {"help", json::Text(command.help)},
                                         {"choices", ChoicesOf(command)}}));
    }
    std::vector<std::string> lanes = {"set", "service"};
    std::ranges::copy(language::SiblingNames(), std::back_inserter(lanes));
    lanes.insert(lanes.end(), {"settings", "log", "timers"});
    const std::vector<std::string> functions(std::begin(sim::kFunctionNames), std::end(sim::kFunctionNames));
    return json::Object({{"hello", json::Object({{"commands", json::Array(commands)},
                                                 {"functions", TextsOf(functions)},
                                                 {"lanes", TextsOf(lanes)}})}});
}

Desk::Desk()
    : m_folder("vyrel-tv"),
      m_bus(std::in_place),
      m_expectations(Root()),
      m_run(m_folder.Path() / "run"),
      m_known(m_folder.Path() / "run")
{
    m_expectations.AsksFrom([this]() -> const run::Run& { return m_known.UpToNow(); });
    std::filesystem::create_directory(Root());
    Keeps(Greeting());
    Starts();
}

Desk::~Desk()
{
    if (m_later != 0) {
        g_source_remove(m_later);
    }
    m_set.reset();
    m_bus->Dies(); // or this process would connect to it, to say that it does not mind
}

std::string Desk::Root() const
{
    return m_folder.Path() / "set";
}

Object Desk::State()
{
    Object state = Object::Parse(m_state).Member("state");
    m_at = std::max(m_at, state.Number("at"));
    return state;
}

/// The set is on the desk, as it was before, and not plugged in.
void Desk::Starts()
{
    m_isLeaving = false;
    State(); // when the one before has ended
    m_set.reset();
    m_set =
        std::make_unique<SetProcess>(Root(), m_lastId, m_at,
                                     SetProcess::Listener{[this](const std::string& object) { Hears(object); },
                                                          [this](const support::ProcessEnd& end) { HearsEnd(end); }});
    for (const std::string& line : m_furniture) {
        m_set->Give("+" + line);
    }
}

Feed::Subscription Desk::Subscribe(Listener listener)
{
    auto subscription = std::make_shared<const Listener>(std::move(listener));
    (*subscription)(Greeting());
    for (const std::string& entry : m_entries) {
        (*subscription)(entry);
    }
    if (!m_state.empty()) {
        (*subscription)(m_state);
    }
    m_listeners.push_back(subscription);
    return subscription;
}

void Desk::Submit(std::string_view line)
{
    m_lines.emplace_back(line);
    Later();
}

void Desk::Later()
{
    if (m_later == 0) {
        m_later = g_idle_add_full(G_PRIORITY_DEFAULT, OnLater, this, nullptr);
    }
}

gboolean Desk::OnLater(gpointer self)
{
    auto* desk = static_cast<Desk*>(self);
    desk->m_later = 0;
    desk->Next();
    return G_SOURCE_REMOVE;
}

void Desk::Next()
{
    if (m_within && !m_isGiven && !m_isLeaving) {
        LooksAgain();
        return;
    }
    if (m_busy || m_isLeaving || m_lines.empty()) {
        return;
    }
    m_line = std::move(m_lines.front());
    m_lines.pop_front();
    m_busy = true;
    if (m_line.size() > kLongestLine) {
        Ends("the line is too long: " + std::to_string(kLongestLine) + " bytes are the most");
    } else if (g_utf8_validate(m_line.data(), static_cast<gssize>(m_line.size()), nullptr) == FALSE) {
        Ends("the line is no UTF-8");
    } else if (m_line.find('\n') != std::string::npos) {
        Ends("these are several lines: submit one by one");
    } else if (language::IsRemark(m_line)) {
        Ends();
    } else {
        Begins(m_line);
    }
}

void Desk::Begins(const std::string& text)
{
    try {
        const Line line = language::Parse(text);
        switch (line.command->by) {
        case By::Set:
            m_expectations.Deed();
            m_isGiven = true;
            if (line.command->verb == Verb::Plug) {
                m_findsBus = std::ranges::find(m_furniture, "bus hidden") == m_furniture.end();
            }
            m_set->Give(line.text);
            break;
        case By::Front:
            BeginsFront(line);
            break;
        case By::Tester:
            BeginsTester(line);
            break;
        }
    } catch (const std::exception& refusal) {
        Ends(refusal.what());
    }
}

void Desk::BeginsFront(const Line& line)
{
    switch (line.command->verb) {
    case Verb::BusRestart:
        m_expectations.Deed();
        RestartsBus();
        return;
    case Verb::Save:
        Saves(line.Text("FILE"));
        break;
    case Verb::Why:
    case Verb::WhyNot:
        Answers(line);
        break;
    case Verb::Help:
        Tells(json::Object({{"help", json::Text(HelpAbout(line.Text("WORD")))}}));
        break;
    case Verb::Quit:
        m_lines.clear();
        if (m_onQuit) {
            m_onQuit();
        }
        break;
    case Verb::Story:
        Tells(json::Object({{"story", json::Text(line.Text("TEXT"))}}));
        break;
    default:
        throw std::logic_error("nobody carries out: " + line.text);
    }
    Ends();
}

void Desk::BeginsTester(const Line& line)
{
    if (line.command->verb != Verb::Within) {
        Ends(m_expectations.Objection(line));
        return;
    }
    const Line expectation = language::Parse(line.Text("TEXT"));
    if (expectation.command->by != By::Tester || expectation.command->verb == Verb::Within) {
        throw language::Misunderstood("behind \"within DURATION\" stands what is expected, such as: within 10s expect "
                                      "call connectionmanager Hello");
    }
    const milliseconds time = language::DurationIn(line.Text("DURATION")).value_or(milliseconds(0));
    State();
    m_within = Within{expectation, m_at + std::chrono::microseconds(time).count()};
    LooksAgain();
}

/// Lets time pass until the next timer, as long as the expectation is not met.
void Desk::LooksAgain()
{
    const std::string objection = m_expectations.Objection(m_within->line);
    const Object state = State();
    const std::int64_t left = (m_within->until - m_at) / 1000;
    if (objection.empty() || left <= 0) {
        m_within.reset();
        Ends(objection);
        return;
    }
    std::int64_t wait = left;
    for (const Object& timer : state.Members("timers")) {
        const std::int64_t due = (timer.Number("due") - m_at) / 1000 + 1;
        wait = due > 0 ? std::min(wait, due) : wait;
    }
    m_isGiven = true;
    m_set->Give("wait " + language::AsDuration(milliseconds(wait)));
}

void Desk::Ends(const std::string& error)
{
    const std::string line = std::exchange(m_line, {});
    m_busy = false;
    m_isGiven = false;
    if (error.empty() && !language::IsRemark(line)) {
        const Verb verb = language::Parse(line).command->verb;
        if (verb != Verb::Save && verb != Verb::Help && verb != Verb::Quit && verb != Verb::Why &&
            verb != Verb::WhyNot) {
            m_history.push_back(line);
        }
    }
    Later();
    Tells(Done(line, error));
}

void Desk::Hears(const std::string& text)
{
    if (text.starts_with("{\"state\"")) {
        m_state = text;
        m_expectations.HearsState(text);
        Tells(text);
        return;
    }
    const Object object = Object::Parse(text);
    if (object.Has("id")) {
        const Entry entry = Entry::From(object);
        m_lastId = std::max(m_lastId, entry.id);
        m_at = std::max(m_at, entry.at);
        m_expectations.Hears(entry);
        if (entry.lane != "set" && entry.lane != "log") {
            m_doings.push_back(entry.text);
            if (m_doings.size() > kDoingsShown) {
                m_doings.pop_front();
            }
        }
        m_entries.push_back(text);
        if (m_entries.size() > static_cast<std::size_t>(kMostEntries)) {
            m_entries.pop_front();
        }
        Tells(text);
    } else if (object.Has("message")) {
        Keeps(text); // of the bus: only for who looks at the run later
    } else if (object.Has("furniture")) {
        m_furniture = object.Texts("furniture");
    } else if (object.Has("leaving")) {
        m_isLeaving = true;
    } else if (object.Has("done")) {
        HearsDone(object.Member("done"));
    } else {
        Tells(text);
    }
}

void Desk::HearsDone(const Object& done)
{
    m_isGiven = false;
    const std::string error = done.Text("error");
    if (m_within && error.empty()) {
        Later(); // looks again
        return;
    }
    m_within.reset();
    Ends(error);
}

std::string Desk::LastDoings() const
{
    std::string text;
    for (const std::string& doing : m_doings) {
        text += (text.empty() ? "" : "; ") + doing;
    }
    return text;
}

void Desk::HearsEnd(const support::ProcessEnd& end)
{
    const bool inOrder = end == support::Exited(EXIT_SUCCESS);
    if (!inOrder) {
        TellsLife("the service has crashed: " + HowItEnded(end));
        constexpr std::string_view kRunning = "\"running\":true";
        if (const std::size_t running = m_state.find(kRunning); running != std::string::npos) {
            Hears(std::string(m_state).replace(running, kRunning.size(), "\"running\":false"));
        }
    }
    if (m_busGoes) {
        m_busGoes = false;
        m_bus.reset();
        m_bus.emplace();
    }
    Starts();
    if (!m_busy && !inOrder) {
        Tells(
            json::Object({{"finding", json::Text("the service has crashed: " + HowItEnded(end))}})); // no line's answer
    }
    if (m_busy && !inOrder) {
        m_within.reset();
        Ends("the service has crashed: " + HowItEnded(end) + "; the last that it did: " + LastDoings());
    } else if (m_within) {
        m_isGiven = false;
        Later();
    } else if (m_busy && m_isGiven) {
        m_set->Give(language::Parse(m_line).text); // the one that has ended had not begun it
    } else if (m_busy) {
        Ends();
    } else {
        Later();
    }
}

/// The service ends with its bus, as GDBus wants it; so does the process. The end is heard of on the main loop.
void Desk::RestartsBus()
{
    if (State().Truth("running")) {
        if (!m_findsBus) {
            throw std::runtime_error("the service found no bus when it started, and would outlive this one: unplug it");
        }
        m_busGoes = true;
        m_bus->Dies();
        return;
    }
    m_set.reset(); // an unplugged one has nothing to end
    m_bus->Dies();
    m_bus.reset();
    m_bus.emplace();
    Starts();
    TellsLife("the message bus has gone, and another has taken its place");
    Ends();
}

/// A number in the answer is an entry's, for the page to lead there.
void Desk::Answers(const Line& line)
{
    const why::History history(m_known.UpToNow());
    const std::string answer = line.command->verb == Verb::Why
                                   ? why::Why(history, line.Text("TEXT"))
                                   : why::WhyNot(history, line.Text("OUTCOME"), line.Text("WAY"));
    Tells(
        json::Object({{"answer", json::Object({{"question", json::Text(line.text)}, {"text", json::Text(answer)}})}}));
}

void Desk::Saves(const std::string& file) const
{
    if (file.ends_with(".tv")) {
        std::string text;
        for (const std::string& line : m_history) {
            text += line + "\n";
        }
        WriteAll(file, text);
    } else if (file.ends_with(".run")) {
        if (!m_runFailure.empty()) {
            throw std::runtime_error("not all that happened could be kept: " + m_runFailure);
        }
        std::error_code failure;
        std::filesystem::copy_file(m_folder.Path() / "run", file, std::filesystem::copy_options::overwrite_existing,
                                   failure);
        if (failure) {
            throw std::runtime_error(file + " cannot be written: " + failure.message());
        }
    } else {
        throw std::runtime_error("the name says what is saved: FILE.tv for the lines so far, FILE.run for all that "
                                 "happened");
    }
}

void Desk::Keeps(const std::string& object)
{
    try {
        m_run.Write(object);
    } catch (const std::runtime_error& failure) {
        m_runFailure = failure.what(); // for who wants to save it; the television goes on
    }
}

void Desk::Tells(const std::string& object)
{
    Keeps(object);
    std::erase_if(m_listeners, [](const std::weak_ptr<const Listener>& listener) { return listener.expired(); });
    // A copy: a listener may subscribe another, or let itself go.
    for (const std::weak_ptr<const Listener>& listener : std::vector(m_listeners)) {
        if (const Subscription held = listener.lock()) {
            (*held)(object);
        }
    }
}

void Desk::TellsLife(const std::string& text)
{
    ++m_lastId;
    Hears(json::Object({{"id", std::to_string(m_lastId)},
                        {"cause", "0"},
                        {"at", std::to_string(m_at)},
                        {"lane", json::Text("set")},
                        {"kind", json::Text("life")},
                        {"text", json::Text(text)}}));
}

} // namespace front
