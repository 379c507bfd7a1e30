// Whatever the service asks of the world in a story fails, one thing at a time: the first call, then the second, until
// the story is told and nothing has failed. It is held each time to what must always hold.

#include "failures/Life.h"
#include "failures/Stories.h"
#include "failures/Ways.h"
#include "support/Child.h"
#include "support/PrivateBus.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <sys/mman.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <map>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

using failures::Account;
using failures::Asked;
using failures::Choice;
using failures::Life;
using failures::Story;
using failures::Width;

namespace {

/// How much is tried, by the environment variable VYREL_FAILURES:
///   not set     every third thing, under a sanitizer every eighth, in one of its usual ways, which take turns
///   usual       each thing, in all of its usual ways
///   all         each thing, in each way that there is
///   L:P:W       only way W of point P in life L, counted from 0, 1 and 0, and all that happens is told
struct Extent
{
    Width width = Width::Usual;
    bool isWhole = false; ///< each way of each thing
    bool isOne = false;
    int life = 0;
    Choice one;
};

#if defined(__SANITIZE_ADDRESS__) // GCC's
constexpr bool kIsSanitized = true;
#elif defined(__has_feature) // Clang's
constexpr bool kIsSanitized = __has_feature(address_sanitizer);
#else
constexpr bool kIsSanitized = false;
#endif

/// How many things there are from one that fails to the next, so that all stories take half a minute of one processor.
constexpr int kStep = kIsSanitized ? 8 : 3;
/// The same for memory.
constexpr int kMemoryStep = 2 * kStep;
/// So many lives that go wrong are told of; those that do have mostly the same reason.
constexpr int kMostBad = 5;

Extent ExtentWanted()
{
    Extent extent;
    const char* wanted = std::getenv("VYREL_FAILURES");
    if (wanted == nullptr) {
        return extent;
    }
    extent.isOne = std::sscanf(wanted, "%d:%d:%d", &extent.life, &extent.one.point, &extent.one.way) == 3;
    extent.one.tells = extent.isOne;
    extent.isWhole = std::string(wanted) == "usual" || std::string(wanted) == "all";
    extent.width = std::string(wanted) == "all" ? Width::Every : Width::Usual;
    return extent;
}

/// An account that this process and the one that keeps it share.
class SharedAccount
{
public:
    SharedAccount()
        : m_memory(::mmap(nullptr, sizeof(Account), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0))
    {
        if (m_memory == MAP_FAILED) {
            throw std::system_error(errno, std::generic_category(), "no memory to share");
        }
        m_account = new (m_memory) Account; // ends with the memory, being plain
    }
    ~SharedAccount()
    {
        ::munmap(m_memory, sizeof(Account));
    }
    SharedAccount(const SharedAccount&) = delete;
    SharedAccount& operator=(const SharedAccount&) = delete;

    Account& operator*() const
    {
        return *m_account;
    }

private:
    void* m_memory;
    Account* m_account = nullptr;
};

class EachFailureOnce : public ::testing::Test
{
protected:
    // One bus for all stories: when it goes, GDBus begins a thread here, and no life could be forked after that.
    static void SetUpTestSuite()
    {
        failures::PrepareLives();
        s_bus = std::make_unique<support::PrivateBus>();
    }
    static void TearDownTestSuite()
    {
        s_bus.reset();
    }

    void Try(const Story& story, Asked asked = Asked::Calls);

private:
    void TryLife(const Story& story, std::size_t life, const std::filesystem::path& before, Asked asked);
    Account LiveOn(const Story& story, std::size_t life, const std::filesystem::path& before, const Choice& choice);
    Account LiveInAChild(const Life& life, const std::filesystem::path& root, const Choice& choice,
                         const Account* untouched);

    static inline std::unique_ptr<support::PrivateBus> s_bus;

