// Notices of writes, within one process.

#include "StoreFixture.h"
#include "settings/Bell.h"
#include "settings/Change.h"
#include "settings/Database.h"
#include "settings/KeyNode.h"
#include "settings/Locations.h"
#include "settings/Store.h"
#include "settings/Value.h"
#include "support/Capture.h"

#include <glib.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace settings {
namespace {

using WatchTest = StoreFixture;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST_F(WatchTest, EveryWriteNotifiesAlsoAnEqualOneWithItsOwnValue)
{
    Store store(m_folders);
    Recorder recorder;
    ASSERT_EQ(store.Watch("db/key", &Recorder::OnChange, &recorder), kOk);
    store.Set("db/key", 1);
    store.Set("db/key", 1);
    store.Set("db/key", 2);
    store.Set("db/key", true);
    store.Set("db/key", std::string("text"));
    EXPECT_THAT(recorder.notices, IsEmpty()) << "a notice came from inside a write";
    RunWhatIsDue();
    EXPECT_THAT(recorder.notices, ElementsAre("db/key=1", "db/key=1", "db/key=2", "db/key=true", "db/key=\"text\""));
}

TEST_F(WatchTest, ANodeGivesNothingOfAnotherType)
{
    keynode number{"db/key", 5};
    keynode flag{"db/key", true};
    keynode text{"db/key", std::string("x")};
    EXPECT_EQ(KeyNodeInt(&number), 5);
    EXPECT_EQ(KeyNodeInt(&flag), 0);
    EXPECT_EQ(KeyNodeInt(&text), 0);
    EXPECT_EQ(KeyNodeInt(nullptr), 0);
    EXPECT_TRUE(KeyNodeBool(&flag));
    EXPECT_FALSE(KeyNodeBool(&number));
    EXPECT_FALSE(KeyNodeBool(nullptr));
    EXPECT_STREQ(KeyNodeStr(&text), "x");
    EXPECT_STREQ(KeyNodeStr(&number), "");
    EXPECT_STREQ(KeyNodeStr(nullptr), "");
}

TEST_F(WatchTest, OnlyTheWatchedKeyNotifies)
{
    Store store(m_folders);
    Recorder recorder;
    ASSERT_EQ(store.Watch("memory/key", &Recorder::OnChange, &recorder), kOk);
    store.Set("memory/keys", 1);
    store.Set("memory/ke", 2);
    store.Set("db/key", 3);
    store.Set("memory/key", 4);
    RunWhatIsDue();
    EXPECT_THAT(recorder.notices, ElementsAre("memory/key=4"));
}

TEST_F(WatchTest, OnlyWritesAfterTheRegistrationAreTold)
{
    Store store(m_folders);
    Recorder early;
    Recorder late;
    store.Set("db/key", 1);
    ASSERT_EQ(store.Watch("db/key", &Recorder::OnChange, &early), kOk);
    store.Set("db/key", 2);
    ASSERT_EQ(store.Watch("db/key", &Recorder::OnChangeToo, &late), kOk);
    store.Set("db/key", 3);
    RunWhatIsDue();
    EXPECT_THAT(early.notices, ElementsAre("db/key=2", "db/key=3"));
    EXPECT_THAT(late.notices, ElementsAre("too db/key=3"));
}

TEST_F(WatchTest, ASecondRegistrationOfThePairReplacesTheFirst)
{
    Store store(m_folders);
    Recorder first;
    Recorder second;
    ASSERT_EQ(store.Watch("db/key", &Recorder::OnChange, &first), kOk);
    store.Set("db/key", 1);
    ASSERT_EQ(store.Watch("db/key", &Recorder::OnChange, &second), kOk);
    store.Set("db/key", 2);
    RunWhatIsDue();
    EXPECT_THAT(first.notices, IsEmpty());
    EXPECT_THAT(second.notices, ElementsAre("db/key=1", "db/key=2"));
    EXPECT_EQ(store.Unwatch("db/key", &Recorder::OnChange), kOk);
    EXPECT_EQ(store.Unwatch("db/key", &Recorder::OnChange), kFailed);
}

TEST_F(WatchTest, AnUnknownPairIsNotRemoved)
{
    Store store(m_folders);
    Recorder recorder;
    ASSERT_EQ(store.Watch("db/key", &Recorder::OnChange, &recorder), kOk);
    EXPECT_EQ(store.Unwatch("db/key", &Recorder::OnChangeToo), kFailed);
    EXPECT_EQ(store.Unwatch("db/other", &Recorder::OnChange), kFailed);
    store.Set("db/key", 1);
    RunWhatIsDue();
    EXPECT_THAT(recorder.notices, ElementsAre("db/key=1"));
}

TEST_F(WatchTest, NothingIsToldAfterTheWatchEnded)
{
    Store store(m_folders);
    Recorder recorder;
    ASSERT_EQ(store.Watch("db/key", &Recorder::OnChange, &recorder), kOk);
    store.Set("db/key", 1);
    EXPECT_EQ(store.Unwatch("db/key", &Recorder::OnChange), kOk);
    store.Set("db/key", 2);
    RunWhatIsDue();
    EXPECT_THAT(recorder.notices, IsEmpty());
    ASSERT_EQ(store.Watch("db/key", &Recorder::OnChange, &recorder), kOk);
    store.Set("db/key", 3);
    RunWhatIsDue();
    EXPECT_THAT(recorder.notices, ElementsAre("db/key=3"));
}

TEST_F(WatchTest, UnsettingNotifiesNobody)
{
    Store store(m_folders);
    Recorder recorder;
    ASSERT_EQ(store.Watch("db/key", &Recorder::OnChange, &recorder), kOk);
    store.Set("db/key", 1);
    store.Unset("db/key");
    RunWhatIsDue();
    EXPECT_THAT(recorder.notices, ElementsAre("db/key=1"));
}

TEST_F(WatchTest, NoticesOfBothFilesComeInTheOrderOfTheWrites)
{
    Store store(m_folders);
    Recorder recorder;
    ASSERT_EQ(store.Watch("db/key", &Recorder::OnChange, &recorder), kOk);
    ASSERT_EQ(store.Watch("memory/key", &Recorder::OnChange, &recorder), kOk);
    store.Set("memory/key", 1);
    store.Set("db/key", 2);
    store.Set("db/key", 3);
    store.Set("memory/key", 4);
    store.Set("db/key", 5);
    RunWhatIsDue();
    EXPECT_THAT(recorder.notices, ElementsAre("memory/key=1", "db/key=2", "db/key=3", "memory/key=4", "db/key=5"));
}

// Makes the persistent file one that cannot be used, for as long as it lives.
class OutOfUse
{
public:
    explicit OutOfUse(std::string file) : m_file(std::move(file))
    {
        std::filesystem::rename(m_file, m_file + "-aside");
        std::filesystem::create_directory(m_file);
    }
    ~OutOfUse()
    {
        std::filesystem::remove(m_file);
        std::filesystem::rename(m_file + "-aside", m_file);
    }
    OutOfUse(const OutOfUse&) = delete;
    OutOfUse& operator=(const OutOfUse&) = delete;

private:
    std::string m_file;
};

// Calls a function once, when the first statement with these words begins (SQLITE_TRACE_STMT) or ends
// (SQLITE_TRACE_PROFILE) on a connection that is opened after this was made.
class Interruption
{
public:
    Interruption(unsigned event, std::string_view words, std::function<void()> function)
    {
        awaited = event;
        awaitedWords = words;
        pending = std::move(function);
        sqlite3_auto_extension(reinterpret_cast<void (*)()>(&Interruption::OnOpened));
    }
    ~Interruption()
    {
        sqlite3_reset_auto_extension();
        pending = nullptr;
    }
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;

private:
    static int OnOpened(sqlite3* connection, char** /*error*/, const sqlite3_api_routines* /*api*/)
    {
        return sqlite3_trace_v2(connection, awaited, &Interruption::OnStatement, nullptr);
    }

