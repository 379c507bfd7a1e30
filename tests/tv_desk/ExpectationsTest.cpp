// What happened, held against what should have.

#include "tv/scenario/Expectations.h"

#include "tv/front/Entry.h"
#include "tv/language/Line.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace {

using front::Entry;
using testing::HasSubstr;

class Expectations : public testing::Test
{
protected:
    std::string Asked(const std::string& line)
    {
        return m_expectations.Objection(language::Parse(line));
    }
    void Happens(const std::string& kind, const std::string& text)
    {
        Entry entry;
        entry.kind = kind;
        entry.lane = kind == "log" ? "log" : "service";
        entry.text = text;
        entry.subject = kind == "call" ? "adapter" : "";
        m_expectations.Hears(entry);
    }
    void Sends(const std::string& lane, const std::string& member, const std::string& signature = {},
               const std::string& body = {})
    {
        Entry entry;
        entry.kind = "bus";
        entry.lane = lane;
        entry.member = member;
        entry.signature = signature;
        entry.body = body;
        entry.text = "call " + lane + " " + member + " " + signature + " " + body;
        m_expectations.Hears(entry);
    }

    scenario::Expectations m_expectations{"/nonexistent"};
};

TEST_F(Expectations, AreMetInTheirOrder)
{
    Happens("call", "bt_adapter_enable() = 0");
    Happens("call", "bt_adapter_set_name(\"a\") = 0");
    EXPECT_EQ(Asked("expect function bt_adapter_enable()"), "");
    EXPECT_EQ(Asked("expect function bt_adapter_set_name"), "");
    EXPECT_EQ(Asked("expect function bt_adapter_enable()"), "it came, but before what was expected before it");
}

TEST_F(Expectations, TellWhatCameInstead)
{
    Happens("log", "E tag file: Function(3) > something else");
    Happens("call", "bt_adapter_disable() = 0");
    EXPECT_EQ(Asked("expect function bt_adapter_enable"),
              "it did not come; what came instead:\n    bt_adapter_disable() = 0");
    EXPECT_EQ(Asked("expect call connectionmanager Hello"), "it did not come; nothing of the kind came");
}

TEST_F(Expectations, TellTheLastOfManyThatCameInstead)
{
    for (int number = 0; number < 20; ++number) {
        Happens("call", "call " + std::to_string(number));
    }
    const std::string objection = Asked("expect function bt_adapter_enable");
    EXPECT_THAT(objection, HasSubstr("    call 19\n    and 8 before"));
    EXPECT_THAT(objection, testing::Not(HasSubstr("call 7\n")));
}

TEST_F(Expectations, AreAboutWhatHappenedSinceTheFirstDeedAfterTheOnesBefore)
{
    Happens("call", "bt_adapter_enable() = 0");
    m_expectations.Deed();
    EXPECT_EQ(Asked("expect function bt_adapter_enable"), "");
    m_expectations.Deed();
    Happens("call", "first() = 0");
    m_expectations.Deed();
    Happens("call", "second() = 0");
    EXPECT_EQ(Asked("expect no function bt_adapter_enable"), "");
    EXPECT_EQ(Asked("expect function first"), "");
    EXPECT_EQ(Asked("expect function second"), "");
}

TEST_F(Expectations, CompareBodiesAsValues)
{
    Sends("connectionmanager", "SmartRcBatteryLevel", "(s)", "('48',)");
    EXPECT_EQ(Asked(R"(expect call connectionmanager SmartRcBatteryLevel ("48"))"), "");
    m_expectations.Deed();
    Sends("connectionmanager", "AuthorizationRequest", "(ssii)", "('a', 'b', 18, 0)");
    EXPECT_EQ(Asked(R"(expect no call connectionmanager AuthorizationRequest ("a", "b", 18, 1))"), "");
    EXPECT_EQ(Asked(R"(expect no call connectionmanager AuthorizationRequest ("a", "b", 18))"), "");
    EXPECT_EQ(Asked(R"(expect no call connectionmanager AuthorizationRequest nonsense)"), "");
    EXPECT_EQ(Asked(R"(expect call connectionmanager AuthorizationRequest ("a",  "b", 18, 0))"), "");
}

TEST_F(Expectations, KnowAnEmptyBody)
{
    Sends("connectionmanager", "Hello");
    EXPECT_EQ(Asked("expect call connectionmanager Hello ()"), "");
    EXPECT_THAT(Asked("expect call connectionmanager Hello (1,)"), HasSubstr("it did not come"));
}

TEST_F(Expectations, KnowWhoWasCalled)
{
    Sends("connectionshift", "Hello");
    EXPECT_EQ(Asked("expect no call connectionmanager Hello"), "");
    EXPECT_EQ(Asked("expect no call connectionshift Hello"), "it came: call connectionshift Hello  ");
}

TEST_F(Expectations, OfNothingForgiveQuestionsAndTheLog)
{
    Entry question;
    question.kind = "call";
    question.query = true;
    question.subject = "sensor";
    m_expectations.Hears(question);
    Happens("log", "I a line");
    Happens("note", "the set goes");
    EXPECT_EQ(Asked("expect nothing"), "");
    Happens("call", "bt_adapter_enable() = 0");
    EXPECT_EQ(Asked("expect nothing"), "it came: bt_adapter_enable() = 0");
}

TEST_F(Expectations, LookAtTheSettingsAsTheyAre)
{
    m_expectations.HearsState(
        R"({"state":{"settings":[{"key":"db/a","type":"int","value":51},{"key":"db/b","type":"string","value":"51"},
            {"key":"db/c","type":"bool","value":true}]}})");
    EXPECT_EQ(Asked("expect setting db/a 51"), "");
    EXPECT_EQ(Asked("expect setting db/a \"51\""), "it is 51");
    EXPECT_EQ(Asked("expect setting db/b \"51\""), "");
    EXPECT_EQ(Asked("expect setting db/b 51"), "it is \"51\"");
    EXPECT_EQ(Asked("expect setting db/c true"), "");
    EXPECT_EQ(Asked("expect setting db/d none"), "");
    EXPECT_EQ(Asked("expect setting db/c none"), "it is true");
}

TEST_F(Expectations, LookAtFilesAndWhetherTheServiceRuns)
{
    EXPECT_EQ(Asked("expect file /a none"), "");
    EXPECT_EQ(Asked("expect file /a b"), "there is no such file");
    EXPECT_EQ(Asked("expect stopped"), "");
    EXPECT_EQ(Asked("expect running"), "the service should run, and does not");
    m_expectations.HearsState(R"({"state":{"running":true}})");
    EXPECT_EQ(Asked("expect running"), "");
    EXPECT_EQ(Asked("expect stopped"), "the service should have stopped, and runs");
}

} // namespace
