#include "soak/Trial.h"

#include "GlibPointers.h"
#include "settings/FileDescriptor.h"
#include "tv/front/Desk.h"
#include "tv/front/Feed.h"
#include "tv/front/Object.h"

#include <glib-unix.h>
#include <glib.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <exception>
#include <string_view>
#include <system_error>
#include <utility>

namespace soak {

namespace {

using front::Object;

constexpr const char* kRemark = "# that is all";

/// What this process and those that it starts say goes to a file.
class Aside
{
public:
    explicit Aside(const std::string& file) : m_before(::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0))
    {
        const settings::FileDescriptor log(::open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644));
        if (!m_before.IsOpen() || !log.IsOpen() || ::dup2(log.Get(), STDERR_FILENO) < 0) {
            throw std::system_error(errno, std::generic_category(), file);
        }
    }
    ~Aside()
    {
        std::fflush(stderr);
        ::dup2(m_before.Get(), STDERR_FILENO);
    }
    Aside(const Aside&) = delete;
    Aside& operator=(const Aside&) = delete;

private:
    settings::FileDescriptor m_before;
};

class Trial
{
public:
    Trial(const Story& story, const front::StopSignals& signals, std::chrono::seconds patience)
        : m_story(story),
          m_signals(signals),
          m_patience(patience),
          m_subscription(m_desk.Subscribe([this](const std::string& object) { Hears(object); })),
          m_loop(g_main_loop_new(nullptr, FALSE)),
          m_source(g_unix_fd_add(signals.Descriptor(), G_IO_IN, OnSignal, this))
    {}
    ~Trial()
    {
        g_source_remove(m_source);
        IsPatientNoMore();
    }
    Trial(const Trial&) = delete;
    Trial& operator=(const Trial&) = delete;

    Outcome Lives()
    {
        Continues();
        g_main_loop_run(m_loop.get());
        if (m_thrown) {
            std::rethrow_exception(m_thrown);
        }
        return std::move(m_outcome);
    }

private:
    /// The next line; behind the last one the service is stopped, which shows what it leaves behind. The remark is
    /// answered when its process has ended.
    void Continues()
    {
        while (m_passage < m_story.size() && m_line == m_story[m_passage].size()) {
            ++m_passage;
            m_line = 0;
            m_isRefused = false;
        }
        if (m_passage < m_story.size()) {
            Submit(m_story[m_passage][m_line++]);
        } else if (m_isRunning) {
            Submit("unplug");
        } else if (m_submitted != kRemark) {
            Submit(kRemark);
        } else {
            g_main_loop_quit(m_loop.get());
        }
    }

    void Submit(const std::string& line)
    {
        m_submitted = line;
        m_timeout = g_timeout_add_seconds(static_cast<guint>(m_patience.count()), OnTimeout, this);
        m_desk.Submit(line);
    }

    void IsPatientNoMore()
    {
        if (m_timeout != 0) {
            g_source_remove(std::exchange(m_timeout, 0));
        }
    }

    void Hears(const std::string& text)
    {
        constexpr std::string_view kHeard[] = {"{\"finding\"", "{\"done\"", "{\"id\""};
        const bool isEntry = text.starts_with(kHeard[2]);
        if (std::ranges::none_of(kHeard, [&](std::string_view begin) { return text.starts_with(begin); }) ||
            (isEntry && text.find("\"kind\":\"life\"") == std::string::npos)) {
            return; // there may be thousands, and each is long
        }
        const Object object = Object::Parse(text);
        if (object.Has("finding")) {
            IsAtFault(object.Text("finding"));
        } else if (object.Text("kind") == "life") {
            HearsLife(object.Text("text"));
        } else if (object.Has("done")) {
            HearsDone(object.Member("done").Text("error"));
        }
    }

    void HearsLife(const std::string& text)
    {
        const bool begins = text.find("the service starts") != std::string::npos;
        m_outcome.lives += begins ? 1 : 0;
        if (text.starts_with("the service has ended by itself") && m_submitted != "bus restart") {
            IsAtFault(text);
        }
        m_isRunning = begins;
    }

    void HearsDone(const std::string& error)
    {
        IsPatientNoMore();
        const bool isCrash = error.starts_with("the service has crashed");
        const bool isMissed = m_submitted.starts_with("expect ") && !m_isRefused && !error.empty();
        if (m_submitted != kRemark && (error.empty() || isCrash || isMissed)) {
            m_outcome.lines.push_back(m_submitted);
        } else {
            m_isRefused = m_submitted != kRemark;
        }
        if (isCrash || isMissed) {
            IsAtFault(isMissed ? m_submitted + ": " + error : error);
        }
        if (m_outcome.fault) {
            g_main_loop_quit(m_loop.get());
        } else {
            Continues();
        }
    }

    void IsAtFault(const std::string& what)
    {
        if (!m_outcome.fault) {
            m_outcome.fault = Fault{what, m_passage};
        }
    }

    static gboolean OnTimeout(gpointer self)
    {
        auto* trial = static_cast<Trial*>(self);
        trial->m_timeout = 0;
        trial->m_outcome.lines.push_back(trial->m_submitted);
        trial->IsAtFault("it hangs at: " + trial->m_submitted);
        g_main_loop_quit(trial->m_loop.get());
        return G_SOURCE_REMOVE;
    }

    static gboolean OnSignal(gint, GIOCondition, gpointer self)
    {
        auto* trial = static_cast<Trial*>(self);
        if (const std::optional<int> signal = trial->m_signals.Take()) {
            trial->m_thrown = std::make_exception_ptr(front::Stopped{*signal});
            g_main_loop_quit(trial->m_loop.get());
        }
        return G_SOURCE_CONTINUE;
    }

    const Story& m_story;
    const front::StopSignals& m_signals;
    std::chrono::seconds m_patience;
    front::Desk m_desk;
    front::Feed::Subscription m_subscription;
    Util::MainLoopPtr m_loop;
    guint m_source;
    guint m_timeout = 0;
    Outcome m_outcome;
    std::size_t m_passage = 0;
    std::size_t m_line = 0;   ///< of the passage, the next
    std::string m_submitted;  ///< the last
    bool m_isRefused = false; ///< a line of the passage: what is expected behind it means nothing
    bool m_isRunning = false;
    std::exception_ptr m_thrown;
};

} // namespace

std::string KindOf(const Fault& fault)
{
    std::string kind = fault.what.substr(0, fault.what.find_first_of(";\n"));
    std::erase_if(kind, [](unsigned char character) { return std::isdigit(character) != 0; });
    return kind;
}

Outcome Live(const Story& story, const front::StopSignals& signals, std::chrono::seconds patience,
             const std::string& log)
{
    const Aside aside(log);
    return Trial(story, signals, patience).Lives();
}

} // namespace soak
