// The update manager is led through its three updates, and always let go.

#include "DbusClient/DbusClient.h"
#include "TvStatusUtil.h"
#include "sim/Power.h"
#include "sim/Tape.h"
#include "sim/Television.h"
#include "sim/VirtualClock.h"
#include "support/MainLoop.h"
#include "support/Message.h"
#include "support/PrivateBus.h"
#include "support/Settle.h"
#include "support/Siblings.h"

#include <gio/gio.h>
#include <glib.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdlib.h>

#include <algorithm>
#include <chrono>
#include <initializer_list>
#include <limits>
#include <memory>
#include <string>
#include <vector>

using namespace std::chrono_literals;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::Not;

namespace {

constexpr const char* kChip = "request com.quorix.tv.bt.updatemanager CHIP";
constexpr const char* kSmartRemote = "request com.quorix.tv.bt.updatemanager SCFW";
constexpr const char* kWheel = "request com.quorix.tv.bt.updatemanager HALVO";
constexpr const char* kExit = "call com.quorix.tv.bt.updatemanager EXIT";
constexpr const char* kUnlock = "device_power_unlock_state(2) = 0";

support::Message CallOf(const char* member)
{
    return {.kind = support::Message::Kind::Call,
            .destination = "com.quorix.tv.bt.updatemanager",
            .path = "/com/quorix/tv/bt/updatemanager",
            .interface = "com.quorix.tv.bt.updatemanager",
            .member = member,
            .signature = "",
            .body = ""};
}

class FirmwareUpdate : public ::testing::Test
{
protected:
    FirmwareUpdate()
    {
        Util::TvStatusUtil::SetStandbyPowerLock(15000);
        tv.tape.Clear();
    }

    void Answers(const char* member, int result)
    {
        manager.Answers(member, g_variant_new("(i)", result));
    }

    void Starts()
    {
        client->RequestBTChipUpdate();
        support::Settle({&manager});
    }

    /// Messages and locks, in order.
    [[nodiscard]] std::vector<std::string> Deeds() const
    {
        return tv.tape.Of({sim::Kind::Bus, sim::Kind::Call});
    }

    /// Messages, locks, and lines of the completion handlers, in order.
    [[nodiscard]] std::vector<std::string> Story() const
    {
        std::vector<std::string> story;
        for (const sim::Entry& entry : tv.tape.Entries()) {
            if (entry.kind != sim::Kind::Log) {
                story.push_back(entry.text);
            } else if (entry.file == "FirmwareUpdate.cpp") {
                story.push_back(std::string(1, sim::PriorityLetter(entry.priority)) + " " + entry.message);
            }
        }
        return story;
    }