    static int OnStatement(unsigned /*event*/, void* /*context*/, void* statement, void* /*more*/)
    {
        const std::string_view sql = sqlite3_sql(static_cast<sqlite3_stmt*>(statement));
        if (sql.find(awaitedWords) != std::string_view::npos) {
            if (const auto function = std::exchange(pending, nullptr)) {
                function();
            }
        }
        return 0;
    }

    static inline unsigned awaited = 0;
    static inline std::string_view awaitedWords;
    static inline std::function<void()> pending;
};

class LateTest : public WatchTest
{
protected:
    LateTest()
    {
        Store(m_folders).Set("db/key", 1);
        support::CaptureStderr();
    }
    ~LateTest() override
    {
        support::GetCapturedStderr();
    }

    Store store{m_folders};
    Recorder recorder;
};

TEST_F(LateTest, AWatchBegunWhileTheFileCannotBeUsedIsToldOfWhatIsWrittenAfterIt)
{
    // As a row of an earlier start of the machine, which was up for longer then.
    Store(m_folders).Set("db/key", 2);
    RunSql("UPDATE change SET moment = 9000000000000000000 WHERE id = 2");
    {
        const OutOfUse outOfUse(PersistentFile());
        EXPECT_EQ(store.Watch("db/key", &Recorder::OnChange, &recorder), kFailed);
        RunWhatIsDue();
        EXPECT_EQ(TimeToNextWakeUp(), -1) << "nothing is to be tried before somebody writes";
    }
    Store(m_folders).Set("db/key", 3);
    Store(m_folders).Set("db/key", 3);
    EXPECT_TRUE(RunUntil([this] { return recorder.notices.size() >= 2; }));
    RunWhatIsDue();
    EXPECT_THAT(recorder.notices, ElementsAre("db/key=3", "db/key=3"));
}

TEST_F(LateTest, AWatchBegunInVainMissesNothingBeforeOneThatIsBegunInTime)
{
    {
        const OutOfUse outOfUse(PersistentFile());
        EXPECT_EQ(store.Watch("db/key", &Recorder::OnChange, &recorder), kFailed);
    }
    Store(m_folders).Set("db/key", 2);
    Store(m_folders).Set("db/other", 3);
    EXPECT_EQ(store.Watch("db/other", &Recorder::OnChange, &recorder), kOk);
    store.Set("db/other", 4);
    RunWhatIsDue();
    EXPECT_THAT(recorder.notices, ElementsAre("db/key=2", "db/other=4"));
}

TEST_F(LateTest, AWriteThatComesInTheMomentOfTheFirstLookIsToldToo)
{
    Store writer(m_folders);
    const Interruption beforeTheLook(SQLITE_TRACE_STMT, "ORDER BY id DESC", [&writer] { writer.Set("db/key", 3); });
    Store late(m_folders);
    {
        const OutOfUse outOfUse(PersistentFile());
        EXPECT_EQ(late.Watch("db/key", &Recorder::OnChange, &recorder), kFailed);
    }
    writer.Set("db/key", 2);
    EXPECT_TRUE(RunUntil([this] { return recorder.notices.size() >= 2; }));
    EXPECT_THAT(recorder.notices, ElementsAre("db/key=2", "db/key=3"));
}

TEST_F(LateTest, ASecondWatchBegunInVainIsNotToldOfWhatCameBetweenTheTwo)
{
    Recorder late;
    {
        const OutOfUse outOfUse(PersistentFile());
        EXPECT_EQ(store.Watch("db/key", &Recorder::OnChange, &recorder), kFailed);
    }
    Store(m_folders).Set("db/key", 2);
    {
        const OutOfUse outOfUse(PersistentFile());
        EXPECT_EQ(store.Watch("db/key", &Recorder::OnChangeToo, &late), kFailed);
    }
    Store(m_folders).Set("db/key", 3);
    EXPECT_TRUE(RunUntil([&late] { return !late.notices.empty(); }));
    EXPECT_THAT(recorder.notices, ElementsAre("db/key=2", "db/key=3"));
    EXPECT_THAT(late.notices, ElementsAre("too db/key=3"));
}

TEST_F(LateTest, AReadInVainIsTriedAgainAfterAPause)
{
    {
        const OutOfUse outOfUse(PersistentFile());
        EXPECT_EQ(store.Watch("db/key", &Recorder::OnChange, &recorder), kFailed);
    }
    Store(m_folders).Set("db/key", 2);
    {
        const OutOfUse outOfUse(PersistentFile());
        RunWhatIsDue();
    }
    EXPECT_TRUE(RunUntil([this] { return !recorder.notices.empty(); }));
    EXPECT_THAT(recorder.notices, ElementsAre("db/key=2"));
}

TEST_F(LateTest, AReadInVainIsNotTriedForEver)
{
    const OutOfUse outOfUse(PersistentFile());
    EXPECT_EQ(store.Watch("db/key", &Recorder::OnChange, &recorder), kFailed);
    Bell(WatchersFolder() + "/db.bell").Ring();
    RunWhatIsDue();
    EXPECT_TRUE(RunUntil([] { return TimeToNextWakeUp() > 1000; }));
}

TEST_F(LateTest, AWatchBegunInVainIsReplacedAndEndedLikeAnyOther)
{
    Recorder second;
    {
        const OutOfUse outOfUse(PersistentFile());
        EXPECT_EQ(store.Watch("db/key", &Recorder::OnChange, &recorder), kFailed);
        EXPECT_EQ(store.Watch("db/key", &Recorder::OnChange, &second), kFailed);
        EXPECT_EQ(store.Watch("db/key", &Recorder::OnChangeToo, &recorder), kFailed);
        EXPECT_EQ(store.Unwatch("db/key", &Recorder::OnChangeToo), kOk);
        EXPECT_EQ(store.Unwatch("db/key", &Recorder::OnChangeToo), kFailed);
    }
    store.Set("db/key", 2);
    RunWhatIsDue();
    EXPECT_THAT(second.notices, ElementsAre("db/key=2"));
    EXPECT_THAT(recorder.notices, IsEmpty());
}

TEST_F(WatchTest, WritesThatComeBetweenTheReadsOfTheTwoFilesAreToldInTheirOrder)
{
    Store writer(m_folders);
    const Interruption betweenTheReads(SQLITE_TRACE_PROFILE, "SELECT id,", [&writer] {
        writer.Set("db/key", 1);
        writer.Set("memory/key", 2);
    });
    Store store(m_folders);
    Recorder recorder;
    ASSERT_EQ(store.Watch("db/key", &Recorder::OnChange, &recorder), kOk);
    ASSERT_EQ(store.Watch("memory/key", &Recorder::OnChange, &recorder), kOk);
    // Both files are read for these, the persistent one first.
    writer.Set("db/other", 0);
    writer.Set("memory/other", 0);
    RunWhatIsDue();
    EXPECT_THAT(recorder.notices, ElementsAre("db/key=1", "memory/key=2"));
}

TEST_F(WatchTest, AFailedWriteNotifiesNobody)
{
    Store store(m_folders);
    Recorder recorder;
    ASSERT_EQ(store.Watch("db/key", &Recorder::OnChange, &recorder), kOk);
    support::CaptureStderr();
    store.Set("key", 1);
    support::GetCapturedStderr();
    RunWhatIsDue();
    EXPECT_THAT(recorder.notices, IsEmpty());
}

// What a callback does to the store it is called by.
struct Actor : Recorder
{
    explicit Actor(const Folders& folders) : store(folders) {}

