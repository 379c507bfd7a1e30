// The order in which the writes to the two files are told, without files.

#include "settings/NoticeOrder.h"

#include "settings/Change.h"
#include "settings/Database.h"
#include "settings/Value.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <ostream>
#include <sstream>
#include <string>
#include <variant>
#include <vector>

namespace settings {
namespace {

constexpr std::optional<std::int64_t> kAllRead;

// A file by the moments of its writes, in the order of their commits.
struct File
{
    std::vector<std::int64_t> moments;
    std::optional<std::int64_t> unreadSince;
};

struct Case
{
    const char* name;
    File persistent;
    File memory;
    const char* told; // "p10 m20": the write of the persistent file at 10, then that of the other at 20
};

void PrintTo(const Case& tested, std::ostream* out)
{
    *out << tested.name;
}

Backlog BacklogOf(const File& file, const std::string& letter)
{
    Backlog backlog{{}, file.unreadSince};
    for (const std::int64_t moment : file.moments) {
        const auto id = static_cast<std::int64_t>(backlog.untold.size()) + 1;
        backlog.untold.push_back({id, moment, letter + std::to_string(moment), static_cast<int>(moment)});
    }
    return backlog;
}

class NoticeOrderTest : public ::testing::TestWithParam<Case>
{};

TEST_P(NoticeOrderTest, TakesWhatIsNextAndLeavesTheRest)
{
    std::array<Backlog, kSides> files = {BacklogOf(GetParam().persistent, "p"), BacklogOf(GetParam().memory, "m")};
    const std::size_t rows = files[0].untold.size() + files[1].untold.size();
    std::ostringstream told;
    std::size_t taken = 0;
    while (const std::optional<Change> next = TakeNext(files)) {
        told << (taken++ > 0 ? " " : "") << next->key;
        EXPECT_EQ(next->value, Value(static_cast<int>(next->moment)));
    }
    EXPECT_EQ(told.str(), GetParam().told);
    EXPECT_EQ(files[0].untold.size() + files[1].untold.size(), rows - taken);
}

const Case kCases[] = {
    {"Nothing", {{}, kAllRead}, {{}, kAllRead}, ""},
    {"OneFile", {{10, 20}, kAllRead}, {{}, kAllRead}, "p10 p20"},
    {"TheOtherFile", {{}, kAllRead}, {{10, 20}, kAllRead}, "m10 m20"},
    {"ByMoment", {{10, 40}, kAllRead}, {{20, 30, 50}, kAllRead}, "p10 m20 m30 p40 m50"},
    {"MemoryFirst", {{20}, kAllRead}, {{10}, kAllRead}, "m10 p20"},
    {"PersistentFirstAtOneMoment", {{10}, kAllRead}, {{10}, kAllRead}, "p10 m10"},
    // A writer that waited for the file began before, and is committed after, the one that did not wait.
    {"CommitsOfAFileKeepTheirOrder", {{30, 10}, kAllRead}, {{20, 40}, kAllRead}, "m20 p30 p10 m40"},
    {"WaitsForTheUnread", {{10, 20, 30}, kAllRead}, {{}, 20}, "p10 p20"},
    {"WaitsForTheUnreadToo", {{}, 20}, {{19, 20, 21}, kAllRead}, "m19 m20"},
    {"WaitsThoughMoreIsThere", {{10, 30}, kAllRead}, {{40}, 20}, "p10"},
    {"ItsOwnUnreadComesLater", {{10, 30}, 5}, {{20}, kAllRead}, "p10"},
    {"OnlyTheUnreadFilesRowsGoOn", {{10, 30}, 5}, {{}, kAllRead}, "p10 p30"},
    {"BothUnread", {{10, 25}, 15}, {{12, 30}, 20}, "p10 m12"},
};

INSTANTIATE_TEST_SUITE_P(Rows, NoticeOrderTest, ::testing::ValuesIn(kCases),
                         [](const ::testing::TestParamInfo<Case>& tested) { return tested.param.name; });

} // namespace
} // namespace settings
