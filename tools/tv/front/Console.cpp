#include "tv/front/Console.h"

#include "GlibPointers.h"
#include "tv/front/Feed.h"
#include "tv/front/Object.h"
#include "tv/front/Prompt.h"
#include "tv/front/Teller.h"
#include "tv/scenario/Scenario.h"

#include <glib-unix.h>
#include <glib.h>

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <deque>
#include <exception>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace front {

namespace {

constexpr std::size_t kMostWaiting = 1000; // lines; more are read when these have been carried out

class Console
{
public:
    Console(Desk& desk, const ConsoleSettings& settings, const StopSignals& signals, const Output& output)
        : m_desk(desk),
          m_settings(settings),
          m_signals(signals),
          m_output(output),
          m_isTerminal(settings.reads && ::isatty(STDIN_FILENO) == 1 && ::isatty(STDOUT_FILENO) == 1),
          m_teller(output, {Teller::Style::Columns, settings.verbose}, [this](const std::string& text) { Tell(text); }),
          m_subscription(desk.Subscribe([this](const std::string& object) { Hears(object); })),
          m_loop(g_main_loop_new(nullptr, FALSE)),
          m_stopSource(g_unix_fd_add(signals.Descriptor(), G_IO_IN, OnSignal, this))
    {
        desk.OnQuit([this] { g_main_loop_quit(m_loop.get()); });
    }
    ~Console()
    {
        m_desk.OnQuit({});
        g_source_remove(m_stopSource);
        StopReading();
        if (m_idle != 0) {
            g_source_remove(m_idle);
        }
    }
    Console(const Console&) = delete;
    Console& operator=(const Console&) = delete;

    bool Drives()
    {
        Opens();
        if (m_settings.reads) {
            if (m_isTerminal) {
                m_prompt.emplace([this](const std::string& line) { Takes(line); }, [this] { EndsInput(); });
            }
            StartReading();
        }
        g_main_loop_run(m_loop.get());
        if (m_prompt) {
            const std::string hidden = m_prompt->Hides();
            m_prompt.reset();
            Write(hidden);
        }
        if (m_thrown) {
            std::rethrow_exception(m_thrown);
        }
        return m_isTerminal || !m_hasFailed;
    }

private:
    void Opens()
    {
        if (m_settings.scenario.empty()) {
            m_desk.Submit("furnish");
            m_desk.Submit("plug");
            return;
        }
        for (const scenario::Step& step : scenario::Read(m_settings.scenario).steps) {
            m_desk.Submit(step.text);
        }
    }

    void StartReading()
    {
        if (m_inSource == 0 && !m_inputHasEnded) {
            m_inSource =
                g_unix_fd_add(STDIN_FILENO, static_cast<GIOCondition>(G_IO_IN | G_IO_HUP | G_IO_ERR), OnInput, this);
        }
    }

    void StopReading()
    {
        if (m_inSource != 0) {
            g_source_remove(std::exchange(m_inSource, 0));
        }
    }

    static gboolean OnInput(gint, GIOCondition condition, gpointer self)
    {
        auto* console = static_cast<Console*>(self);
        console->Guarded([&] { console->ReadInput(condition); });
        return console->m_inSource != 0 ? G_SOURCE_CONTINUE : G_SOURCE_REMOVE;
    }

    void ReadInput(GIOCondition condition)
    {
        if (m_prompt) {
            if ((condition & G_IO_IN) != 0) {
                m_prompt->Read();
            } else {
                EndsInput(); // the terminal has gone
            }
        } else {
            ReadLines();
        }
        if (m_waiting >= kMostWaiting || m_inputHasEnded) {
            m_inSource = 0;
        }
    }

    void ReadLines()
    {
        std::array<char, 4096> buffer = {};
        const ssize_t length = ::read(STDIN_FILENO, buffer.data(), buffer.size());
        if (length < 0 && (errno == EINTR || errno == EAGAIN)) {
            return;
        }
        if (length <= 0) {
            if (!m_input.empty()) {
                Takes(std::exchange(m_input, {}));
            }
            EndsInput();
            return;
        }
        m_input.append(buffer.data(), static_cast<std::size_t>(length));
        std::size_t begin = 0;
        std::size_t end = 0;
        while ((end = m_input.find('\n', begin)) != std::string::npos) {
            Takes(m_input.substr(begin, end - begin));
            begin = end + 1;
        }
        m_input.erase(0, begin);
        constexpr std::size_t kLongest = std::size_t{4} * Feed::kLongestLine;
        if (m_input.size() > kLongest) {
            Takes(std::exchange(m_input, {})); // is refused as too long, and does not fill the memory
        }
    }

