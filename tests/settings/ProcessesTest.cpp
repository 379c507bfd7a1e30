// Several processes at once on one store, and processes that die.

#include "StoreFixture.h"
#include "settings/Change.h"
#include "settings/Database.h"
#include "settings/KeyNode.h"
#include "settings/Locations.h"
#include "settings/ReadPosition.h"
#include "settings/Store.h"
#include "settings/Value.h"
#include "support/Child.h"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace settings {
namespace {

// A process of its own that runs `work`. Made while this process has no store open.
class Process
{
public:
    explicit Process(const std::function<void()>& work)
        : m_child(support::Child::Fork([&] {
              work();
              return 0;
          }))
    {}

    void Kill()
    {
        m_child.Kill();
    }

    // Waits for the end. True when it ended well.
    bool EndedWell()
    {
        return m_child.Wait() == support::Exited(0);
    }

private:
    support::Child m_child;
};

class Pipe
{
public:
    Pipe()
    {
        if (pipe(m_ends) != 0) {
            abort();
        }
    }
    ~Pipe()
    {
        CloseReader();
        CloseWriter();
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    void Write(int number) const
    {
        if (write(m_ends[1], &number, sizeof number) != sizeof number) {
            _exit(2);
        }
    }
    bool Read(int& number) const
    {
        return read(m_ends[0], &number, sizeof number) == sizeof number;
    }
    void CloseReader()
    {
        Close(m_ends[0]);
    }
    void CloseWriter()
    {
        Close(m_ends[1]);
    }

private:
    static void Close(int& end)
    {
        if (end >= 0) {
            close(std::exchange(end, -1));
        }
    }

    int m_ends[2] = {-1, -1};
};

void Require(bool condition)
{
    if (!condition) {
        _exit(3);
    }
}

class ProcessesTest : public StoreFixture
{
protected:
    // Writes, with a fresh store for each attempt, as long as others hold the file for longer than a call waits, which
    // they do on a busy machine. False when a call fails without having waited.
    bool SetInTurn(const std::string& key, int value) const
    {
        using Clock = std::chrono::steady_clock;
        for (int attempt = 0; attempt < 50; ++attempt) {
            const auto start = Clock::now();
            if (Store(m_folders).Set(key.c_str(), value) == kOk) {
                return true;
            }
            if (Clock::now() - start < std::chrono::milliseconds(100)) {
                return false;
            }
        }
        return false;
    }

    // A process that opens the store once it reads a number from `start`.
    std::unique_ptr<Process> MakeWriter(const Pipe& start, const std::function<void(Store&)>& work) const
    {
        return std::make_unique<Process>([&] {
            int go = 0;
            Require(start.Read(go));
            Store store(m_folders);
            work(store);
        });
    }

