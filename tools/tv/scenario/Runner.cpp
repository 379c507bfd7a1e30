#include "tv/scenario/Runner.h"

#include "GlibPointers.h"
#include "support/RealTime.h"
#include "tv/front/Desk.h"
#include "tv/front/Feed.h"
#include "tv/front/Object.h"
#include "tv/front/Teller.h"
#include "tv/language/Words.h"

#include <glib-unix.h>
#include <glib.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <optional>
#include <stdexcept>
#include <utility>
#include <vector>

namespace scenario {

namespace {

using front::Object;

constexpr int kPatience = 10; // seconds, for a television that was told to end

class Player
{
public:
    Player(const Scenario& scenario, const RunSettings& settings, const front::StopSignals& signals,
           const front::Output& output)
        : m_scenario(scenario),
          m_settings(settings),
          m_signals(signals),
          m_output(output),
          m_teller(output, {front::Teller::Style::Story, settings.verbose},
                   [this](const std::string& text) { Tell(text); }),
          m_subscription(m_desk.Subscribe([this](const std::string& object) { Hears(object); })),
          m_loop(g_main_loop_new(nullptr, FALSE)),
          m_source(g_unix_fd_add(signals.Descriptor(), G_IO_IN, OnSignal, this))
    {}
    ~Player()
    {
        g_source_remove(m_source);
        if (m_timeout != 0) {
            g_source_remove(m_timeout);
        }
    }
    Player(const Player&) = delete;
    Player& operator=(const Player&) = delete;

    bool Plays()
    {
        const auto start = support::RealTime::Now();
        Continues();
        g_main_loop_run(m_loop.get());
        if (m_thrown) {
            std::rethrow_exception(m_thrown);
        }
        const auto took = support::RealTime::Now() - start;
        Summarizes(static_cast<long long>(took.count()));
        return m_failures.empty();
    }

private:
    /// A listener must not throw into the main loop.
    void Tell(const std::string& text)
    {
        if (m_settings.quiet || m_thrown) {
            return;
        }
        try {
            m_output.Write(text);
        } catch (...) {
            m_thrown = std::current_exception();
            g_main_loop_quit(m_loop.get());
        }
    }

    void Hears(const std::string& text)
    {
        m_teller.Hears(text);
        const Object object = Object::Parse(text);
        if (object.Has("finding")) {
            Misses(object.Text("finding"));
        } else if (object.Has("done")) {
            HearsDone(object.Member("done"));
        }
    }

    void HearsDone(const Object& done)
    {
        if (const std::string error = done.Text("error"); !error.empty()) {
            Misses(error);
        }
        if (m_isEnding) {
            g_main_loop_quit(m_loop.get());
        } else {
            Continues();
        }
    }

    void Misses(const std::string& what)
    {
        const std::size_t step = m_next > 0 ? m_next - 1 : 0;
        const bool isLater = step >= m_scenario.steps.size();
        m_failures.push_back(
            m_scenario.file + ":" +
            (isLater ? "" : std::to_string(m_scenario.steps[step].number) + ": " + m_scenario.steps[step].text + ":") +
            " " + what);
    }

    void Continues()
    {
        if (!m_settings.recordIn.empty() && !m_isRecorded) {
            m_isRecorded = true;
            m_desk.Submit("record " + language::AsQuoted(m_settings.recordIn));
        } else if (m_next < m_scenario.steps.size()) {
            m_desk.Submit(m_scenario.steps[m_next++].text);
        } else if (m_settings.stays && !m_stays) {
            m_stays = true;
            ++m_next;
            m_desk.Submit("clock runs");
        } else if (m_stays) {
            SaysHowToTalk();
        } else if (!m_settings.saveTo.empty() && !m_isSaved) {
            m_isSaved = true;
            ++m_next;
            m_desk.Submit("save " + language::AsQuoted(m_settings.saveTo));
        } else if (!m_isOver) {
            m_isOver = true;
            ++m_next;
            m_desk.Submit("# carried out when a service that was stopped has ended");
        } else {
            g_main_loop_quit(m_loop.get());
        }
    }

    void SaysHowToTalk()
    {
        const char* address = std::getenv("DBUS_SYSTEM_BUS_ADDRESS");
        Tell("\nThe television stays on. In another terminal:\n\n   export DBUS_SYSTEM_BUS_ADDRESS='" +
             std::string(address == nullptr ? "" : address) +
             "'\n   gdbus emit --system --object-path /com/tarnwick/dbus/ping \\\n"
             "       --signal keyrouter.dbus.Signal.KEY_COMBINATION 51\n   " +
             VYREL_SETTINGS " --root " + m_desk.Root() +
             " set db/menu/network/devicename/tv_name --string Kitchen\n\nCtrl-C ends it.\n");
    }

    static gboolean OnSignal(gint, GIOCondition, gpointer self)
    {
        static_cast<Player*>(self)->TakeSignal();
        return G_SOURCE_CONTINUE;
    }

    void TakeSignal()
    {
        const std::optional<int> signal = m_signals.Take();
        if (!signal) {
            return;
        }
        if (m_stays && !m_isEnding) {
            m_isEnding = true;
            m_timeout = g_timeout_add_seconds(kPatience, OnTimeout, this);
            m_teller.Begins("The set is unplugged.");
            m_desk.Submit("unplug");
            return;
        }
        m_thrown = std::make_exception_ptr(front::Stopped{*signal});
        g_main_loop_quit(m_loop.get());
    }

    static gboolean OnTimeout(gpointer self)
    {
        auto* player = static_cast<Player*>(self);
        player->m_timeout = 0;
        player->m_thrown = std::make_exception_ptr(std::runtime_error("the service was told to stop and does not"));
        g_main_loop_quit(player->m_loop.get());
        return G_SOURCE_REMOVE;
    }

    void Summarizes(long long milliseconds) const
    {
        std::string text;
        for (const std::string& failure : m_failures) {
            text += "not as it should: " + failure + "\n";
        }
        if (!m_settings.quiet) {
            std::array<char, 32> took = {};
            std::snprintf(took.data(), took.size(), "%lld.%01lld s", milliseconds / 1000, milliseconds % 1000 / 100);
            text = "\n" + m_teller.Summary() + "\n" + text + TitleOf(m_scenario.file) + " went " +
                   (m_failures.empty() ? "as it should" : "NOT as it should") + ", told in " + took.data() + "\n";
        }
        m_output.Write(text);
    }

    const Scenario& m_scenario;
    const RunSettings& m_settings;
    const front::StopSignals& m_signals;
    const front::Output& m_output;
    front::Desk m_desk;
    front::Teller m_teller;
    front::Feed::Subscription m_subscription;
    Util::MainLoopPtr m_loop;
    guint m_source;
    guint m_timeout = 0;
    std::size_t m_next = 0;
    std::vector<std::string> m_failures;
    std::exception_ptr m_thrown;
    bool m_stays = false;
    bool m_isEnding = false;
    bool m_isSaved = false;
    bool m_isOver = false;
    bool m_isRecorded = false;
};

} // namespace

bool Play(const Scenario& scenario, const RunSettings& settings, const front::StopSignals& signals,
          const front::Output& output)
{
    return Player(scenario, settings, signals, output).Plays();
}

} // namespace scenario