    const Extent m_extent = ExtentWanted();
    std::map<const Life*, Account> m_untouched;
    std::size_t m_number = 0; ///< of the life that is tried
    int m_points = 0;
    int m_failures = 0;
    int m_bad = 0; ///< lives
};

/// The account of a life that ended badly says so too.
Account EachFailureOnce::LiveInAChild(const Life& life, const std::filesystem::path& root, const Choice& choice,
                                      const Account* untouched)
{
    const SharedAccount shared;
    support::Child child =
        support::Child::Fork([&] { return failures::Live(life, root.string(), choice, untouched, *shared); });
    const support::ProcessEnd end = child.Wait();
    m_bad += end == support::Exited(EXIT_SUCCESS) ? 0 : 1;
    EXPECT_EQ(end, support::Exited(EXIT_SUCCESS))
        << "VYREL_FAILURES=" << m_number << ":" << choice.point << ":" << choice.way << "  " << (*shared).failed.data()
        << " " << (*shared).how.data() << "\n"
        << (*shared).wrong.data();
    return *shared;
}

/// Lives this life with what fails, and those after it, in which nothing does.
Account EachFailureOnce::LiveOn(const Story& story, std::size_t life, const std::filesystem::path& before,
                                const Choice& choice)
{
    const support::TempDir root("television");
    std::filesystem::copy(before, root.Path(), std::filesystem::copy_options::recursive);
    const Account account = LiveInAChild(story[life], root.Path(), choice, &m_untouched.at(&story[life]));
    for (std::size_t next = life + 1; next < story.size(); ++next) {
        LiveInAChild(story[next], root.Path(), {}, &m_untouched.at(&story[next]));
    }
    return account;
}

void EachFailureOnce::TryLife(const Story& story, std::size_t life, const std::filesystem::path& before, Asked asked)
{
    const int step = m_extent.isWhole ? 1 : asked == Asked::Memory ? kMemoryStep : kStep;
    Choice choice = {.asked = asked, .width = m_extent.width};
    for (choice.point = step; m_bad < kMostBad; choice.point += step) {
        choice.way = m_extent.isWhole ? 0 : choice.point / step;
        int ways = 0;
        do {
            const Account account = LiveOn(story, life, before, choice);
            ways = account.ways;
            m_failures += ways > 0 ? 1 : 0;
        } while (m_extent.isWhole && ++choice.way < ways);
        if (ways == 0) {
            return; // there are no more points: nothing has failed
        }
        ++m_points;
    }
}

void EachFailureOnce::Try(const Story& story, Asked asked)
{
    const support::TempDir root("television");
    const support::TempDir snapshots("televisions");
    const auto snapshotOf = [&](std::size_t life) { return snapshots.Path() / std::to_string(life); };
    for (std::size_t life = 0; life < story.size(); ++life) {
        std::filesystem::copy(root.Path(), snapshotOf(life), std::filesystem::copy_options::recursive);
        m_untouched[&story[life]] = {};
        m_untouched[&story[life]] = LiveInAChild(story[life], root.Path(), {}, nullptr);
    }
    if (HasFailure()) {
        return;
    }
    if (m_extent.isOne) {
        Choice one = m_extent.one;
        one.asked = asked;
        m_number = static_cast<std::size_t>(m_extent.life);
        LiveOn(story, m_number, snapshotOf(m_number), one);
        return;
    }
    for (m_number = 0; m_number < story.size(); ++m_number) {
        TryLife(story, m_number, snapshotOf(m_number), asked);
    }
    std::cout << m_failures << " failures of " << m_points << " things that the service asks for\n";
}

TEST_F(EachFailureOnce, IsBorneByAStart)
{
    Try(failures::AStart());
}

TEST_F(EachFailureOnce, IsBorneByARemotesDay)
{
    Try(failures::ARemotesDay());
}

TEST_F(EachFailureOnce, IsBorneByPairingAndASpeaker)
{
    Try(failures::PairingAndASpeaker());
}

TEST_F(EachFailureOnce, IsBorneByANight)
{
    Try(failures::ANight());
}

TEST_F(EachFailureOnce, IsBorneByPowerOffWithAResetAndTheNextStart)
{
    Try(failures::PowerOffWithAResetAndTheNextStart());
}

TEST_F(EachFailureOnce, OfMemoryIsBorneByAStart)
{
    Try(failures::AStart(), Asked::Memory);
}

TEST_F(EachFailureOnce, OfMemoryIsBorneByARemotesDay)
{
    Try(failures::ARemotesDay(), Asked::Memory);
}

TEST_F(EachFailureOnce, OfMemoryIsBorneByPairingAndASpeaker)
{
    Try(failures::PairingAndASpeaker(), Asked::Memory);
}

TEST_F(EachFailureOnce, OfMemoryIsBorneByANight)
{
    Try(failures::ANight(), Asked::Memory);
}

TEST_F(EachFailureOnce, OfMemoryIsBorneByPowerOffWithAResetAndTheNextStart)
{
    Try(failures::PowerOffWithAResetAndTheNextStart(), Asked::Memory);
}

} // namespace
