#include "tv/set/LifeCheck.h"

#include "sim/Television.h"
#include "sim/VirtualClock.h"
#include "support/MainLoop.h"
#include "tv/set/Neighbours.h"
#include "tv/set/Stage.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

using namespace std::chrono_literals;
using std::chrono::milliseconds;

namespace set {

namespace {

/// In real time: GDBus's thread may keep what belongs to a call a moment longer than the caller.
constexpr milliseconds kLongestClosing{500};

/// Files in the set's folder do not count: SQLite keeps some open for other connections of the process.
int DescriptorsOutside(const std::string& folder)
{
    int count = 0;
    for (const auto& descriptor : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code isGone; // the one that this loop reads from
        const std::string file = std::filesystem::read_symlink(descriptor, isGone);
        count += file.starts_with(folder + "/") ? 0 : 1;
    }
    return count;
}

} // namespace

LifeCheck::LifeCheck(Stage& stage) : m_stage(stage)
{
    stage.neighbours.AwaitsGDBus(); // what it closes later would make up for one that the service leaves open
    m_descriptors = DescriptorsBesideSiblings();
    static_cast<void>(sim::VirtualClock::TakeLongestTurn()); // of what was before
}

/// Siblings come and go as they are told, each with a connection.
int LifeCheck::DescriptorsBesideSiblings() const
{
    return DescriptorsOutside(m_stage.tv.Root()) - static_cast<int>(m_stage.neighbours.HowManyAreThere());
}

std::string LifeCheck::ObjectionToStall()
{
    const milliseconds stall = sim::VirtualClock::TakeLongestTurn();
    m_longestStall = std::max(m_longestStall, stall);
    return stall <= kLongestStall ? ""
                                  : "the loop of the service stood still for " + std::to_string(stall.count()) + " ms";
}

std::vector<std::string> LifeCheck::ObjectionsToEnd(int status) const
{
    std::vector<std::string> objections;
    if (status != kStoppedStatus) {
        objections.push_back("the service has ended with status " + std::to_string(status));
    }
    int open = DescriptorsBesideSiblings();
    support::IterateUntil(
        [&] {
            open = std::min(open, DescriptorsBesideSiblings());
            return open <= m_descriptors;
        },
        kLongestClosing);
    if (open > m_descriptors) {
        objections.push_back(std::to_string(open - m_descriptors) + " descriptors are left open by the service");
    }
    return objections;
}

} // namespace set
