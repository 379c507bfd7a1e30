#include "tv/set/Process.h"

#include "GlibPointers.h"
#include "people/Json.h"
#include "recorder/Recording.h"
#include "recorder/Sink.h"
#include "sim/Capture.h"
#include "sim/Queue.h"
#include "sim/Tape.h"
#include "sim/Television.h"
#include "support/Findings.h"
#include "tv/language/Commands.h"
#include "tv/language/Line.h"
#include "tv/language/Misunderstood.h"
#include "tv/set/LifeCheck.h"
#include "tv/set/Neighbours.h"
#include "tv/set/Stage.h"
#include "tv/set/State.h"

#include <glib-unix.h>
#include <glib.h>

#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

extern "C" int service_main();

namespace set {

namespace {

namespace json = people::json;
using language::Line;
using language::Verb;

class Process
{
public:
    explicit Process(const ProcessOptions& options)
        : m_descriptor(options.descriptor),
          m_stage(options.root, options.descriptor, options.start),
          m_loop(g_main_loop_new(nullptr, FALSE)),
          m_source(g_unix_fd_add(options.descriptor, static_cast<GIOCondition>(G_IO_IN | G_IO_HUP), OnReadable, this))
    {}
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;
    ~Process()
    {
        if (m_source != 0) {
            g_source_remove(m_source);
        }
    }

    int Run()
    {
        g_main_loop_run(m_loop.get());
        if (m_isPlugging) {
            LivesOneLife();
        }
        return EXIT_SUCCESS;
    }

private:
    static gboolean OnReadable(gint, GIOCondition, gpointer self)
    {
        return static_cast<Process*>(self)->Read() ? G_SOURCE_CONTINUE : G_SOURCE_REMOVE;
    }