    static void Rewrites(keynode* node, void* self)
    {
        auto* actor = static_cast<Actor*>(self);
        OnChange(node, self);
        if (KeyNodeInt(node) < 3) {
            actor->store.Set("db/key", KeyNodeInt(node) + 1);
            actor->notices.emplace_back("written");
        }
    }

    static void RemovesBoth(keynode* node, void* self)
    {
        OnChange(node, self);
        static_cast<Actor*>(self)->store.Unwatch("db/key", &Actor::RemovesBoth);
        static_cast<Actor*>(self)->store.Unwatch("db/key", &Recorder::OnChangeToo);
    }

    static void AddsAnother(keynode* node, void* self)
    {
        OnChange(node, self);
        static_cast<Actor*>(self)->store.Watch("db/key", &Recorder::OnChangeToo,
                                               static_cast<Recorder*>(static_cast<Actor*>(self)));
    }

    static void WatchesAnew(keynode* node, void* self)
    {
        OnChange(node, self);
        static_cast<Actor*>(self)->store.Unwatch("db/key", &Actor::WatchesAnew);
        static_cast<Actor*>(self)->store.Watch("db/key", &Actor::WatchesAnew, self);
    }

    Store store;
};

TEST_F(WatchTest, ACallbackMayWriteTheKeyItWatches)
{
    Actor actor(m_folders);
    ASSERT_EQ(actor.store.Watch("db/key", &Actor::Rewrites, &actor), kOk);
    actor.store.Set("db/key", 1);
    RunWhatIsDue();
    EXPECT_THAT(actor.notices, ElementsAre("db/key=1", "written", "db/key=2", "written", "db/key=3"));
}

TEST_F(WatchTest, ACallbackMayRemoveItselfAndTheNextOne)
{
    Actor actor(m_folders);
    ASSERT_EQ(actor.store.Watch("db/key", &Actor::RemovesBoth, &actor), kOk);
    ASSERT_EQ(actor.store.Watch("db/key", &Recorder::OnChangeToo, &actor), kOk);
    actor.store.Set("db/key", 1);
    actor.store.Set("db/key", 2);
    RunWhatIsDue();
    EXPECT_THAT(actor.notices, ElementsAre("db/key=1"));
}

TEST_F(WatchTest, ACallbackAddedByACallbackIsToldOfLaterWritesOnly)
{
    Actor actor(m_folders);
    ASSERT_EQ(actor.store.Watch("db/key", &Actor::AddsAnother, &actor), kOk);
    actor.store.Set("db/key", 1);
    actor.store.Set("db/key", 2);
    RunWhatIsDue();
    EXPECT_THAT(actor.notices, ElementsAre("db/key=1", "db/key=2"));
    actor.store.Set("db/key", 3);
    RunWhatIsDue();
    EXPECT_THAT(actor.notices, ElementsAre("db/key=1", "db/key=2", "db/key=3", "too db/key=3"));
}

TEST_F(WatchTest, AWatchEndedAndBegunAnewIsNotToldOfEarlierWrites)
{
    Actor actor(m_folders);
    ASSERT_EQ(actor.store.Watch("db/key", &Actor::WatchesAnew, &actor), kOk);
    actor.store.Set("db/key", 1);
    actor.store.Set("db/key", 2);
    RunWhatIsDue();
    EXPECT_THAT(actor.notices, ElementsAre("db/key=1"));
}

TEST_F(WatchTest, AFloodIsToldWholeAndInOrder)
{
    Store store(m_folders);
    int told = 0;
    ASSERT_EQ(store.Watch(
                  "memory/key",
                  [](keynode* node, void* data) { EXPECT_EQ(KeyNodeInt(node), ++*static_cast<int*>(data)); }, &told),
              kOk);
    for (int number = 1; number <= 5000; ++number) {
        store.Set("memory/key", number);
    }
    ASSERT_TRUE(RunUntil([&told] { return told == 5000; }));
    RunWhatIsDue();
    EXPECT_EQ(told, 5000);
}

// A sibling that answers no call: time passes only while it is waited for.
struct HangingSibling
{
    static constexpr int kTimeOut = 5; // seconds

