// The process that writes: that it keeps what was told, ends with its service, and is in nobody's way. The test is the
// one that the system gives orphans to, so it sees the process and its end.

#include "recorder/Sink.h"
#include "support/Capture.h"
#include "support/Child.h"
#include "support/TempDir.h"
#include "support/WrappedProcessCalls.h"
#include "tv/recording/Recording.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <initializer_list>
#include <iterator>
#include <random>
#include <set>
#include <span>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

/// How many forks succeed before one fails; negative for all.
int g_forksLeft = -1;

} // namespace

// NOLINTBEGIN(clang-diagnostic-reserved-identifier): these names are the linker's
extern "C" {
pid_t __wrap_fork()
{
    if (g_forksLeft < 0 || g_forksLeft-- > 0) {
        return __real_fork();
    }
    g_forksLeft = -1;
    errno = EAGAIN;
    return -1;
}
}
// NOLINTEND(clang-diagnostic-reserved-identifier)

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr std::uint64_t kRoomyLimit = 1024 * 1024;

void Append(std::string_view record)
{
    recorder::Append(std::as_bytes(std::span(record)));
}

std::string ReadText(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// Waits for what comes from another process.
bool Within(std::chrono::seconds time, const std::function<bool()>& condition)
{
    const auto end = std::chrono::steady_clock::now() + time;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

constexpr std::chrono::seconds kSoon(30);

/// A text that cannot be made shorter.
std::string Noise(std::size_t size)
{
    std::mt19937 random(1);
    std::string noise(size, '\0');
    std::ranges::generate(noise, [&] { return static_cast<char>(random()); });
    return noise;
}

class RecorderProcess : public ::testing::Test
{
protected:
    RecorderProcess()
    {
        ::prctl(PR_SET_CHILD_SUBREAPER, 1);
    }
    ~RecorderProcess() override
    {
        recorder::Stop();
        EXPECT_TRUE(Within(kSoon, [] { return Writer() == 0; })) << "the writer is still there";
    }

    /// The id of the writing process that has become this process's own; 0 when there is none. Those that have ended
    /// are waited for. There is no other child when this is asked.
    [[nodiscard]] static pid_t Writer()
    {
        std::istringstream children(ReadText("/proc/self/task/" + std::to_string(::getpid()) + "/children"));
        for (pid_t child = 0; children >> child;) {
            if (::waitpid(child, nullptr, WNOHANG) == 0) {
                return child;
            }
        }
        return 0;
    }
    static bool HasChild(std::string_view comm)
    {
        std::istringstream children(ReadText("/proc/self/task/" + std::to_string(::getpid()) + "/children"));
        for (pid_t child = 0; children >> child;) {
            if (ReadText("/proc/" + std::to_string(child) + "/comm") == comm &&
                ::waitpid(child, nullptr, WNOHANG) == 0) {
                return true;
            }
        }
        return false;
    }
    [[nodiscard]] pid_t WaitForWriter() const
    {
        pid_t writer = 0;
        EXPECT_TRUE(Within(kSoon, [&] { return (writer = Writer()) != 0; }));
        return writer;
    }
    bool Start(std::uint64_t limit = kRoomyLimit, recorder::WhenFull whenFull = recorder::WhenFull::Loses)
    {
        return recorder::Start(path.c_str(), limit, whenFull);
    }
    /// Waits until the writer has ended. \return the records
    std::vector<std::string> Records()
    {
        EXPECT_TRUE(Within(kSoon, [] { return Writer() == 0; }));
        return Read();
    }
    [[nodiscard]] std::vector<std::string> Read() const
    {
        std::vector<std::string> records;
        for (const recording::Record& record : recording::Read(path).records) {
            records.emplace_back(reinterpret_cast<const char*>(record.data()), record.size());
        }
        return records;
    }
    /// \param first what the first of them is, where that matters
    [[nodiscard]] bool HasRecords(std::size_t count, std::string_view first = {}) const
    {
        try {
            const std::vector<std::string> records = Read();
            return records.size() >= count && (first.empty() || records.front() == first);
        } catch (const recording::Unreadable&) {
            return false;
        }
    }
    /// What is written to the standard error until the work is done and \p until holds.
    static std::string Said(const std::function<void()>& work, const std::function<bool()>& until)
    {
        support::CaptureStderr();
        work();
        EXPECT_TRUE(Within(kSoon, until));
        return support::GetCapturedStderr();
    }

    support::TempDir m_folder;
    std::filesystem::path path = m_folder.Path() / "rec";
};

TEST_F(RecorderProcess, WritesWhatItIsTold)
{
    EXPECT_FALSE(recorder::IsRecording());
    Append("before");
    ASSERT_TRUE(Start());
    EXPECT_TRUE(recorder::IsRecording());
    Append("one");
    Append("two");
    recorder::Stop();
    EXPECT_FALSE(recorder::IsRecording());
    Append("behind");
    EXPECT_THAT(Records(), ElementsAre("one", "two"));
}

TEST_F(RecorderProcess, BringsRecordsToTheFileSoonWithoutBeingStopped)
{
    ASSERT_TRUE(Start());
    for (std::size_t i = 1; i <= 3; ++i) {
        Append("record");
        EXPECT_TRUE(Within(kSoon, [&] { return HasRecords(i); }));
    }
}

TEST_F(RecorderProcess, LosesNothingWhenTheServiceIsKilled)
{
    constexpr int kMany = 20'000;
    support::Child service = support::Child::Fork([this] {
        if (!Start(32 * kRoomyLimit)) {
            return 1;
        }
        for (int i = 0; i < kMany; ++i) {
            Append(std::to_string(i));
        }
        ::raise(SIGKILL);
        return 2;
    });
    EXPECT_EQ(service.Wait(), support::KilledBy(SIGKILL));
    const std::vector<std::string> records = Records();
    ASSERT_THAT(records, SizeIs(kMany));
    EXPECT_EQ(records.back(), std::to_string(kMany - 1));
}

TEST_F(RecorderProcess, EndsWithAServiceThatEndsInWhateverWay)
{
    for (const int how : {0, SIGKILL, SIGABRT, SIGTERM}) {
        support::Child service = support::Child::Fork([this, how]() -> int {
            Start();
            Append("a");
            if (how != 0) {
                ::signal(how, SIG_DFL);
                ::raise(how);
            }
            std::_Exit(0);
        });
        service.Wait();
        EXPECT_THAT(Records(), ElementsAre("a"));
    }
}

TEST_F(RecorderProcess, EndsWithItsServiceAlsoWhereAnotherProcessKeepsItsDescriptors)
{
    std::array<int, 2> pipe = {-1, -1};
    ASSERT_EQ(::pipe2(pipe.data(), O_CLOEXEC), 0);
    support::Child service = support::Child::Fork([&] {
        Start();
        Append("a");
        const pid_t copy = ::fork();
        if (copy == 0) {
            char byte = 0;
            ::close(pipe[1]);
            static_cast<void>(::read(pipe[0], &byte, 1)); // until the test lets go
            std::_Exit(0);
        }
        return copy > 0 ? 0 : 1;
    });
    EXPECT_EQ(service.Wait(), support::Exited(0));
    EXPECT_TRUE(Within(kSoon, [this] { return HasRecords(1) && !HasChild("vyrel-recorder\n"); }));
    EXPECT_THAT(Read(), ElementsAre("a"));
    ::close(pipe[0]);
    ::close(pipe[1]);
    // The copy has become a child of this process, and ends now that nobody has the pipe.
    EXPECT_TRUE(Within(kSoon, [] {
        std::istringstream children(ReadText("/proc/self/task/" + std::to_string(::getpid()) + "/children"));
        bool isOver = true;
        for (pid_t child = 0; children >> child;) {
            isOver = ::waitpid(child, nullptr, WNOHANG) == child && isOver;
        }
        return isOver;
    }));
}

TEST_F(RecorderProcess, IsNoChildOfTheService)
{
    support::Child service = support::Child::Fork([this] {
        ::prctl(PR_SET_CHILD_SUBREAPER, 0);
        if (!Start()) {
            return 1;
        }
        siginfo_t info = {};
        return ::waitid(P_ALL, 0, &info, WEXITED | WNOHANG) == -1 && errno == ECHILD ? 0 : 2;
    });
    EXPECT_EQ(service.Wait(), support::Exited(0));
}

TEST_F(RecorderProcess, IsStartedWhereTheServiceDoesNotWaitForChildren)
{
    support::Child service = support::Child::Fork([this] {
        ::signal(SIGCHLD, SIG_IGN);
        if (!Start()) {
            return 1;
        }
        Append("a");
        return 0;
    });
    EXPECT_EQ(service.Wait(), support::Exited(0));
    EXPECT_THAT(Records(), ElementsAre("a"));
}

TEST_F(RecorderProcess, LeavesTheServiceOneThreadAndOneDescriptorThatOthersDoNotGet)
{
    support::Child service = support::Child::Fork([this] {
        const auto open = [] {
            std::set<int> descriptors;
            for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
                descriptors.insert(std::stoi(entry.path().filename()));
            }
            return descriptors;
        };
        const std::set<int> before = open();
        if (!Start()) {
            return 1;
        }
        Append("a");
        std::vector<int> more;
        std::ranges::set_difference(open(), before, std::back_inserter(more));
        const std::filesystem::directory_iterator threads("/proc/self/task");
        if (more.size() != 1 || std::distance(begin(threads), end(threads)) != 1) {
            return 2;
        }
        return (::fcntl(more.front(), F_GETFD) & FD_CLOEXEC) != 0 ? 0 : 3;
    });
    EXPECT_EQ(service.Wait(), support::Exited(0));
}

TEST_F(RecorderProcess, KeepsNothingOpenThatIsTheServices)
{
    const std::filesystem::path mine = m_folder.Path() / "mine";
    std::ofstream open(mine);
    ASSERT_TRUE(Start());
    Append("a");
    const pid_t writer = WaitForWriter();
    ASSERT_TRUE(Within(kSoon, [&] { return HasRecords(1); }));
    std::vector<std::string> targets;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/" + std::to_string(writer) + "/fd")) {
        if (entry.path().filename() != "2") {
            targets.push_back(std::filesystem::read_symlink(entry.path()));
        }
    }
    std::ranges::sort(targets);
    ASSERT_THAT(targets, SizeIs(::testing::Le(5U)));
    for (const std::string& target : targets) {
        EXPECT_TRUE(target == "/dev/null" || target == path || target == "anon_inode:[pidfd]" ||
                    target.starts_with("socket:"))
            << target;
    }
    EXPECT_EQ(std::filesystem::read_symlink("/proc/" + std::to_string(writer) + "/cwd"), "/");
}

