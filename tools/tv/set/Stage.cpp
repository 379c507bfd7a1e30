#include "tv/set/Stage.h"

#include "settings/Locations.h"
#include "sim/Tape.h"
#include "sim/Timers.h"
#include "support/Findings.h"
#include "support/MainLoop.h"
#include "tv/language/Commands.h"
#include "tv/language/Numbers.h"
#include "tv/language/Words.h"
#include "tv/recording/Recording.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <utility>

namespace set {

namespace {

using language::Line;
using language::Verb;
using std::chrono::milliseconds;

constexpr milliseconds kSlow{2000}; // less than the service waits for an answer
constexpr const char* kUsualError = "org.freedesktop.DBus.Error.Failed";

} // namespace

Stage::Stage(const std::string& root, int descriptor, Wire::Start start)
    : clock(true),
      tv(root),
      wire(descriptor, start),
      neighbours(tv),
      gadgets(tv),
      house(tv),
      reports(tv),
      store(settings::FoldersUnder(tv.Root()))
{
    clock.OnSleep([this](std::chrono::microseconds time) {
        tv.tape.Record({.kind = sim::Kind::Sleep, .text = "sleep " + std::to_string(time.count() / 1000) + " ms"});
    });
    support::HandleFindings([this](const std::string& finding) { m_findings.push_back(finding); });
    Listens();
}

Stage::~Stage()
{
    tv.tape.SetSink({});
    support::HandleFindings({});
}

void Stage::Listens()
{
    tv.tape.SetSinkOfEverything([this](const sim::Entry& entry) {
        m_messages += entry.kind == sim::Kind::Bus ? 1 : 0;
        if (m_tells) {
            wire.Sends(entry);
        }
    });
}

void Stage::Hushes()
{
    m_tells = false;
}

void Stage::CarriesOut(const Line& line)
{
    tv.tape.Clear(); // all of it has been told, and a set may stay on the desk for long
    const std::size_t before = m_messages;
    if (DoesTime(line)) {
        ComesToRest();
        return;
    }
    const bool isQuiet = gadgets.Does(line) || house.Does(line) || reports.Does(line) || DoesRecording(line);
    if (!isQuiet && !DoesNeighbours(line)) {
        throw std::logic_error("nobody carries out: " + line.text);
    }
    if (isQuiet) {
        support::DrainMainLoop();
        if (m_messages == before) {
            return; // the bus is at rest, as nobody has sent anything: thousands of such lines may come at once
        }
    }
    Settles();
}

void Stage::Settles()
{
    neighbours.Settle();
    m_messagesAtRest = m_messages;
}

/// Nobody but the service begins anything while time passes, unless a sibling still thinks or the clock runs.
void Stage::ComesToRest()
{
    if (m_messages != m_messagesAtRest || clockRuns || neighbours.IsSomebodySlow()) {
        Settles();
    }
}

bool Stage::DoesNeighbours(const Line& line)
{
    using Behaviour = Neighbours::Behaviour;
    const std::string name = line.Text("SIBLING");
    switch (line.command->verb) {
    case Verb::SiblingAnswers:
        neighbours.Behaves(name, Behaviour::Answers);
        break;
    case Verb::SiblingSlow:
        neighbours.Behaves(name, Behaviour::Slow, language::DurationIn(line.Text("DURATION")).value_or(kSlow));
        break;
    case Verb::SiblingHangs:
        neighbours.Behaves(name, Behaviour::Hangs);
        break;
    case Verb::SiblingError:
        neighbours.Behaves(name, Behaviour::Error, {}, line.Has("ERROR") ? line.Text("ERROR") : kUsualError);
        break;
    case Verb::SiblingAbsent:
        neighbours.Behaves(name, Behaviour::Absent);
        break;
    case Verb::SiblingAnswer:
        neighbours.WillAnswer(name, line.Text("MEMBER"), line.Text("BODY"));
        m_behaviours[name + " answer " + line.Text("MEMBER")] = line.text;
        return true;
    case Verb::SiblingEmits:
        neighbours.Emits(name, line.Text("MEMBER"), line.Text("BODY"));
        return true;
    case Verb::BusIsHidden:
        HidesBus(line.literals.back() == "hidden");
        m_behaviours["bus"] = line.text;
        return true;
    case Verb::Key:
        tv.tape.Note("the key router reports the key sequence " + line.Text("NUMBER"));
        neighbours.KeySequence(line.Number("NUMBER"));
        return true;
    default:
        return false;
    }
    m_behaviours[name] = line.text;
    return true;
}

/// Siblings and whoever drives the television have connections of their own, which stay.
void Stage::HidesBus(bool hidden)
{
    constexpr const char* kAddress = "DBUS_SYSTEM_BUS_ADDRESS";
    if (m_busAddress.empty()) {
        const char* address = std::getenv(kAddress);
        m_busAddress = address != nullptr ? address : "";
    }
    ::setenv(kAddress, hidden ? "unix:path=/nonexistent" : m_busAddress.c_str(), 1);
}

bool Stage::DoesTime(const Line& line)
{
    switch (line.command->verb) {
    case Verb::Wait:
        Passes(language::DurationIn(line.Text("DURATION")).value_or(milliseconds(0)));
        return true;
    case Verb::NextTimer:
        NextTimer();
        return true;
    case Verb::Clock:
        clockRuns = line.literals.back() == "runs";
        clock.Stands(!clockRuns);
        return true;
    case Verb::ClockIsSet: {
        const milliseconds by = language::DurationIn(line.Text("DURATION")).value_or(milliseconds(0));
        sim::VirtualClock::SetsWall(line.literals.back() == "back" ? -by : by);
        return true;
    }
    default:
        return false;
    }
}

bool Stage::DoesRecording(const Line& line)
{
    if (line.command->verb != Verb::Record) {
        return false;
    }
    if (isRunning) {
        throw std::runtime_error("the set is plugged in: what is recorded is a whole life; unplug it first");
    }
    const std::filesystem::path path = std::filesystem::absolute(line.Text("FILE"));
    if (const std::string objection = recording::Objection(path); !objection.empty()) {
        throw std::runtime_error(objection);
    }
    recording = path;
    return true;
}

void Stage::Passes(milliseconds time)
{
    ComesToRest();
    while (time.count() > 0) {
        const std::size_t before = m_messages;
        time -= std::max(clock.AdvanceToNext(time), milliseconds(1));
        if (m_messages != before) {
            Settles();
        }
    }
    ComesToRest();
}

void Stage::NextTimer()
{
    const std::vector<sim::PendingTimer> timers = sim::PendingTimers();
    if (timers.empty()) {
        throw std::runtime_error("no timer of the service is pending");
    }
    const std::int64_t left = timers.front().due - tv.tape.Now();
    Passes(milliseconds(std::max<std::int64_t>(left, 0) / 1000 + 1));
}

std::vector<std::string> Stage::Furniture() const
{
    std::vector<std::string> lines = house.Furniture();
    const std::vector<std::string> things = gadgets.Furniture();
    lines.insert(lines.end(), things.begin(), things.end());
    const std::vector<std::string> broken = reports.Furniture();
    lines.insert(lines.end(), broken.begin(), broken.end());
    std::transform(m_behaviours.begin(), m_behaviours.end(), std::back_inserter(lines),
                   [](const auto& behaviour) { return behaviour.second; });
    if (clockRuns) {
        lines.emplace_back("clock runs");
    }
    if (!recording.empty()) {
        lines.push_back("record " + language::AsQuoted(recording));
    }
    return lines;
}

std::vector<std::string> Stage::NewFindings()
{
    std::vector<std::string> findings = std::exchange(m_findings, {});
    const std::vector<std::string> violations = neighbours.NewViolations();
    findings.insert(findings.end(), violations.begin(), violations.end());
    return findings;
}

} // namespace set
