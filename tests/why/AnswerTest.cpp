// Answers about runs that were made up: what led to something, and what is said to questions that have no answer.

#include "tv/why/Answer.h"

#include "tv/run/Run.h"
#include "tv/why/History.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

namespace {

class Answer : public ::testing::Test
{
protected:
    std::uint64_t Happens(const std::string& kind, const std::string& text, std::uint64_t cause = 0)
    {
        const std::uint64_t id = run.entries.size() + 1;
        run.entries.push_back({.id = id,
                               .cause = cause,
                               .at = 0,
                               .lane = "",
                               .kind = kind,
                               .text = text,
                               .subject = "",
                               .words = "",
                               .details = {}});
        if (kind == "log") {
            run.entries.back().details.emplace_back("message", text);
        }
        return id;
    }

    std::uint64_t Asks(const std::string& text, std::uint64_t cause)
    {
        const std::uint64_t id = Happens("call", text, cause);
        run.entries.back().details.emplace_back("query", "true");
        return id;
    }

    std::uint64_t Starts()
    {
        return Happens("life", "the set is plugged in, the service starts", Happens("line", "plug"));
    }

    [[nodiscard]] std::string Why(const std::string& what = "") const
    {
        return Told([&](const why::History& history) { return why::Why(history, what); });
    }

    [[nodiscard]] std::string WhyNot(const std::string& outcome, const std::string& way = "") const
    {
        return Told([&](const why::History& history) { return why::WhyNot(history, outcome, way); });
    }

    [[nodiscard]] std::string Objection(const std::string& outcome, const std::string& way,
                                        const std::string& condition = "") const
    {
        return Told([&](const why::History& history) { return why::Objection(history, outcome, way, condition); });
    }