TEST_F(RecorderProcess, OutlivesTheSignalsThatEndItsService)
{
    ASSERT_TRUE(Start());
    Append("a");
    const pid_t writer = WaitForWriter();
    ASSERT_TRUE(Within(kSoon, [&] { return HasRecords(1); }));
    for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGQUIT, SIGPIPE, SIGUSR1}) {
        ASSERT_EQ(::kill(writer, signal), 0);
    }
    Append("b");
    EXPECT_TRUE(Within(kSoon, [&] { return HasRecords(2); }));
    EXPECT_EQ(Writer(), writer);
    EXPECT_NE(::getsid(writer), ::getsid(0)); // nor does the terminal reach it
}

TEST_F(RecorderProcess, SleepsWithoutEndWhenAllIsOnTheDisk)
{
    ASSERT_TRUE(Start());
    Append("a");
    const std::string call = "/proc/" + std::to_string(WaitForWriter()) + "/syscall";
    // poll(descriptors, 2, -1)
    EXPECT_TRUE(Within(kSoon, [&] {
        std::istringstream words(ReadText(call));
        std::string number;
        std::string descriptors;
        std::string count;
        std::string timeout;
        words >> number >> descriptors >> count >> timeout;
        return count == "0x2" && timeout.ends_with("ffffffff");
    }));
    EXPECT_TRUE(HasRecords(1));
}

