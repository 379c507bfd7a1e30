#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace front {

/// What happens on the television, for whoever shows it, and the way in for command lines. The prompt and the page
/// stand on it, so what one does the other shows. For the thread of the main loop.
class Feed
{
public:
    /// \param object one JSON object, on one line, without the line end: an entry, a state, the end of a line, or the
    /// greeting that describes the commands
    using Listener = std::function<void(const std::string& object)>;

    /// The listener is called while somebody holds this. It may be let go inside the listener, too.
    using Subscription = std::shared_ptr<const Listener>;

    virtual ~Feed() = default;
    Feed() = default;
    Feed(const Feed&) = delete;
    Feed& operator=(const Feed&) = delete;

    /// Tells, before it returns, the greeting (`{"hello":…}`), the entries so far (the newest kMostEntries) and the
    /// state; from then on each object as it comes. Listeners are told in the order in which they subscribed.
    [[nodiscard]] virtual Subscription Subscribe(Listener listener) = 0;

    /// Has the television carry out a command line, after all that were submitted before. What becomes of it comes as
    /// entries, the state and, last, `{"done":{"line":…,"error":…}}`, also for a line that nobody understands.
    /// \param line without a line end; no longer than kLongestLine, and what is no UTF-8 is refused
    virtual void Submit(std::string_view line) = 0;

    static constexpr int kMostEntries = 20'000;    ///< what a page can show without getting slow
    static constexpr int kLongestLine = 64 * 1024; ///< bytes; a setting of 32 KiB fits in
};

} // namespace front
