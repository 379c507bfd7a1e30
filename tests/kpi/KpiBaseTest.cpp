#include "CKpiBase.h"
#include "IKpiBase.h"
#include "kpi/KpiTest.h"
#include "sim/Kpi.h"
#include "sim/Tape.h"
#include "sim/Television.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <initializer_list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

/// An event whose four texts the test chooses.
class AnyEvent : public CKpiBase
{
public:
    AnyEvent(std::string category, std::string name, std::string code, std::string description)
        : CKpiBase(std::move(category), std::move(name), std::move(code))
    {
        m_description = std::move(description);
    }
};

constexpr const char* kRefused = "E Invalid kpi info is saved so do not send kpi data to server";

class KpiBase : public KpiTest
{
protected:
    std::string Masked(const std::string& text)
    {
        return AnyEvent("", "", "", "").GetMaskedString(text);
    }
};

} // namespace

TEST_F(KpiBase, AFullEventIsQueuedOnceWithItsTextsInOrder)
{
    AnyEvent("25_any", "NAME", "EV001", "{a=1}").SendKPIEvent();

    EXPECT_THAT(Events(), ElementsAre("25_any NAME EV001 {a=1}"));
    EXPECT_THAT(Logs(), IsEmpty());
}

TEST_F(KpiBase, NobodyIsToldOfTheDelivery)
{
    AnyEvent("25_any", "NAME", "EV001", "{a=1}").SendKPIEvent();

    EXPECT_EQ(tv.kpi.events, 1U);
    EXPECT_EQ(tv.kpi.wantingAnswers, 0U);
}

TEST_F(KpiBase, AnEventIsSentAndDeletedThroughItsInterface)
{
    const std::unique_ptr<IKpiBase> event = std::make_unique<AnyEvent>("25_any", "NAME", "EV001", "{a=1}");
    event->SendKPIEvent();

    EXPECT_THAT(Events(), SizeIs(1));
}

TEST_F(KpiBase, AnEventThatLacksAnyOfItsTextsIsRefused)
{
    AnyEvent("", "NAME", "EV001", "{a=1}").SendKPIEvent();
    AnyEvent("25_any", "", "EV001", "{a=1}").SendKPIEvent();
    AnyEvent("25_any", "NAME", "", "{a=1}").SendKPIEvent();
    AnyEvent("25_any", "NAME", "EV001", "").SendKPIEvent();

    EXPECT_THAT(Events(), IsEmpty());
    EXPECT_THAT(Logs(), ElementsAre(kRefused, kRefused, kRefused, kRefused));
}

TEST_F(KpiBase, TheValidityTestSaysTheReverseOfItsName)
{
    EXPECT_FALSE(AnyEvent("25_any", "NAME", "EV001", "{a=1}").IsValidKpiInfo());
    EXPECT_TRUE(AnyEvent("", "NAME", "EV001", "{a=1}").IsValidKpiInfo());
    EXPECT_TRUE(AnyEvent("25_any", "", "EV001", "{a=1}").IsValidKpiInfo());
    EXPECT_TRUE(AnyEvent("25_any", "NAME", "", "{a=1}").IsValidKpiInfo());
    EXPECT_TRUE(AnyEvent("25_any", "NAME", "EV001", "").IsValidKpiInfo());
}

TEST_F(KpiBase, TheCollectorsRefusalIsNotLookedAt)
{
    tv.Fails("AddEventLogAsync", -1);
    AnyEvent("25_any", "NAME", "EV001", "{a=1}").SendKPIEvent();

    EXPECT_THAT(Logs(), IsEmpty());
}

TEST_F(KpiBase, EverySecondCharacterOfAnAddressIsMasked)
{
    EXPECT_EQ(Masked("12:34:56:78:9A:BC"), "*2*3*:*6*7*:*A*B*");
    EXPECT_THAT(Logs(), ElementsAre("E data = 12:34:56:78:9A:BC maskedString = *2*3*:*6*7*:*A*B*"));
}

TEST_F(KpiBase, AnEmptyTextMasksToAnEmptyText)
{
    EXPECT_EQ(Masked(""), "");
    EXPECT_THAT(Logs(), ElementsAre("E data =  maskedString = "));
}

TEST_F(KpiBase, ASingleCharacterMasksToOneStar)
{
    EXPECT_EQ(Masked("a"), "*");
    EXPECT_EQ(Masked("\xF0\x9F\x98\x80"), "*");
}

TEST_F(KpiBase, ACharacterOfSeveralBytesCountsAsOne)
{
    EXPECT_EQ(Masked("ab\u20ACd"), "*b*d");
    EXPECT_EQ(Masked("a\u20ACc\U0001F600"), "*\u20AC*\U0001F600");
}

TEST_F(KpiBase, AZeroByteCountsAsACharacter)
{
    EXPECT_EQ(Masked(std::string("a\0bc", 4)), std::string("*\0*c", 4));
}

TEST_F(KpiBase, APercentSignIsNoPlaceholder)
{
    EXPECT_EQ(Masked("%s%n"), "*s*n");
    EXPECT_THAT(Logs(), ElementsAre("E data = %s%n maskedString = *s*n"));
}

TEST_F(KpiBase, WhatIsNotUtf8MasksToAnEmptyTextWithOneLogLine)
{
    for (const std::string text :
         {"ab\xFF", "\xC3", "\xC0\x80", "\xED\xA0\x80", "\xE2\x82", "\x80", "\xF4\x90\x80\x80"}) {
        tv.tape.Clear();
        EXPECT_EQ(Masked(text), "");
        EXPECT_THAT(Logs(), ElementsAre("E text is not valid UTF-8"));
    }
}