TEST_F(RecorderProcess, DoesNotHoldTheServiceUpWhileItHangsAndTellsWhatWasLost)
{
    ASSERT_TRUE(Start());
    Append("first");
    const pid_t writer = WaitForWriter();
    ASSERT_TRUE(Within(kSoon, [&] { return HasRecords(1); }));
    ASSERT_EQ(::kill(writer, SIGSTOP), 0);
    const std::string large(100'000, 'x');
    for (int i = 0; i < 15; ++i) {
        Append(large); // ten of them fit into a mebibyte
    }
    ASSERT_EQ(::kill(writer, SIGCONT), 0);
    ASSERT_TRUE(Within(kSoon, [&] { return HasRecords(11); }));
    Append("last");
    recorder::Stop();
    const std::vector<std::string> records = Records();
    ASSERT_THAT(records, SizeIs(12));
    EXPECT_EQ(records.back(), "last");
    const recording::Recording read = recording::Read(path);
    ASSERT_THAT(read.gaps, SizeIs(1));
    EXPECT_EQ(read.gaps.front().count, 5U);
    EXPECT_EQ(read.gaps.front().before, 11U);
}

TEST_F(RecorderProcess, IsWaitedForOnASimulatedSet)
{
    ASSERT_TRUE(Start(32 * kRoomyLimit, recorder::WhenFull::Waits));
    const std::string large(100'000, 'x');
    for (int i = 0; i < 50; ++i) {
        Append(large);
    }
    recorder::Stop();
    EXPECT_THAT(Records(), SizeIs(50));
    EXPECT_THAT(recording::Read(path).gaps, IsEmpty());
}

TEST_F(RecorderProcess, MayBeKilledWithoutHarmToTheService)
{
    ASSERT_TRUE(Start());
    Append("a");
    const pid_t writer = WaitForWriter();
    ASSERT_TRUE(Within(kSoon, [&] { return HasRecords(1); }));
    ASSERT_EQ(::kill(writer, SIGKILL), 0);
    ASSERT_TRUE(Within(kSoon, [] { return Writer() == 0; }));
    for (int i = 0; i < 3'000 && recorder::IsRecording(); ++i) {
        Append(std::string(1'000, 'x'));
    }
    EXPECT_FALSE(recorder::IsRecording());
    EXPECT_THAT(Read(), ElementsAre("a"));
}

TEST_F(RecorderProcess, SaysInOneLineThatItCannotWriteAndTheServiceGoesOn)
{
    const std::string said = Said(
        [this] {
            path = m_folder.Path() / "no" / "folder";
            Start();
        },
        [] { return Writer() == 0; });
    EXPECT_THAT(said, HasSubstr("vyrel-recorder: nothing is recorded: " + path.string() +
                                " cannot be written: No such file or directory\n"));
    EXPECT_EQ(std::ranges::count(said, '\n'), 1);
    Append("a");
    Append("b");
    EXPECT_FALSE(recorder::IsRecording());
}

TEST_F(RecorderProcess, SaysThatItHasNoRight)
{
    if (::geteuid() == 0) {
        path = "/proc/1/rec"; // nobody can make a file there, whatever the rights
    } else {
        std::filesystem::permissions(m_folder.Path(),
                                     std::filesystem::perms::owner_read | std::filesystem::perms::owner_exec);
    }
    const std::string said = Said([this] { Start(); }, [] { return Writer() == 0; });
    std::filesystem::permissions(m_folder.Path(), std::filesystem::perms::owner_all);
    EXPECT_THAT(said, HasSubstr("vyrel-recorder: nothing is recorded: " + path.string() + " cannot be written: "));
    EXPECT_EQ(std::ranges::count(said, '\n'), 1);
}

TEST_F(RecorderProcess, SaysOnceThatTheDiskIsFull)
{
    const std::string said = Said(
        [this] {
            support::Child service = support::Child::Fork([this] {
                const struct rlimit block = {16 * 1024, RLIM_INFINITY};
                ::setrlimit(RLIMIT_FSIZE, &block); // what a full disk is to a file
                if (!Start()) {
                    return 1;
                }
                for (int i = 0; i < 3; ++i) {
                    Append(Noise(20'000));
                    ::poll(nullptr, 0, 250);
                }
                const struct rlimit none = {RLIM_INFINITY, RLIM_INFINITY};
                ::setrlimit(RLIMIT_FSIZE, &none); // at its end it may write what it counted for a coverage report
                return recorder::IsRecording() ? 0 : 2;
            });
            EXPECT_EQ(service.Wait(), support::Exited(0));
        },
        [] { return Writer() == 0; });
    EXPECT_THAT(said,
                HasSubstr(path.string() + " cannot be written; what happens meanwhile is lost: File too large\n"));
    EXPECT_EQ(std::ranges::count(said, '\n'), 1);
}

TEST_F(RecorderProcess, IsNotStartedWhereThereCanBeNoProcess)
{
    for (const int left : {0, 1}) { // with one, the process in between has none left
        g_forksLeft = left;
        support::CaptureStderr();
        EXPECT_FALSE(Start());
        EXPECT_EQ(support::GetCapturedStderr(),
                  "vyrel-recorder: nothing is recorded: Resource temporarily unavailable\n");
        EXPECT_FALSE(recorder::IsRecording());
        EXPECT_FALSE(std::filesystem::exists(path));
    }
    g_forksLeft = -1;
}

TEST_F(RecorderProcess, BeginsANewFileForEachLife)
{
    for (const char* record : {"a", "b", "c"}) {
        ASSERT_TRUE(Start()); // while the writer before may not have ended
        Append(record);
        ASSERT_TRUE(Within(kSoon, [&] { return HasRecords(1, record); }));
        recorder::Stop();
    }
    EXPECT_THAT(Records(), ElementsAre("c"));
    path += ".1";
    EXPECT_THAT(Read(), ElementsAre("b"));
    path.replace_extension(".2");
    EXPECT_THAT(Read(), ElementsAre("a"));
}

TEST_F(RecorderProcess, OfTwoServicesAtOnceTheSecondSaysThatItRecordsNothing)
{
    ASSERT_TRUE(Start());
    Append("first");
    ASSERT_TRUE(Within(kSoon, [&] { return HasRecords(1); })); // so it is the first
    const std::string said = Said(
        [this] {
            support::Child second = support::Child::Fork([this] {
                if (!Start()) {
                    return 1;
                }
                for (int i = 0; i < 30'000 && recorder::IsRecording(); ++i) {
                    Append("second");
                    ::poll(nullptr, 0, 1);
                }
                return recorder::IsRecording() ? 2 : 0;
            });
            EXPECT_EQ(second.Wait(), support::Exited(0));
        },
        [] { return true; });
    EXPECT_EQ(said, "vyrel-recorder: nothing is recorded: " + path.string() + " is being written by another service\n");
    Append("first again");
    recorder::Stop();
    EXPECT_THAT(Records(), ElementsAre("first", "first again"));
    EXPECT_FALSE(std::filesystem::exists(path.string() + ".1"));
}

TEST_F(RecorderProcess, TakesABoundThatIsTooLowForTheLowestThereIs)
{
    ASSERT_TRUE(Start(0, recorder::WhenFull::Waits));
    for (int i = 0; i < 2'000; ++i) {
        Append(std::to_string(i) + std::string(1'000, static_cast<char>(i)));
    }
    recorder::Stop();
    EXPECT_THAT(Records(), SizeIs(2'000));
    EXPECT_LE(std::filesystem::file_size(path), recorder::kLeastLimit / 2);
}

} // namespace
