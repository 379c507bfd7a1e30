// The light in the room: a sample an hour, eight samples an event.

#include "SmartRcEventHandler/SmartRcEventHandler.h"
#include "remotes/RemotesTest.h"
#include "sim/ColorSensor.h"
#include "sim/Tape.h"
#include "sim/Television.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <string>

using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::SizeIs;
using namespace std::chrono_literals;

namespace {

class AmbientLightTest : public RemotesTest
{
protected:
    void Samples(int count)
    {
        for (int sample = 0; sample < count; ++sample) {
            remotes->SaveAmbiLightInfo();
        }
    }
};

TEST_F(AmbientLightTest, NoSampleIsTakenAtTheStart)
{
    remotes->Init(m_dbusClient);
    Settle();
    EXPECT_THAT(Deeds("ppi_ecs"), IsEmpty());
    EXPECT_THAT(Said("StartAmbiLightTimer"), ElementsAre(MatchesRegex("I Start AmbiLight Timer [0-9]+")));
    tv.tape.Clear();
    Passes(3500s);
    EXPECT_THAT(Deeds("ppi_ecs"), IsEmpty());
    Passes(101s);
    EXPECT_THAT(Deeds("ppi_ecs"), SizeIs(1));
    EXPECT_THAT(tv.tape.Messages(), ElementsAre("I save AmbiLight Kpi Info"));
}

TEST_F(AmbientLightTest, EightHoursMakeAnEventAndEndTheSampling)
{
    Starts();
    for (int hour = 1; hour <= 7; ++hour) {
        tv.colorSensor.lux = hour * 10;
        tv.colorSensor.colorTemperature = 5000 + hour;
        Passes(1h);
    }
    EXPECT_THAT(tv.tape.Kpi(), IsEmpty());
    tv.colorSensor.lux = -80;
    Passes(1h);
    EXPECT_THAT(tv.tape.Kpi(), ElementsAre(MatchesRegex("25_remocon AMBILIGHT EV015 \\{lux=10.20.30.40.50.60.70.-80;"
                                                        "cct=5001.5002.5003.5004.5005.5006.5007.5007;"
                                                        "loctime=[-0-9: .|]+;status=2.2.2.2.2.2.2.2\\}")));
    EXPECT_TRUE(HasSaid("I Stop AmbiLight Kpi Info"));
    tv.tape.Clear();
    Passes(48h);
    EXPECT_THAT(Deeds("ppi_ecs"), IsEmpty());
    remotes->StartAmbiLightTimer(); // normal power again
    Passes(1h + 1s);
    EXPECT_THAT(Deeds("ppi_ecs"), SizeIs(1));
    std::string lux;
    remotes->GetSavedAllLuxInfo(lux);
    EXPECT_EQ(lux, "-80|||||||");
}

TEST_F(AmbientLightTest, ThereIsOneTimerHoweverOftenItIsStarted)
{
    Starts();
    EXPECT_FALSE(HasSaid("I Stop AmbiLight Kpi Info"));
    remotes->StartAmbiLightTimer();
    EXPECT_TRUE(HasSaid("I Stop AmbiLight Kpi Info"));
    remotes->StartAmbiLightTimer();
    tv.tape.Clear();
    Passes(3601s);
    EXPECT_THAT(Deeds("ppi_ecs"), SizeIs(1));
}

TEST_F(AmbientLightTest, SamplesAreJoinedIntoEightSlots)
{
    tv.colorSensor.lux = 1;
    tv.colorSensor.colorTemperature = 9;
    for (int count = 0; count <= 7; ++count) {
        std::string expected;
        std::string temperatures;
        std::string states;
        for (int sample = 0; sample < count; ++sample) {
            expected += "1|";
            temperatures += "9|";
            states += "2|";
        }
        const std::string missing(static_cast<std::size_t>(7 - count), '|');
        std::string lux;
        std::string cct;
        std::string time;
        std::string status;
        remotes->GetSavedAllLuxInfo(lux);
        remotes->GetSavedAllCctInfo(cct);
        remotes->GetSavedAllTimeStampInfo(time);
        remotes->GetSavedStatusInfo(status);
        EXPECT_EQ(lux, expected + missing);
        EXPECT_EQ(cct, temperatures + missing);
        EXPECT_EQ(status, states + missing);
        EXPECT_EQ(std::count(time.begin(), time.end(), '|'), 7);
        if (count < 7) {
            Samples(1);
        }
    }
}

TEST_F(AmbientLightTest, TheSlotsAreAppended)
{
    Samples(1);
    std::string status = "before ";
    remotes->GetSavedStatusInfo(status);
    EXPECT_EQ(status, "before 2|||||||");
    remotes->ClearAmbiLightInfo();
    std::string lux;
    remotes->GetSavedAllLuxInfo(lux);
    EXPECT_EQ(lux, "|||||||");
}

TEST_F(AmbientLightTest, WhatWasGatheredIsSentAtAnyTime)
{
    Starts();
    tv.colorSensor.lux = 5;
    tv.colorSensor.colorTemperature = 6;
    Samples(3);
    tv.tape.Clear();
    remotes->SendAmbiLightKpi();
    EXPECT_THAT(tv.tape.Kpi(), ElementsAre(MatchesRegex("25_remocon AMBILIGHT EV015 \\{lux=5.5.5.....;cct=6.6.6.....;"
                                                        "loctime=[-0-9: .|]+[|]....;status=2.2.2.....\\}")));
    std::string lux;
    remotes->GetSavedAllLuxInfo(lux);
    EXPECT_EQ(lux, "|||||||");
    tv.tape.Clear();
    Passes(2h);
    EXPECT_THAT(Deeds("ppi_ecs"), IsEmpty());
}

TEST_F(AmbientLightTest, WithoutASampleNothingIsSentButTheTimerStops)
{
    Starts();
    remotes->SendAmbiLightKpi();
    EXPECT_THAT(tv.tape.Messages(), ElementsAre("I Stop AmbiLight Kpi Info", "I saved AmbiLight Kpi Info is none"));
    EXPECT_THAT(tv.tape.Kpi(), IsEmpty());
    Passes(2h);
    EXPECT_THAT(Deeds("ppi_ecs"), IsEmpty());
}

TEST_F(AmbientLightTest, ASensorThatFailsStoresNothingAndTheTimerGoesOn)
{
    Starts();
    tv.Fails("ppi_ecs_get_colorsensor_info", -1, 1);
    Passes(1h + 1s);
    EXPECT_THAT(tv.tape.Messages(), ElementsAre("E getting sensor info failed", "E failed to get sensor info"));
    std::string lux;
    remotes->GetSavedAllLuxInfo(lux);
    EXPECT_EQ(lux, "|||||||");
    tv.tape.Clear();
    Passes(1h + 1s);
    EXPECT_THAT(tv.tape.Messages(), ElementsAre("I save AmbiLight Kpi Info"));
}

TEST_F(AmbientLightTest, TheLuxValueIsTheSensorsOrMinusOne)
{
    int lux = 5;
    tv.colorSensor.lux = 70000;
    remotes->GetLuxValue(lux);
    EXPECT_EQ(lux, 70000);
    tv.Fails("ppi_ecs_get_colorsensor_info", 1);
    remotes->GetLuxValue(lux);
    EXPECT_EQ(lux, -1);
    EXPECT_TRUE(HasSaid("E getting sensor info failed"));
}

TEST_F(AmbientLightTest, ASampleKeepsTheStatusThatItCameWith)
{
    AmbiLightStruct sample;
    sample.status = "mine";
    tv.colorSensor.lux = -3;
    tv.colorSensor.colorTemperature = -4;
    EXPECT_TRUE(remotes->GetCurrentSensorInfo(sample));
    EXPECT_EQ(sample.lux, "-3");
    EXPECT_EQ(sample.cct, "-4");
    EXPECT_EQ(sample.status, "mine");
    EXPECT_THAT(sample.timeStamp, MatchesRegex("[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}"));
    tv.Fails("ppi_ecs_get_colorsensor_info", 1);
    AmbiLightStruct untouched;
    EXPECT_FALSE(remotes->GetCurrentSensorInfo(untouched));
    EXPECT_EQ(untouched.lux + untouched.cct + untouched.timeStamp, "");
}

TEST_F(AmbientLightTest, TimeStampsAreLocalAndFollowAChangeOfTheTimeZone)
{
    const auto hourIn = [this](const char* zone) {
        ::setenv("TZ", zone, 1);
        std::string text;
        remotes->GetCurrentTime(text);
        return std::stoi(text.substr(11, 2));
    };
    const int atHome = hourIn("UTC0");
    const int abroad = hourIn("ABC-5");
    ::unsetenv("TZ");
    EXPECT_EQ((abroad - atHome + 24) % 24, 5);
}

} // namespace