    std::vector<std::string> WatcherFiles() const
    {
        std::vector<std::string> files;
        for (const auto& file : std::filesystem::directory_iterator(WatchersFolder())) {
            if (file.path().extension() != ".bell") {
                files.push_back(file.path().filename());
            }
        }
        return files;
    }
};

TEST_F(ProcessesTest, ThreeWritersAndNoNoticeIsLostOrOutOfOrder)
{
    constexpr int kWriters = 3;
    constexpr int kWrites = 3334; // each
    constexpr std::size_t kNotices = std::size_t{kWriters} * kWrites;
    for (const std::string kind : {"memory/", "db/"}) {
        const std::string key = kind + "shared";
        Pipe start;
        std::vector<std::unique_ptr<Process>> writers;
        writers.reserve(kWriters);
        for (int writer = 0; writer < kWriters; ++writer) {
            writers.push_back(MakeWriter(start, [&, writer](Store& store) {
                for (int number = 0; number < kWrites; ++number) {
                    // A value of each type and of different sizes, every one told from all others.
                    const int value = writer * 100'000 + number;
                    const Value typed = number % 2 == 0 ? Value(value) : Value(std::to_string(value));
                    // On a busy machine another writer may hold the file for longer than a call waits.
                    for (int attempt = 1; store.Set(key.c_str(), typed) != kOk; ++attempt) {
                        Require(attempt < 1000);
                    }
                }
            }));
        }
        // A reader that stands still, so that the whole log can be looked at afterwards.
        ReadPosition still(WatchersFolder(), kind.substr(0, kind.size() - 1));
        ASSERT_TRUE(still.Announce());
        Store store(m_folders);
        Recorder recorder;
        ASSERT_EQ(store.Watch(key.c_str(), &Recorder::OnChange, &recorder), kOk);
        for (int writer = 0; writer < kWriters; ++writer) {
            start.Write(1);
        }
        ASSERT_TRUE(RunUntil([&recorder] { return recorder.notices.size() >= kNotices; }));
        for (const auto& writer : writers) {
            EXPECT_TRUE(writer->EndedWell());
        }
        RunWhatIsDue();

        Database database(kind == "db/" ? m_folders.persistent : m_folders.memory,
                          kind == "db/" ? kPersistentFile : kMemoryFile, Durability::ProcessDeath);
        std::vector<Change> log;
        ASSERT_EQ(database.ChangesAfter(0, log), kOk);
        std::vector<std::string> committed;
        std::map<int, int> next;
        for (const Change& change : log) {
            const bool isInt = std::holds_alternative<int>(change.value);
            const int value = isInt ? std::get<int>(change.value) : std::stoi(std::get<std::string>(change.value));
            EXPECT_EQ(value % 100'000, next[value / 100'000]++);
            keynode node{change.key, change.value};
            committed.push_back(Recorder::Text(&node));
        }
        EXPECT_EQ(committed.size(), kNotices);
        EXPECT_EQ(recorder.notices, committed);
    }
}

TEST_F(ProcessesTest, AWritersNoticesOfBothFilesStayInOrderWhileItWrites)
{
    Pipe start;
    const auto writer = MakeWriter(start, [](Store& store) {
        for (int number = 1; number <= 10'000; ++number) {
            // Runs of different lengths on each side.
            Require(store.Set(number % 11 < number % 7 ? "db/key" : "memory/key", number) == kOk);
        }
    });
    Store store(m_folders);
    std::vector<int> told;
    const auto record = [](keynode* node, void* data) {
        static_cast<std::vector<int>*>(data)->push_back(KeyNodeInt(node));
    };
    ASSERT_EQ(store.Watch("db/key", record, &told), kOk);
    ASSERT_EQ(store.Watch("memory/key", record, &told), kOk);
    start.Write(1);
    ASSERT_TRUE(RunUntil([&told] { return told.size() >= 10'000; }));
    for (std::size_t notice = 0; notice < told.size(); ++notice) {
        ASSERT_EQ(told[notice], static_cast<int>(notice) + 1);
    }
    EXPECT_TRUE(writer->EndedWell());
}

TEST_F(ProcessesTest, AWatcherIsNeverTakenForADeadOneWhileItBegins)
{
    const Process cleaner([&] {
        for (;;) {
            ReadPosition(WatchersFolder(), "memory").Lowest();
        }
    });
    for (int round = 0; round < 3000; ++round) {
        ReadPosition position(WatchersFolder(), "memory");
        ASSERT_TRUE(position.Announce());
        ASSERT_EQ(position.Lowest(), 0);
    }
}

TEST_F(ProcessesTest, AWatcherThatIsSlowMissesNothing)
{
    Pipe start;
    const auto writer = MakeWriter(start, [](Store& store) {
        for (int number = 1; number <= 10'000; ++number) {
            Require(store.Set("memory/key", number) == kOk);
        }
    });
    Store store(m_folders);
    int last = 0;
    ASSERT_EQ(store.Watch(
                  "memory/key",
                  [](keynode* node, void* data) {
                      EXPECT_EQ(KeyNodeInt(node), *static_cast<int*>(data) + 1);
                      *static_cast<int*>(data) = KeyNodeInt(node);
                  },
                  &last),
              kOk);
    start.Write(1);
    ASSERT_TRUE(writer->EndedWell()); // the loop has not run yet
    ASSERT_TRUE(RunUntil([&last] { return last == 10'000; }));
}

TEST_F(ProcessesTest, AWatcherThatWasKilledDoesNotHoldTheLogUp)
{
    Pipe ready;
    Process watcher([&] {
        Store store(m_folders);
        Recorder recorder;
        Require(store.Watch("memory/key", &Recorder::OnChange, &recorder) == kOk);
        ready.Write(1);
        for (;;) {
            pause();
        }
    });
    int watching = 0;
    ASSERT_TRUE(ready.Read(watching));
    ASSERT_EQ(WatcherFiles().size(), 1U);
    Store store(m_folders);
    Database database(m_folders.memory, kMemoryFile, Durability::ProcessDeath);
    const auto rowsAfter = [&](int writes) {
        for (int number = 0; number < writes; ++number) {
            EXPECT_EQ(store.Set("memory/key", number), kOk);
        }
        std::vector<Change> log;
        EXPECT_EQ(database.ChangesAfter(0, log), kOk);
        return log.size();
    };
    EXPECT_EQ(rowsAfter(5000), 5000U) << "rows went that a living watcher has not read";
    watcher.Kill();
    EXPECT_LE(rowsAfter(5000), 3 * 1024U);
    EXPECT_TRUE(WatcherFiles().empty());
}

TEST_F(ProcessesTest, ManyProcessesMayMakeTheFilesAtOnce)
{
    for (int round = 0; round < 20; ++round) {
        Pipe start;
        constexpr int kProcesses = 6;
        if (round % 2 == 1) {
            // As a process leaves it that was killed while it made the file.
            std::filesystem::create_directories(m_folders.persistent);
            std::ofstream(PersistentFile()).flush();
        }
        std::vector<std::unique_ptr<Process>> processes;
        processes.reserve(kProcesses);
        for (int process = 0; process < kProcesses; ++process) {
            processes.push_back(MakeWriter(start, [this, process](Store& /*store*/) {
                Require(SetInTurn("db/key" + std::to_string(process), process));
                Require(SetInTurn("memory/key" + std::to_string(process), process));
            }));
        }
        for (int process = 0; process < kProcesses; ++process) {
            start.Write(1);
        }
        for (const auto& process : processes) {
            EXPECT_TRUE(process->EndedWell());
        }
        std::vector<Entry> entries;
        EXPECT_EQ(Store(m_folders).List("", &entries), kOk);
        EXPECT_EQ(entries.size(), 12U);
        std::filesystem::remove_all(m_folders.persistent);
        std::filesystem::remove_all(m_folders.memory);
    }
}

// The number that a text of one repeated number stands for, -1 when it is anything else.
int NumberIn(const std::string& text)
{
    const std::string first = text.substr(0, text.find(' ') + 1);
    for (std::size_t position = 0; position < text.size(); position += first.size()) {
        if (first.empty() || text.compare(position, first.size(), first) != 0) {
            return -1;
        }
    }
    return first.empty() ? -1 : std::stoi(first);
}

// Longer than a page, so that a half written value shows.
std::string TextOf(int number)
{
    std::string text;
    for (int repeat = 0; repeat < 300; ++repeat) {
        text += std::to_string(number) + " ";
    }
    return text;
}

TEST_F(ProcessesTest, AWriterKilledAtAnyMomentLosesNoAcknowledgedWriteAndLeavesNoneHalf)
{
    using Clock = std::chrono::steady_clock;
    std::mt19937 random(20'260'101);
    int next[2] = {1, 1};
    constexpr const char* kKeys[] = {"db/key", "memory/key"};
    for (int round = 0; round < 200; ++round) {
        const int side = round % 2;
        const char* key = kKeys[side];
        Pipe acknowledged;
        Process writer([&] {
            acknowledged.CloseReader();
            Store store(m_folders);
            for (int number = next[side];; ++number) {
                Require(store.Set(key, TextOf(number)) == kOk);
                acknowledged.Write(number);
            }
        });
        acknowledged.CloseWriter();
        int last = next[side] - 1;
        // Anywhere from the opening of the file to well past a few writes, and anywhere within one.
        const int writes = static_cast<int>(random() % 30);
        for (int read = 0; read < writes; ++read) {
            ASSERT_TRUE(acknowledged.Read(last));
        }
        const auto moment = Clock::now() + std::chrono::nanoseconds(random() % 200'000);
        while (Clock::now() < moment) {
        }
        writer.Kill();
        while (acknowledged.Read(last)) {
        }

        Store store(m_folders);
        std::string text;
        const int result = store.GetString(key, &text);
        if (result == kNotFound && last == 0) {
            continue; // killed before the first write
        }
        ASSERT_EQ(result, kOk);
        const int stored = NumberIn(text);
        ASSERT_GE(stored, last) << "an acknowledged write is gone";
        ASSERT_LE(stored, last + 1);
        Database database(side == 0 ? m_folders.persistent : m_folders.memory,
                          side == 0 ? kPersistentFile : kMemoryFile, Durability::ProcessDeath);
        std::int64_t newest = 0;
        std::vector<Change> log;
        ASSERT_EQ(database.NewestChange(newest), kOk);
        ASSERT_EQ(database.ChangesAfter(newest - 1, log), kOk);
        ASSERT_EQ(log.size(), 1U);
        ASSERT_EQ(std::get<std::string>(log[0].value), text) << "value and notice differ";
        ASSERT_EQ(newest, stored);
        next[side] = stored + 1;
    }
}

} // namespace
} // namespace settings