    support::PrivateBus bus;
    sim::Television tv;
    sim::VirtualClock clock;
    support::UpdateManager manager;
    std::shared_ptr<CDbusClient> client = std::make_shared<CDbusClient>();
};

TEST_F(FirmwareUpdate, ChipSmartRemoteAndWheelAreUpdatedInOrderAndTheManagerIsLetGo)
{
    Answers("CHIP", 1);
    Answers("SCFW", 1);
    Answers("HALVO", 1);

    Starts();

    EXPECT_THAT(Story(), ElementsAre(kChip, "I On ChipUpdateCb", "I Result(1)", kSmartRemote, "I On SmartRcUpdateCb",
                                     "I Result(1)", kWheel, "I On HalvoUpdateCb", kExit, "I Result(1)", kUnlock));
    EXPECT_THAT(manager.Messages(), ElementsAre(CallOf("CHIP"), CallOf("SCFW"), CallOf("HALVO"), CallOf("EXIT")));
    EXPECT_FALSE(tv.power.IsLocked(2));
}

TEST_F(FirmwareUpdate, EachRequestCanBeMadeByItself)
{
    Answers("HALVO", 1);
    client->RequestHalvoFWUpdate();
    support::Settle({&manager});
    EXPECT_THAT(Deeds(), ElementsAre(kWheel, kExit, kUnlock));

    tv.tape.Clear();
    Answers("SCFW", 1);
    client->RequestSmartRcFWUpdate();
    support::Settle({&manager});
    EXPECT_THAT(Deeds(), ElementsAre(kSmartRemote, kWheel, kExit, "device_power_unlock_state(2) = -1"));
}

TEST_F(FirmwareUpdate, AChipThatAnswersAnythingButOneEndsTheChain)
{
    for (const int result : {0, 2, 7, 8, 9, -1, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
        Answers("CHIP", result);
        Util::TvStatusUtil::SetStandbyPowerLock(15000);
        tv.tape.Clear();
        Starts();

        EXPECT_THAT(Story(), ElementsAre(kChip, "I On ChipUpdateCb", "I Result(" + std::to_string(result) + ")", kExit,
                                         kUnlock));
    }
}

TEST_F(FirmwareUpdate, ASmartRemoteThatAnswersOneOrEightLetsTheWheelFollow)
{
    Answers("CHIP", 1);
    Answers("HALVO", 0);
    for (const int result : {1, 8}) {
        Answers("SCFW", result);
        Util::TvStatusUtil::SetStandbyPowerLock(15000);
        tv.tape.Clear();
        Starts();
        EXPECT_THAT(Deeds(), ElementsAre(kChip, kSmartRemote, kWheel, kExit, kUnlock)) << result;
    }
}

TEST_F(FirmwareUpdate, ASmartRemoteThatAnswersAnythingElseEndsTheChain)
{
    Answers("CHIP", 1);
    for (const int result : {0, 2, 7, 9, -1}) {
        Answers("SCFW", result);
        Util::TvStatusUtil::SetStandbyPowerLock(15000);
        tv.tape.Clear();
        Starts();

        EXPECT_THAT(Story(),
                    ElementsAre(kChip, "I On ChipUpdateCb", "I Result(1)", kSmartRemote, "I On SmartRcUpdateCb",
                                "I Result(" + std::to_string(result) + ")", kExit, kUnlock));
    }
}

TEST_F(FirmwareUpdate, AnyAnswerOfTheWheelEndsTheChain)
{
    Answers("CHIP", 1);
    Answers("SCFW", 8);
    for (const int result : {0, 1, 8, -1}) {
        Answers("HALVO", result);
        Util::TvStatusUtil::SetStandbyPowerLock(15000);
        tv.tape.Clear();
        Starts();
        EXPECT_EQ(Deeds(), (std::vector<std::string>{kChip, kSmartRemote, kWheel, kExit, kUnlock}));
        EXPECT_THAT(Story(), Contains("I Result(" + std::to_string(result) + ")"));
    }
}

TEST_F(FirmwareUpdate, TheWaitHasNoLimit)
{
    Answers("CHIP", 1);
    Answers("SCFW", 1);
    Answers("HALVO", 1);
    Starts();

    int requests = 0;
    for (const sim::Entry& entry : tv.tape.Entries()) {
        if (entry.text.starts_with("request ")) {
            EXPECT_EQ(entry.timeout, G_MAXINT);
            ++requests;
        }
    }
    EXPECT_EQ(requests, 3);
}

TEST_F(FirmwareUpdate, AnAnswerWithoutABodyOrOfAnotherTypeCountsAsMinusOne)
{
    const std::vector<const char*> bodies = {"()",           "('1',)",  "(uint32 1,)", "(1, 1)", "(int64 1,)",
                                             "(byte 0x01,)", "(true,)", "([1],)",      "(<1>,)"};
    for (const char* member : {"CHIP", "SCFW", "HALVO"}) {
        for (const char* body : bodies) {
            Answers("CHIP", 1);
            Answers("SCFW", 1);
            manager.Answers(member, g_variant_new_parsed(body));
            Util::TvStatusUtil::SetStandbyPowerLock(15000);
            tv.tape.Clear();
            Starts();

            const std::vector<std::string> story = Story();
            EXPECT_EQ(std::ranges::count(story, "I Result(-1)"), 1) << member << body;
            EXPECT_EQ(std::ranges::count(story, kExit), 1) << member << body;
            EXPECT_EQ(story.back(), kUnlock) << member << body;
            EXPECT_EQ(manager.Messages().back().member, "EXIT");
        }
    }
}

TEST_F(FirmwareUpdate, AnAnswerWithoutABodyCountsAsMinusOne)
{
    manager.Answers("CHIP", nullptr);
    Starts();
    EXPECT_THAT(Story(), ElementsAre(kChip, "I On ChipUpdateCb", "I Result(-1)", kExit, kUnlock));
}

TEST_F(FirmwareUpdate, AnErrorIsAnAnswerToo)
{
    for (const char* member : {"CHIP", "SCFW"}) {
        Answers("CHIP", 1);
        manager.AnswersWithError(member, "org.freedesktop.DBus.Error.Failed", "no");
        Util::TvStatusUtil::SetStandbyPowerLock(15000);
        tv.tape.Clear();
        Starts();

        EXPECT_EQ(Story().back(), kUnlock);
        EXPECT_THAT(Story(), Contains("I Result(-1)"));
        EXPECT_THAT(Deeds(), Contains(kExit));
        EXPECT_THAT(Deeds(), Not(Contains(kWheel)));
    }
}

TEST_F(FirmwareUpdate, AManagerThatIsAwayIsAnsweredForByTheBus)
{
    manager.Vanishes();
    client->RequestBTChipUpdate();
    support::Settle();

    EXPECT_THAT(Story(), ElementsAre(kChip, "I On ChipUpdateCb", "I Result(-1)", kExit, kUnlock));
}

TEST_F(FirmwareUpdate, AManagerThatGoesInTheMiddleIsAnsweredForByTheBus)
{
    Answers("CHIP", 1);
    manager.VanishesOn("SCFW");
    client->RequestBTChipUpdate();
    ASSERT_TRUE(support::IterateUntil([this] { return !tv.power.IsLocked(2); }));

    EXPECT_THAT(Story(), ElementsAre(kChip, "I On ChipUpdateCb", "I Result(1)", kSmartRemote, "I On SmartRcUpdateCb",
                                     "I Result(-1)", kExit, kUnlock));
}

TEST_F(FirmwareUpdate, ALateAnswerGoesOnWithTheChainAlthoughTheLockHasRunOut)
{
    manager.Stalls("CHIP");
    Starts();
    clock.Advance(14s);
    EXPECT_TRUE(tv.power.IsLocked(2));
    clock.Advance(2s);
    EXPECT_FALSE(tv.power.IsLocked(2));
    EXPECT_THAT(Deeds(), ElementsAre(kChip));

    Answers("CHIP", 1);
    Answers("SCFW", 0);
    manager.Releases("CHIP");
    support::Settle({&manager});

    EXPECT_THAT(Deeds(), ElementsAre(kChip, kSmartRemote, kExit, "device_power_unlock_state(2) = -1"));
}

TEST_F(FirmwareUpdate, AManagerThatNeverAnswersIsWaitedForOverWeeks)
{
    manager.Stalls("CHIP");
    Starts();
    clock.Advance(24h * 30); // longer than the largest number of milliseconds

    EXPECT_THAT(Story(), ElementsAre(kChip, "the lock of power state 2 runs out"));
    Answers("CHIP", 0);
    manager.Releases("CHIP");
    support::Settle({&manager});
    EXPECT_THAT(Deeds(), ElementsAre(kChip, kExit, "device_power_unlock_state(2) = -1"));
}

class FirmwareUpdateWithoutReply : public FirmwareUpdate
{
protected:
    /// The request fails on this side, so that there is no reply of any kind.
    void BusDies()
    {
        g_dbus_connection_set_exit_on_close(client->GetSystemConnection(), FALSE);
        bus.Dies();
        ASSERT_TRUE(support::IterateUntil([this] { return !tv.power.IsLocked(2); }));
        support::DrainMainLoop();
    }
};

TEST_F(FirmwareUpdateWithoutReply, TheChipEndsTheChainWithoutAGoodbye)
{
    manager.Stalls("CHIP");
    Starts();
    BusDies();
    EXPECT_THAT(Story(), ElementsAre(kChip, "I On ChipUpdateCb", "E No reply", kUnlock));
}

TEST_F(FirmwareUpdateWithoutReply, TheSmartRemoteEndsTheChainWithoutAGoodbye)
{
    Answers("CHIP", 1);
    manager.Stalls("SCFW");
    Starts();
    tv.tape.Clear();
    BusDies();
    EXPECT_THAT(Story(), ElementsAre("I On SmartRcUpdateCb", "E No reply", kUnlock));
}

TEST_F(FirmwareUpdateWithoutReply, TheWheelEndsTheChainWithAGoodbyeAllTheSame)
{
    Answers("CHIP", 1);
    Answers("SCFW", 8);
    manager.Stalls("HALVO");
    Starts();
    tv.tape.Clear();
    BusDies();
    EXPECT_THAT(Story(), ElementsAre("I On HalvoUpdateCb", kExit, "E No reply", kUnlock));
}

TEST_F(FirmwareUpdate, AClientThatIsGoneWhenTheAnswerComesIsNotTouchedAndTheLockIsGivenBack)
{
    for (const char* member : {"CHIP", "SCFW", "HALVO"}) {
        client = std::make_shared<CDbusClient>();
        client->Init();
        Util::TvStatusUtil::SetStandbyPowerLock(15000);
        Answers("CHIP", 1);
        Answers("SCFW", 1);
        Answers("HALVO", 1);
        manager.Stalls(member);
        Starts();
        tv.tape.Clear();

        client->Deinit();
        client.reset();
        manager.Releases(member);
        support::Settle({&manager});

        EXPECT_THAT(Deeds(), ElementsAre(kUnlock)) << member;
        EXPECT_THAT(Story(), Contains("I Result(1)"));
        manager.Clear();
    }
}

TEST_F(FirmwareUpdate, AnAnswerAfterDeinitIsServed)
{
    client->Init();
    manager.Stalls("CHIP");
    Starts();
    client->Deinit();
    Answers("CHIP", 0);
    manager.Releases("CHIP");
    support::Settle({&manager});

    EXPECT_THAT(Deeds(), ElementsAre(kChip, kExit, kUnlock));
}

TEST_F(FirmwareUpdate, TwoPowerOffsInARowLeadTwoChains)
{
    manager.Stalls("CHIP");
    client->RequestBTChipUpdate();
    client->RequestBTChipUpdate();
    support::Settle({&manager});
    Answers("CHIP", 0);
    manager.Releases("CHIP");
    support::Settle({&manager});

    EXPECT_THAT(Deeds(), ElementsAre(kChip, kChip, kExit, kUnlock, kExit, "device_power_unlock_state(2) = -1"));
}

TEST(FirmwareUpdateWithoutBus, EndsLikeOneWithoutAReply)
{
    ::setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nowhere/at/all", 1);
    sim::Television tv;
    CDbusClient client;

    for (const auto request : {&CDbusClient::RequestBTChipUpdate, &CDbusClient::RequestSmartRcFWUpdate,
                               &CDbusClient::RequestHalvoFWUpdate}) {
        Util::TvStatusUtil::SetStandbyPowerLock(15000);
        tv.tape.Clear();
        (client.*request)();
        EXPECT_THAT(tv.tape.Messages(), Contains("E No reply"));
        EXPECT_THAT(tv.tape.Of({sim::Kind::Bus, sim::Kind::Call}), ElementsAre(kUnlock));
    }
}

} // namespace