    int now = 0;
    int calls = 0;
    GMainLoop* stopsAtFirstCall = nullptr;

    static void Call(keynode* /*node*/, void* self)
    {
        auto* sibling = static_cast<HangingSibling*>(self);
        sibling->now += kTimeOut;
        if (++sibling->calls == 1 && sibling->stopsAtFirstCall != nullptr) {
            g_idle_add_full(G_PRIORITY_DEFAULT, &HangingSibling::Stop, sibling->stopsAtFirstCall, nullptr);
        }
    }
    static void CallToo(keynode* node, void* self)
    {
        Call(node, self);
    }

private:
    static gboolean Stop(gpointer loop)
    {
        g_main_loop_quit(static_cast<GMainLoop*>(loop));
        return G_SOURCE_REMOVE;
    }
};

// Somebody else on the loop, who always has something to do.
class Neighbour
{
public:
    explicit Neighbour(const HangingSibling& sibling)
        : m_sibling(sibling),
          m_source(g_idle_add_full(G_PRIORITY_DEFAULT, &Neighbour::Serve, this, nullptr))
    {}
    ~Neighbour()
    {
        g_source_remove(m_source);
    }
    Neighbour(const Neighbour&) = delete;
    Neighbour& operator=(const Neighbour&) = delete;

    int LongestGap() const
    {
        return m_longestGap;
    }

private:
    static gboolean Serve(gpointer data)
    {
        auto* self = static_cast<Neighbour*>(data);
        self->m_longestGap = std::max(self->m_longestGap, self->m_sibling.now - self->m_lastServed);
        self->m_lastServed = self->m_sibling.now;
        return G_SOURCE_CONTINUE;
    }

