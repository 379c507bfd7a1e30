// What is held of each life on the desk: each objection is made, and not made in the good case beside it.

#include "tv/set/LifeCheck.h"

#include "sim/Queue.h"
#include "sim/Television.h"
#include "sim/VirtualClock.h"
#include "support/MainLoop.h"
#include "support/PrivateBus.h"
#include "support/TempDir.h"
#include "tv/language/Line.h"
#include "tv/set/Stage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr int kInOrder = 1;

int Opened(const std::string& path, int flags)
{
    const int descriptor = ::open(path.c_str(), flags | O_CLOEXEC, 0600);
    if (descriptor < 0) {
        throw std::runtime_error("cannot open " + path);
    }
    return descriptor;
}

class LifeCheck : public testing::Test
{
protected:
    LifeCheck()
    {
        stage.Hushes();
    }

    /// One turn of the loop takes so long, of the set's time.
    void TakesOneTurn(std::chrono::milliseconds time)
    {
        stage.tv.queue.Post([time] { sim::VirtualClock::Waits(time); });
        support::DrainMainLoop();
    }

    void Says(const std::string& line)
    {
        stage.CarriesOut(language::Parse(line));
    }

    support::PrivateBus bus;
    support::TempDir folder{"vyrel-life-check"};
    set::Stage stage{folder.Path().string(), -1, {}};
};

} // namespace

TEST_F(LifeCheck, ALoopMayStandStillForAMinute)
{
    set::LifeCheck check(stage);
    TakesOneTurn(set::kLongestStall);
    EXPECT_EQ(check.ObjectionToStall(), "");
    EXPECT_EQ(check.LongestStall(), 60s);
}

TEST_F(LifeCheck, ALoopThatStandsStillForLongerIsObjectedToOnce)
{
    set::LifeCheck check(stage);
    TakesOneTurn(set::kLongestStall + 1ms);
    TakesOneTurn(1s);
    EXPECT_EQ(check.ObjectionToStall(), "the loop of the service stood still for 60001 ms");
    EXPECT_EQ(check.ObjectionToStall(), "");
    EXPECT_EQ(check.LongestStall(), 60001ms);
}

TEST_F(LifeCheck, WhatStoodStillBeforeTheLifeDoesNotCount)
{
    TakesOneTurn(2h);
    set::LifeCheck check(stage);
    EXPECT_EQ(check.ObjectionToStall(), "");
}

TEST_F(LifeCheck, TimeThatPassesByItselfIsNoStall)
{
    set::LifeCheck check(stage);
    Says("wait 2h");
    EXPECT_EQ(check.ObjectionToStall(), "");
}

TEST_F(LifeCheck, AnEndInOrderIsNotObjectedTo)
{
    EXPECT_THAT(set::LifeCheck(stage).ObjectionsToEnd(kInOrder), IsEmpty());
}

TEST_F(LifeCheck, AnotherStatusIsObjectedTo)
{
    EXPECT_THAT(set::LifeCheck(stage).ObjectionsToEnd(0), ElementsAre("the service has ended with status 0"));
    EXPECT_THAT(set::LifeCheck(stage).ObjectionsToEnd(2), ElementsAre("the service has ended with status 2"));
}

TEST_F(LifeCheck, ADescriptorThatStaysOpenIsObjectedTo)
{
    const set::LifeCheck check(stage);
    const int left = Opened("/dev/null", O_RDONLY);
    EXPECT_THAT(check.ObjectionsToEnd(kInOrder), ElementsAre("1 descriptors are left open by the service"));
    ::close(left);
    EXPECT_THAT(check.ObjectionsToEnd(kInOrder), IsEmpty());
}

TEST_F(LifeCheck, ADescriptorThatIsClosedAMomentLaterIsNot)
{
    const set::LifeCheck check(stage);
    const int left = Opened("/dev/null", O_RDONLY);
    stage.tv.queue.Post([left] { ::close(left); });
    EXPECT_THAT(check.ObjectionsToEnd(kInOrder), IsEmpty());
}

TEST_F(LifeCheck, AFileOfTheSetMayStayOpen)
{
    const set::LifeCheck check(stage);
    const int file = Opened(stage.tv.Root() + "/any", O_WRONLY | O_CREAT);
    EXPECT_THAT(check.ObjectionsToEnd(kInOrder), IsEmpty());
    ::close(file);
}

TEST_F(LifeCheck, SiblingsMayComeAndGo)
{
    const set::LifeCheck before(stage);
    Says("sibling irmonitor absent");
    EXPECT_THAT(before.ObjectionsToEnd(kInOrder), IsEmpty()); // waits until its connection is closed
    const set::LifeCheck check(stage);
    Says("sibling irmonitor answers");
    EXPECT_THAT(check.ObjectionsToEnd(kInOrder), IsEmpty());
    Says("sibling hfpAgent absent");
    EXPECT_THAT(check.ObjectionsToEnd(kInOrder), IsEmpty());
    const int left = Opened("/dev/null", O_RDONLY);
    EXPECT_THAT(check.ObjectionsToEnd(kInOrder), ElementsAre("1 descriptors are left open by the service"))
        << "a connection that ended does not make up for it";
    ::close(left);
}
