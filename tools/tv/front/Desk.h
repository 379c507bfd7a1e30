#pragma once

#include "support/Child.h"
#include "support/PrivateBus.h"
#include "support/TempDir.h"
#include "tv/front/Feed.h"
#include "tv/front/Object.h"
#include "tv/front/SetProcess.h"
#include "tv/language/Line.h"
#include "tv/run/RunFile.h"
#include "tv/scenario/Expectations.h"

#include <glib.h>

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace front {

/// The television on the desk: a message bus, a folder, and one process after the other with the set in it. Runs on the
/// default main context. All that it has made goes with it.
class Desk final : public Feed
{
public:
    /// Throws std::runtime_error or std::system_error when there is no bus, no folder or no process.
    Desk();
    ~Desk() override;

    [[nodiscard]] Subscription Subscribe(Listener listener) override;
    void Submit(std::string_view line) override;

    /// \param listener is called when somebody wants it to end
    void OnQuit(std::function<void()> listener)
    {
        m_onQuit = std::move(listener);
    }
    /// True when every line that was submitted has been carried out.
    [[nodiscard]] bool IsIdle() const
    {
        return !m_busy && m_lines.empty();
    }
    /// The set's folder.
    [[nodiscard]] std::string Root() const;

    /// Throws away what has not been begun yet.
    void Forgets()
    {
        m_lines.clear();
    }

private:
    /// An expectation that may still be met.
    struct Within
    {
        language::Line line;
        std::int64_t until; ///< microseconds of the run
    };

    void Starts();
    /// The members of the state; takes its time in.
    Object State();
    void Later();
    static gboolean OnLater(gpointer self);
    void Next();
    void Begins(const std::string& text);
    void BeginsFront(const language::Line& line);
    void BeginsTester(const language::Line& line);
    void LooksAgain();
    void Ends(const std::string& error = {});
    void Hears(const std::string& object);
    void HearsDone(const Object& done);
    void HearsEnd(const support::ProcessEnd& end);
    void RestartsBus();
    void Saves(const std::string& file) const;
    void Answers(const language::Line& line);
    void Keeps(const std::string& object);
    void Tells(const std::string& object);
    void TellsLife(const std::string& text);
    [[nodiscard]] std::string LastDoings() const;

    support::TempDir m_folder;
    std::optional<support::PrivateBus> m_bus;
    std::unique_ptr<SetProcess> m_set;
    std::function<void()> m_onQuit;
    scenario::Expectations m_expectations;
    std::vector<std::weak_ptr<const Listener>> m_listeners;
    std::deque<std::string> m_lines;    ///< that nobody has begun
    std::deque<std::string> m_entries;  ///< the newest
    std::vector<std::string> m_history; ///< lines that were carried out, for a scenario
    std::vector<std::string> m_furniture;
    std::deque<std::string> m_doings; ///< the last things that the service did, as texts
    run::Writer m_run;                ///< all objects, on disk
    std::string m_runFailure;         ///< why some are not
    run::Follower m_known;            ///< the same, read when somebody asks why
    std::string m_state;
    std::string m_line; ///< that is being carried out
    bool m_busy = false;
    bool m_isGiven = false;   ///< the line is with the set
    bool m_isLeaving = false; ///< the set ends by itself, and takes no more lines
    bool m_busGoes = false;
    bool m_findsBus = true; ///< the service, when it was started last
    std::optional<Within> m_within;
    std::int64_t m_lastId = 0;
    std::int64_t m_at = 0;
    guint m_later = 0;
};

/// What a page is told first.
std::string Greeting();

} // namespace front