    const HangingSibling& m_sibling;
    guint m_source;
    int m_lastServed = 0;
    int m_longestGap = 0;
};

class FloodTest : public WatchTest
{
protected:
    // Each write is told to two watchers.
    void WatchAndWrite(int writes)
    {
        ASSERT_EQ(store.Watch("memory/key", &HangingSibling::Call, &sibling), kOk);
        ASSERT_EQ(store.Watch("memory/key", &HangingSibling::CallToo, &sibling), kOk);
        for (int number = 0; number < writes; ++number) {
            ASSERT_EQ(store.Set("memory/key", number), kOk);
        }
    }

    Store store{m_folders};
    HangingSibling sibling;
};

TEST_F(FloodTest, NobodyOnTheLoopWaitsForMoreThanOneCallToASiblingThatHangs)
{
    const Neighbour before(sibling);
    WatchAndWrite(300);
    const Neighbour after(sibling);
    ASSERT_TRUE(RunUntil([this] { return sibling.calls == 600; }));
    EXPECT_EQ(before.LongestGap(), HangingSibling::kTimeOut);
    EXPECT_EQ(after.LongestGap(), HangingSibling::kTimeOut);
}

TEST_F(FloodTest, WhatComesDuringACallIsServedBeforeTheNextCall)
{
    const std::unique_ptr<GMainLoop, void (*)(GMainLoop*)> loop(g_main_loop_new(nullptr, FALSE), &g_main_loop_unref);
    sibling.stopsAtFirstCall = loop.get();
    WatchAndWrite(300);
    g_main_loop_run(loop.get());
    EXPECT_EQ(sibling.calls, 1);
    RunWhatIsDue();
    EXPECT_EQ(sibling.calls, 600) << "notices were lost";
}

TEST_F(WatchTest, TheLogStaysShortWhileItsReadersKeepUp)
{
    Store store(m_folders);
    Recorder recorder;
    ASSERT_EQ(store.Watch("memory/other", &Recorder::OnChange, &recorder), kOk);
    for (int number = 0; number < 20'000; ++number) {
        ASSERT_EQ(store.Set("memory/key", number), kOk);
        if (number % 100 == 0) {
            RunWhatIsDue();
        }
    }
    Database database(m_folders.memory, kMemoryFile, Durability::ProcessDeath);
    std::vector<Change> changes;
    ASSERT_EQ(database.ChangesAfter(0, changes), kOk);
    EXPECT_LE(changes.size(), 3 * 1024U);
    EXPECT_GE(changes.size(), 1024U) << "rows went that are kept for people";
    EXPECT_EQ(changes.back().id, 20'000);
}

TEST_F(WatchTest, TheLogIsCutToItsNewest1024WritesAtEach1024thWrite)
{
    Store store(m_folders);
    Database database(m_folders.memory, kMemoryFile, Durability::ProcessDeath);
    int written = 0;
    const auto rowsAfter = [&](int writes) {
        std::vector<Change> changes;
        for (; written < writes; ++written) {
            EXPECT_EQ(store.Set("memory/key", written), kOk);
        }
        EXPECT_EQ(database.ChangesAfter(0, changes), kOk);
        return changes.size();
    };
    EXPECT_EQ(rowsAfter(2047), 2047U);
    EXPECT_EQ(rowsAfter(2048), 1024U);
    EXPECT_EQ(rowsAfter(3071), 2047U);
    EXPECT_EQ(rowsAfter(3072), 1024U);
}

TEST_F(WatchTest, ItsSourceIsFreedWithTheStore)
{
    GSource* source = nullptr;
    {
        Store store(m_folders);
        Recorder recorder;
        ASSERT_EQ(store.Watch("db/key", &Recorder::OnChange, &recorder), kOk);
        for (guint id = 1; id < 100 && source == nullptr; ++id) {
            GSource* const found = g_main_context_find_source_by_id(nullptr, id);
            if (found != nullptr && g_strcmp0(g_source_get_name(found), "settings") == 0) {
                source = g_source_ref(found);
            }
        }
        ASSERT_NE(source, nullptr);
    }
    EXPECT_TRUE(g_source_is_destroyed(source));
    EXPECT_EQ(source->ref_count, 1U) << "somebody besides this test keeps it";
    g_source_unref(source);
}

TEST_F(WatchTest, TheMainLoopIsLeftAloneWhenNothingIsWritten)
{
    Store store(m_folders);
    Recorder recorder;
    ASSERT_EQ(store.Watch("db/key", &Recorder::OnChange, &recorder), kOk);
    store.Set("db/key", 1);
    RunWhatIsDue();
    EXPECT_EQ(TimeToNextWakeUp(), -1);
}

TEST_F(WatchTest, AStoreThatGoesLeavesNoTraceOnTheLoopOrInTheFolder)
{
    Recorder recorder;
    {
        Store store(m_folders);
        ASSERT_EQ(store.Watch("db/key", &Recorder::OnChange, &recorder), kOk);
        store.Set("db/key", 1);
    }
    RunWhatIsDue();
    EXPECT_THAT(recorder.notices, IsEmpty());
    std::vector<std::string> left;
    for (const auto& file : std::filesystem::directory_iterator(WatchersFolder())) {
        left.push_back(file.path().filename());
    }
    EXPECT_THAT(left, ElementsAre("db.bell"));
}

} // namespace
} // namespace settings