    run::Run run;

private:
    template <typename Question>
    [[nodiscard]] std::string Told(Question question) const
    {
        try {
            return question(why::History(run));
        } catch (const why::Unanswerable& unanswerable) {
            return std::string("?") + unanswerable.what();
        }
    }
};

TEST_F(Answer, IsTheChainOfCausesWithWhatWasAskedForBetween)
{
    const std::uint64_t line = Happens("line", "remote grip");
    const std::uint64_t event = Happens("event", "gripped(1)", line);
    Asks("state() = 1", event);
    Happens("bus", "call manager Popup", event);
    Asks("light() = 2", event);

    EXPECT_EQ(Why("Popup"), "why [4] call manager Popup\n"
                            "   at 0.000 s [1] the line: remote grip\n"
                            "   so at 0.000 s [2] gripped(1)\n"
                            "      asked: [3] state() = 1\n"
                            "   so at 0.000 s [4] call manager Popup\n");
    EXPECT_EQ(Why(), Why("4"));
}

TEST_F(Answer, SaysThatACauseIsNotInTheRun)
{
    run.entries.push_back({.id = 7,
                           .cause = 3,
                           .at = 0,
                           .lane = "",
                           .kind = "bus",
                           .text = "call manager Hello",
                           .subject = "",
                           .words = "",
                           .details = {}});

    EXPECT_THAT(Why(), HasSubstr("what led to this is not in the run\n   at 0.000 s [7]"));
}

TEST_F(Answer, IsAboutTheLastThatTheServiceDidInWhichTheTextStands)
{
    Happens("bus", "call manager Hello");
    Happens("bus", "call manager Hello again");
    Happens("note", "somebody says Hello");

    EXPECT_THAT(Why("Hello"), StartsWith("why [2]"));
    EXPECT_THAT(Why("somebody"), StartsWith("why [3]"));
}

TEST_F(Answer, LeavesOutTheFirstOfManyThatWereAskedFor)
{
    const std::uint64_t event = Happens("event", "gripped(1)");
    for (int count = 0; count < 20; ++count) {
        Asks("asked" + std::to_string(count) + "()", event);
    }
    Happens("bus", "call manager Popup", event);

    EXPECT_THAT(Why(), HasSubstr("asked for 8 more before\n      asked: [10] asked8()"));
    EXPECT_THAT(Why(), Not(HasSubstr("asked7()")));
}

TEST_F(Answer, IsRefusedWithASuggestionWhereThereIsNone)
{
    EXPECT_EQ(Why(), "?the service has done nothing yet; \"plug\" starts it");
    EXPECT_EQ(Why("3"), "?there is no entry 3; nothing has happened yet");
    EXPECT_THAT(Why("Hello"), StartsWith("?nothing that happened has \"Hello\" in it"));
    Happens("bus", "call manager Hello");
    run.entries.back().details.emplace_back("member", "Hello");
    EXPECT_EQ(Why("2"), "?there is no entry 2; they go from 1 to 1");
    EXPECT_EQ(Why("99999999999999999999999"), "?nothing that happened has \"99999999999999999999999\" in it");
    EXPECT_EQ(Why("Hallo"), "?nothing that happened has \"Hallo\" in it; did you mean \"Hello\"?");
    EXPECT_THAT(Why("not"), StartsWith("?why not what? There are: adapter-on, visible"));
    EXPECT_THAT(Why("visible"), StartsWith("?ask \"why not visible\""));
    EXPECT_EQ(WhyNot("visibel"), "?no outcome is called \"visibel\"; did you mean \"visible\"?");
    EXPECT_THAT(WhyNot("xyz"), StartsWith("?no outcome is called \"xyz\"; there are: adapter-on, visible"));
    EXPECT_EQ(WhyNot("visible", "adapterup"),
              "?visible has no way that is called \"adapterup\"; did you mean \"adapter-up\"?");
    EXPECT_THAT(Objection("visible", "was-on", "the set is of"),
                StartsWith("?\"the set is of\" is no condition of visible, was-on"));
}

TEST_F(Answer, SaysOfAWayThatNothingHasBegunWhatHasToCome)
{
    EXPECT_EQ(
        WhyNot("grip-popup"),
        "grip-popup did not happen (it has when the connection manager was sent GripSensorDetected)\n"
        "way gripped\n"
        "   not tried since the service was started: the platform never reported anything to whom registered with "
        "bt_hid_set_smart_rc_grip_sensor_detected_cb\n"
        "      what has to come: the stack reports that the remote was picked up\n");
}

TEST_F(Answer, NamesTheFirstConditionThatDidNotHoldAndWhoHadSetItSo)
{
    Starts();
    const std::uint64_t line = Happens("line", "set memory/wizard/wizard_mode PNP_SETUP");
    Happens("note", "somebody writes memory/wizard/wizard_mode = \"PNP_SETUP\"", line);
    const std::uint64_t event = Happens("event", "bt_hid_smart_rc_grip_sensor_detected_cb(0x01)");
    Asks("vconf_get_str(\"memory/wizard/wizard_mode\") = \"PNP_SETUP\"", event);
    Happens("log", "wizard mode == PNP_SETUP", event);

    const std::string answer = WhyNot("grip-popup");

    EXPECT_THAT(answer, HasSubstr("this did not hold: no set-up runs\n"));
    EXPECT_THAT(answer, HasSubstr("looked at 0.000 s [7] the log: wizard mode == PNP_SETUP"));
    EXPECT_THAT(answer, HasSubstr("the setting was read at 0.000 s [6] vconf_get_str"));
    EXPECT_THAT(answer, HasSubstr("it was written at 0.000 s [4] somebody writes memory/wizard/wizard_mode"));
    EXPECT_THAT(answer, HasSubstr("because of [3] the line: set memory/wizard/wizard_mode PNP_SETUP"));
    EXPECT_THAT(answer, HasSubstr("4 of 9 conditions held before it"));
    EXPECT_THAT(Objection("grip-popup", "gripped", "no set-up runs"), IsEmpty());
    EXPECT_THAT(Objection("grip-popup", "gripped", "it was not shown too often"),
                StartsWith("it is otherwise: way gripped"));
    EXPECT_THAT(Objection("grip-popup", "gripped"), StartsWith("it is otherwise: way gripped"));
}

TEST_F(Answer, SaysWhenItDidHappenAndWhatBecameOfItSince)
{
    Starts();
    Happens("bus", "call com.quorix.tv.bt.connectionmanager GripSensorDetected",
            Happens("event", "bt_hid_smart_rc_grip_sensor_detected_cb(0x01)"));
    EXPECT_THAT(WhyNot("grip-popup"),
                StartsWith("grip-popup did happen, by the way gripped, at 0.000 s [4] call com."));
    EXPECT_THAT(WhyNot("grip-popup"), Not(HasSubstr("tried again")));
    EXPECT_THAT(Objection("grip-popup", "gripped"), IsEmpty());

    Happens("log", "reached max count", Happens("event", "bt_hid_smart_rc_grip_sensor_detected_cb(0x01)"));

    EXPECT_THAT(WhyNot("grip-popup"), StartsWith("grip-popup did happen"));
    EXPECT_THAT(WhyNot("grip-popup"), HasSubstr("It was tried again since, and did not come:\nway gripped, tried at"));
}

TEST_F(Answer, TellsWhatAnEarlierStartDidApart)
{
    Starts();
    Happens("bus", "call com.quorix.tv.bt.connectionmanager GripSensorDetected",
            Happens("event", "bt_hid_smart_rc_grip_sensor_detected_cb(0x01)"));
    Starts();

    EXPECT_THAT(WhyNot("grip-popup"), StartsWith("grip-popup did not happen"));
    EXPECT_THAT(WhyNot("grip-popup"), HasSubstr("before the service was started last, it did happen at 0.000 s [4]"));
}

TEST_F(Answer, SaysThatTheTableSaysTooLittleWhereAllHeldAndNothingCame)
{
    Starts();
    Happens("event", "bt_hid_smart_rc_grip_sensor_detected_cb(0x01)");

    EXPECT_THAT(WhyNot("grip-popup"), HasSubstr("the table says too little"));
    EXPECT_THAT(Objection("grip-popup", "gripped"), StartsWith("it is otherwise"));
}

TEST_F(Answer, ObjectsWhereAConditionDidNotHoldAndTheOutcomeCameAllTheSame)
{
    Starts();
    const std::uint64_t event = Happens("event", "bt_hid_smart_rc_grip_sensor_detected_cb(0x01)");
    Happens("log", "reached max count", event);
    EXPECT_THAT(Objection("grip-popup", "gripped", "it was not shown too often"), IsEmpty());

    Happens("bus", "call com.quorix.tv.bt.connectionmanager GripSensorDetected", event);

    EXPECT_THAT(Objection("grip-popup", "gripped", "it was not shown too often"),
                HasSubstr("and yet it came at 0.000 s [5]"));
}

TEST_F(Answer, SaysOfWhatCameByItselfThatTheServiceDidNotDoIt)
{
    Starts();
    Happens("event", "bt_adapter_state_changed_cb(0, 1)", Happens("note", "the adapter goes on"));

    EXPECT_THAT(WhyNot("adapter-on"),
                StartsWith("adapter-on happened without the service's doing, or has been undone since"));
    EXPECT_THAT(WhyNot("adapter-on"), HasSubstr("because of [3] the adapter goes on"));
}

TEST_F(Answer, PutsTheWayThatGotFarthestFirst)
{
    Starts();
    const std::uint64_t event = Happens("event", "bt_hid_battery_status_received_cb({0x2b, \"5C:51:4F:00:00:02\"})");
    Asks("bt_hid_get_smart_rc_address() = 0 -> \"5C:51:4F:00:00:02\"", event);
    Happens("call", "vconf_set_int(\"memory/sp-kpi/batlev\", 3) = 0", event);

    const std::string answer = WhyNot("low-battery-notice");

    EXPECT_LT(answer.find("way remote-low"), answer.find("way wheel-low"));
    EXPECT_THAT(answer, HasSubstr("this did not hold: the level is the low one"));
}

TEST_F(Answer, IsOneLineForEachThingHoweverLong)
{
    Happens("bus", "call manager Hello ('" + std::string(158, 'x') + "ä" + std::string(5000, 'x') + "',)");

    EXPECT_LT(Why().size(), 500U);
    EXPECT_THAT(Why(), HasSubstr("xxx..."));
}

} // namespace
