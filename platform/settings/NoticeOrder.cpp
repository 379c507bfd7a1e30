#include "NoticeOrder.h"

#include "settings/Change.h"
#include "settings/Database.h"

#include <utility>

namespace settings {
namespace {

// The file whose oldest untold write began first; the persistent one when both began at once or nothing is left.
std::size_t Earlier(const std::array<Backlog, kSides>& files)
{
    const std::deque<Change>& persistent = files[0].untold;
    const std::deque<Change>& memory = files[1].untold;
    const bool isMemory = !memory.empty() && (persistent.empty() || memory.front().moment < persistent.front().moment);
    return isMemory ? 1 : 0;
}

} // namespace

std::optional<Change> TakeNext(std::array<Backlog, kSides>& files)
{
    const std::size_t file = Earlier(files);
    std::deque<Change>& untold = files[file].untold;
    const std::optional<std::int64_t>& otherUnread = files[kSides - 1 - file].unreadSince;
    if (untold.empty() || (otherUnread && untold.front().moment > *otherUnread)) {
        return std::nullopt;
    }
    std::optional<Change> next(std::move(untold.front()));
    untold.pop_front();
    return next;
}

} // namespace settings