    void Takes(const std::string& line)
    {
        ++m_waiting;
        if (m_isTerminal) {
            m_typed.push_back(line);
        }
        m_desk.Submit(line);
    }

    void EndsInput()
    {
        m_inputHasEnded = true;
        if (m_isTerminal || m_waiting == 0) {
            g_main_loop_quit(m_loop.get());
        }
    }

    void Hears(const std::string& text)
    {
        if (text.starts_with("{\"state\"")) {
            return; // is not shown
        }
        const Object object = Object::Parse(text);
        if (object.Text("kind") == "line") {
            const std::string line = object.Text("text");
            if (!m_typed.empty() && m_typed.front().find(line) != std::string::npos) {
                m_typed.pop_front(); // it stands on the screen already
            } else {
                Tell(m_output.Coloured("1", "> " + line) + "\n");
            }
        }
        m_teller.Hears(text);
        if (object.Has("done")) {
            HearsDone(object.Member("done"));
        }
        ShowsSoon();
    }

    void HearsDone(const Object& done)
    {
        m_hasFailed = m_hasFailed || !done.Text("error").empty();
        if (!m_typed.empty() && m_typed.front() == done.Text("line")) {
            m_typed.pop_front();
        }
        m_waiting -= m_waiting > 0 ? 1 : 0;
        if (m_waiting == 0 && m_inputHasEnded && m_desk.IsIdle()) {
            g_main_loop_quit(m_loop.get());
        } else if (m_waiting < kMostWaiting / 2 && m_settings.reads) {
            StartReading();
        }
    }

    /// The prompt comes back once nothing more is to be told for the moment.
    void ShowsSoon()
    {
        if (m_prompt && m_idle == 0) {
            constexpr guint kQuiet = 20; // milliseconds
            m_idle = g_timeout_add(kQuiet, OnIdle, this);
        }
    }

    static gboolean OnIdle(gpointer self)
    {
        auto* console = static_cast<Console*>(self);
        console->m_idle = 0;
        if (console->m_prompt) {
            console->m_prompt->Shows();
        }
        return G_SOURCE_REMOVE;
    }

    void Tell(const std::string& text)
    {
        Guarded([&] { Write((m_prompt ? m_prompt->Hides() : "") + text); });
    }

    void Write(const std::string& text)
    {
        if (!m_thrown) {
            m_output.Write(text);
        }
    }

    /// Nothing may be thrown into the main loop.
    template <typename Work>
    void Guarded(Work work)
    {
        try {
            work();
        } catch (...) {
            m_thrown = m_thrown ? m_thrown : std::current_exception();
            g_main_loop_quit(m_loop.get());
        }
    }

    static gboolean OnSignal(gint, GIOCondition, gpointer self)
    {
        auto* console = static_cast<Console*>(self);
        if (const std::optional<int> signal = console->m_signals.Take()) {
            console->TakeSignal(*signal);
        }
        return G_SOURCE_CONTINUE;
    }

    void TakeSignal(int signal)
    {
        if (signal == SIGINT && m_prompt && m_prompt->Clears()) {
            Tell("");
            ShowsSoon();
            return;
        }
        m_thrown = std::make_exception_ptr(Stopped{signal});
        g_main_loop_quit(m_loop.get());
    }

    Desk& m_desk;
    const ConsoleSettings& m_settings;
    const StopSignals& m_signals;
    const Output& m_output;
    bool m_isTerminal;
    Teller m_teller;
    std::optional<Prompt> m_prompt;
    Feed::Subscription m_subscription;
    Util::MainLoopPtr m_loop;
    guint m_stopSource;
    guint m_inSource = 0;
    guint m_idle = 0;
    std::string m_input;
    std::deque<std::string> m_typed; ///< lines that stand on the screen and have not begun
    std::size_t m_waiting = 0;       ///< lines that were taken and not carried out
    bool m_inputHasEnded = false;
    bool m_hasFailed = false;
    std::exception_ptr m_thrown;
};

} // namespace

bool Drive(Desk& desk, const ConsoleSettings& settings, const StopSignals& signals, const Output& output)
{
    return Console(desk, settings, signals, output).Drives();
}

} // namespace front
