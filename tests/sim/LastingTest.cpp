// A set may stay on for nights, with events all the time: what it keeps of them does not add up.

#include "settings/KeyNode.h"
#include "settings/Value.h"
#include "sim/Adapter.h"
#include "sim/Kpi.h"
#include "sim/SettingWatches.h"
#include "sim/Settings.h"
#include "sim/Tape.h"
#include "sim/Television.h"
#include "sim/Text.h"

#include <gtest/gtest.h>

#include <kpi_logger.h>
#include <malloc.h>

#include <cstddef>
#include <functional>
#include <string>

namespace {

constexpr int kMany = 5000;
constexpr std::size_t kNothing = std::size_t{64} * 1024; // beside what one event of those keeps, or none

/// Bytes of the heap that are in use after \p happens so many times, beyond those after it happened once.
std::size_t Kept(sim::Television& tv, const std::function<void(int)>& happens)
{
    happens(0);
    tv.tape.Clear();
    const std::size_t before = ::mallinfo2().uordblks;
    for (int count = 1; count <= kMany; ++count) {
        happens(count);
        tv.tape.Clear();
    }
    const std::size_t after = ::mallinfo2().uordblks;
    return after > before ? after - before : 0;
}

const std::string& LongText()
{
    static const std::string text(1000, 'x');
    return text;
}

int timesTold = 0;

void CountsNotices(keynode* /*node*/, void* /*userData*/)
{
    ++timesTold;
}

} // namespace

TEST(Lasting, UsageEventsAreNotKept)
{
    sim::Television tv;
    const std::size_t kept = Kept(tv, [](int) {
        KPILogFramework::CLogger::GetInstance()->AddEventLogAsync("25_any", "NAME", "EV001", LongText(), nullptr,
                                                                  nullptr);
    });
    EXPECT_LT(kept, kNothing);
    EXPECT_EQ(tv.kpi.events, static_cast<std::size_t>(kMany) + 1);
}

TEST(Lasting, WritesOfSettingsThatNobodyWatchesAreNotKept)
{
    sim::Television tv;
    const std::size_t kept = Kept(
        tv, [&](int number) { tv.settings.watches.Wrote("memory/any/" + std::to_string(number % 500), LongText()); });
    EXPECT_LT(kept, kNothing);
}

TEST(Lasting, WritesThatTheirWatchesWereToldOfAreNotKept)
{
    sim::Television tv;
    sim::SettingWatches& watches = tv.settings.watches;
    const settings::ChangeFunction standIn = sim::SettingWatches::StandIn(CountsNotices);
    const std::size_t kept = Kept(tv, [&](int number) {
        const std::string key = "memory/any/" + std::to_string(number % 500);
        watches.Begins(key, standIn);
        {
            const sim::Tape::Scope writes = tv.tape.Note("somebody writes");
            watches.Wrote(key, sim::ToText(settings::Value(LongText())));
        }
        keynode node = {key, settings::Value(LongText())};
        watches.Told(standIn, CountsNotices, &node, nullptr);
    });
    EXPECT_EQ(timesTold, kMany + 1);
    EXPECT_LT(kept, std::size_t{512} * 1024) << "beside five hundred watches";
}

TEST(Lasting, ASocketThatTheServiceLeavesOpenTakesFewBytes)
{
    sim::Television tv;
    const std::size_t kept = Kept(tv, [&](int) { tv.adapter.CreateSocket("DFC3AFAA-6FF9-4A05-B68C-A0B725F90005"); });
    EXPECT_LT(kept, std::size_t{kMany} * 40);
    EXPECT_EQ(tv.adapter.OpenSockets(), static_cast<std::size_t>(kMany) + 1);
}