    bool Read()
    {
        std::array<char, 4096> buffer = {};
        const ssize_t length = ::recv(m_descriptor, buffer.data(), buffer.size(), MSG_DONTWAIT);
        if (length == 0 || (length < 0 && errno != EINTR && errno != EAGAIN)) {
            m_source = 0;
            Leave();
            return false;
        }
        m_input.append(buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
        std::size_t end = 0;
        while ((end = m_input.find('\n')) != std::string::npos) {
            const std::string line = m_input.substr(0, end);
            m_input.erase(0, end + 1);
            Take(line);
        }
        return true;
    }

    /// Nobody drives the television any more: the service is stopped in order, and the process ends with it.
    void Leave()
    {
        if (m_isPlugging) {
            std::raise(SIGTERM);
        } else {
            g_main_loop_quit(m_loop.get());
        }
    }

    void Take(const std::string& line)
    {
        if (line.starts_with('+')) {
            Furnish(line.substr(1));
            return;
        }
        m_line = line;
        try {
            const Line understood = language::Parse(line);
            const auto scope = m_stage.tv.tape.Begin({.kind = sim::Kind::Line, .text = understood.text});
            if (Begins(understood)) {
                return;
            }
            m_stage.CarriesOut(understood);
            Finish();
        } catch (const std::exception& refusal) {
            Finish(refusal.what());
        }
    }

    /// As it was when the set was unplugged; nobody is told.
    void Furnish(const std::string& line)
    {
        m_stage.tv.tape.SetSink({});
        try {
            m_stage.CarriesOut(language::Parse(line));
        } catch (const std::exception& refusal) {
            m_stage.wire.Send(json::Object({{"finding", json::Text(line + ": " + refusal.what())}}));
        }
        m_stage.Listens();
    }

    /// \return whether it is a line that ends later: with the service's start, or its end
    bool Begins(const Line& line)
    {
        if (line.command->verb == Verb::Plug) {
            if (m_isPlugging) {
                throw std::runtime_error("the set is plugged in already");
            }
            m_isPlugging = true;
            m_plug = m_stage.tv.tape.Cause();
            g_main_loop_quit(m_loop.get());
            return true;
        }
        if (line.command->verb == Verb::Unplug) {
            if (!m_isPlugging) {
                throw std::runtime_error("the set is not plugged in; \"plug\" does that");
            }
            m_isUnplugged = true;
            m_stage.tv.tape.CauseWhereNothingIsHandled(m_stage.tv.tape.Cause());
            std::raise(SIGTERM);
            return true;
        }
        return false;
    }

    void LivesOneLife()
    {
        sim::Tape& tape = m_stage.tv.tape;
        tape.CauseWhereNothingIsHandled(tape.Record(
            {.kind = sim::Kind::Life, .text = "the set is plugged in, the service starts", .cause = m_plug}));
        m_stage.tv.queue.Post([this, &tape] {
            tape.CauseWhereNothingIsHandled(sim::kNoEntry);
            m_stage.isRunning = true;
            m_stage.neighbours.Settle();
            Finish();
        });
        Captures();
        m_check.emplace(m_stage);
        Records();
        const int status = service_main();
        recorder::EndLife(status);
        m_stage.isRunning = false;
        m_stage.tv.ServiceHasStopped();
        HoldsEnd(status);
        Ends(status);
    }

    /// A crash would not come this far; what is found is told with the last line.
    void HoldsEnd(int status)
    {
        HoldsStall();
        for (const std::string& objection : m_check->ObjectionsToEnd(status)) {
            support::ReportFinding(objection);
        }
        m_check.reset();
    }

    void HoldsStall()
    {
        const std::string objection = m_check && !m_stage.clockRuns ? m_check->ObjectionToStall() : "";
        if (!objection.empty()) {
            support::ReportFinding(objection);
        }
    }

    /// The service's life, for who replays it, where somebody wants to have it.
    void Records() const
    {
        constexpr std::uint64_t kLimit = 64ULL * 1024 * 1024;
        const char* named = std::getenv("VYREL_RECORDING");
        const std::string path = m_stage.recording.empty() && named != nullptr ? named : m_stage.recording;
        if (!path.empty()) {
            recorder::BeginLife(path.c_str(), kLimit, recorder::WhenFull::Waits);
        }
    }

    /// The messages of the service, for who looks at the run later. A service without a bus has none.
    void Captures()
    {
        try {
            m_capture.emplace();
        } catch (const std::runtime_error&) {
            m_capture.reset();
        }
    }

    void TellsMessages()
    {
        for (const sim::Capture::Message& message :
             m_capture ? m_capture->Take() : std::vector<sim::Capture::Message>()) {
            const Util::GlibString bytes(
                g_base64_encode(reinterpret_cast<const guchar*>(message.message.data()), message.message.size()));
            m_stage.wire.Send(
                json::Object({{"message", json::Object({{"at", std::to_string(m_stage.wire.At(message.at))},
                                                        {"way", json::Text(message.comesIn ? "in" : "out")},
                                                        {"dbus", json::Text(bytes.get())}})}}));
        }
    }

    void Ends(int status)
    {
        if (m_isUnplugged && status == kStoppedStatus) {
            m_stage.tv.tape.Record({.kind = sim::Kind::Life, .text = "the set is unplugged, the service has stopped"});
        } else {
            m_stage.tv.tape.Record({.kind = sim::Kind::Life,
                                    .text = "the service has ended by itself with status " + std::to_string(status)});
        }
        m_stage.wire.Send(json::Object({{"leaving", "true"}}));
        if (!m_line.empty()) {
            Finish();
        } else {
            Tell();
        }
    }

    void Tell()
    {
        HoldsStall();
        TellsMessages();
        for (const std::string& finding : m_stage.NewFindings()) {
            m_stage.wire.Send(json::Object({{"finding", json::Text(finding)}}));
        }
        if (std::string state = StateOf(m_stage); state != m_state) {
            m_state = std::move(state);
            m_stage.wire.Send(m_state);
        }
        std::vector<std::string> lines;
        for (const std::string& line : m_stage.Furniture()) {
            lines.push_back(json::Text(line));
        }
        if (std::string furniture = json::Object({{"furniture", json::Array(lines)}}); furniture != m_furniture) {
            m_furniture = std::move(furniture);
            m_stage.wire.Send(m_furniture);
        }
    }

    void Finish(const std::string& error = {})
    {
        Tell();
        m_stage.wire.Send(json::Object({{"done", json::Object({{"line", json::Text(std::exchange(m_line, {}))},
                                                               {"error", json::TextOrNull(error)}})}}));
    }

    int m_descriptor;
    Stage m_stage;
    Util::MainLoopPtr m_loop;
    guint m_source;
    std::optional<sim::Capture> m_capture;
    std::optional<LifeCheck> m_check; ///< of the life that is lived
    std::string m_input;
    std::string m_line;      ///< that is being carried out
    std::string m_state;     ///< as it was told last
    std::string m_furniture; ///< the same
    bool m_isPlugging = false;
    sim::EntryId m_plug = sim::kNoEntry; ///< the line that says so
    bool m_isUnplugged = false;
};

} // namespace

int RunProcess(const ProcessOptions& options)
{
    ::prctl(PR_SET_PDEATHSIG, SIGKILL); // also where the service hangs, nothing is left of it
    ::prctl(PR_SET_NAME, "vyrel-tv-set");
    // Nobody here has a session's bus. GLib only takes the fraction of a second from its name at which timers of whole
    // seconds are due, and from that of the machine where there is none: a story would not be the same on each machine.
    ::setenv("DBUS_SESSION_BUS_ADDRESS", "disabled:", 1);
    Process process(options);
    return process.Run();
}

int RunProcess(const std::vector<std::string>& arguments)
{
    constexpr std::size_t kCount = 5;
    constexpr int kWrongCommandLine = 2;
    if (arguments.size() != kCount) {
        return kWrongCommandLine;
    }
    return RunProcess({.descriptor = std::stoi(arguments[1]),
                       .root = arguments[2],
                       .start = {std::stoull(arguments[3]), std::stoll(arguments[4])}});
}

} // namespace set
