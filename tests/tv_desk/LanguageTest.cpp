// What can be said to the television, and what is answered to what cannot.

#include "tv/language/Body.h"
#include "tv/language/Commands.h"
#include "tv/language/Line.h"
#include "tv/language/Misunderstood.h"
#include "tv/language/Nearest.h"
#include "tv/language/Numbers.h"
#include "tv/language/Words.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bt_error.h>
#include <device_power.h>

#include <chrono>
#include <functional>
#include <initializer_list>
#include <limits>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace std::chrono_literals;
using language::Completions;
using language::Parse;
using language::Verb;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::Optional;

/// What is answered to a line; empty when it is understood.
std::string Objection(const std::string& line)
{
    try {
        Parse(line);
        return "";
    } catch (const language::Misunderstood& misunderstood) {
        return misunderstood.what();
    }
}

std::vector<std::string> Texts(const std::string& line)
{
    std::vector<std::string> texts;
    for (const language::Word& word : language::WordsOf(line)) {
        texts.push_back(word.text);
    }
    return texts;
}

TEST(Words, StandBetweenBlanks)
{
    EXPECT_THAT(Texts("  remote \tconnect  "), ElementsAre("remote", "connect"));
    EXPECT_THAT(Texts(""), IsEmpty());
    EXPECT_THAT(Texts(" \t "), IsEmpty());
}

TEST(Words, MayHoldAnythingInQuotes)
{
    EXPECT_THAT(Texts(R"(set a "Living Room" "" "a\"b\\c" "\x41\n\t")"),
                ElementsAre("set", "a", "Living Room", "", "a\"b\\c", "A\n\t"));
    EXPECT_TRUE(language::WordsOf("\"51\"").front().quoted);
    EXPECT_FALSE(language::WordsOf("51").front().quoted);
}

TEST(Words, WithAQuoteThatIsNotClosedAreRefused)
{
    EXPECT_THROW(Texts("set a \"b"), language::Misunderstood);
    EXPECT_THROW(Texts("set a \"b\\"), language::Misunderstood);
    EXPECT_THROW(Texts("set a \"b\\q\""), language::Misunderstood);
    EXPECT_THROW(Texts("set a \"\\x4\""), language::Misunderstood);
    EXPECT_THROW(Texts("set a \"\\x-1\""), language::Misunderstood);
}

TEST(Words, ComeBackAsTheyWereWritten)
{
    for (const std::string& text : {std::string("plain"), std::string("two words"), std::string(), std::string("\"\\"),
                                    std::string("a\nb\tc\x01"), std::string("#"), std::string("Küche")}) {
        EXPECT_THAT(Texts(language::AsWord(text)), ElementsAre(text));
        EXPECT_THAT(Texts(language::AsQuoted(text)), ElementsAre(text));
    }
    EXPECT_EQ(language::AsWord("plain"), "plain");
}

TEST(ARemark, IsALineThatSaysNothing)
{
    EXPECT_TRUE(language::IsRemark(""));
    EXPECT_TRUE(language::IsRemark("  # remote connect"));
    EXPECT_TRUE(language::IsRemark("\r"));
    EXPECT_FALSE(language::IsRemark("remote # connect"));
}

TEST(Numbers, AreDecimalOrHexadecimal)
{
    EXPECT_THAT(language::NumberIn("-2147483648"), Optional(std::numeric_limits<int>::min()));
    EXPECT_THAT(language::NumberIn("2147483647"), Optional(std::numeric_limits<int>::max()));
    EXPECT_THAT(language::NumberIn("0x10000001"), Optional(0x10000001));
    EXPECT_THAT(language::NumberIn("0xFFFFFFFF"), Optional(-1));
    for (const char* wrong : {"", "-", "0x", "1 ", "1a", "2147483648", "0x100000000", "+1", "١"}) {
        EXPECT_EQ(language::NumberIn(wrong), std::nullopt) << wrong;
    }
}

TEST(Durations, HaveAUnit)
{
    EXPECT_THAT(language::DurationIn("500ms"), Optional(500ms));
    EXPECT_THAT(language::DurationIn("10s"), Optional(10s));
    EXPECT_THAT(language::DurationIn("1h30min"), Optional(90min));
    EXPECT_THAT(language::DurationIn("0s"), Optional(0ms));
    EXPECT_THAT(language::DurationIn("366d"), Optional(language::kLongestTime));
    for (const char* wrong :
         {"", "10", "s", "-1s", "1x", "1s ", "366d1ms", "99999999999999999999s", "1.5s", "9223372036854775807d"}) {
        EXPECT_EQ(language::DurationIn(wrong), std::nullopt) << wrong;
    }
}

TEST(Durations, AreWrittenTheShortestWay)
{
    EXPECT_EQ(language::AsDuration(0ms), "0s");
    EXPECT_EQ(language::AsDuration(90min), "1h30min");
    EXPECT_EQ(language::AsDuration(1001ms), "1s1ms");
    EXPECT_EQ(language::AsDuration(48h), "2d");
}

TEST(ErrorCodes, HaveNames)
{
    EXPECT_THAT(language::ErrorCodeIn("ALREADY_DONE"), Optional(int{BT_ERROR_ALREADY_DONE}));
    EXPECT_THAT(language::ErrorCodeIn("BT_ERROR_ALREADY_DONE"), Optional(int{BT_ERROR_ALREADY_DONE}));
    EXPECT_THAT(language::ErrorCodeIn("-1"), Optional(-1));
    EXPECT_EQ(language::ErrorCodeIn("0"), std::nullopt);
    EXPECT_EQ(language::ErrorCodeIn("NONE"), std::nullopt);
    EXPECT_EQ(language::ErrorNames().size(), 18U);
    for (const std::string& name : language::ErrorNames()) {
        EXPECT_EQ(language::AsErrorCode(language::ErrorCodeIn(name).value()), name);
    }
    EXPECT_EQ(language::AsErrorCode(-7), "-7");
}

TEST(PowerOptions, AreNamesOrNumbers)
{
    EXPECT_THAT(language::PowerOptionIn("reset"), Optional(int{DEVICE_POWEROFF_OPTION_RESET}));
    EXPECT_THAT(language::PowerOptionIn("suspend-off+ignore-lock"),
                Optional(DEVICE_POWEROFF_OPTION_SUSPEND_OFF | DEVICE_POWEROFF_OPTION_IGNORE_LOCK));
    EXPECT_THAT(language::PowerOptionIn("13"), Optional(13));
    EXPECT_EQ(language::PowerOptionIn("reset+"), std::nullopt);
    EXPECT_EQ(language::PowerOptionIn(""), std::nullopt);
}

TEST(TheNearestWord, IsTheOneThatWasMeant)
{
    EXPECT_EQ(language::Nearest("conect", {"connect", "disconnect"}), "connect");
    EXPECT_EQ(language::Nearest("cnonect", {"connect", "disconnect"}), "connect");
    EXPECT_EQ(language::Nearest("bat", {"battery", "byte"}), "battery");
    EXPECT_EQ(language::Nearest("REMOTE", {"remote", "recover"}), "remote");
    EXPECT_EQ(language::Nearest("elephant", {"remote", "recover"}), "");
    EXPECT_EQ(language::Nearest("", {"remote"}), "");
    EXPECT_EQ(language::Nearest(std::string(100'000, 'a'), {"remote"}), "");
}

TEST(ALine, NamesWhoDoesWhatWithWhat)
{
    const language::Line line = Parse("  wheel connect 00:11:22:aa:BB:cc ");
    EXPECT_EQ(line.command->verb, Verb::RemoteConnects);
    EXPECT_EQ(line.text, "wheel connect 00:11:22:aa:BB:cc");
    EXPECT_THAT(line.literals, ElementsAre("wheel", "connect"));
    EXPECT_EQ(line.Text("ADDRESS"), "00:11:22:aa:BB:cc");
    EXPECT_FALSE(Parse("wheel connect").Has("ADDRESS"));
    EXPECT_EQ(Parse("remote lose 8").Number("REASON"), 8);
    EXPECT_EQ(Parse("remote lose").Number("REASON", 5), 5);
}

TEST(ALine, MayEndInFreeText)
{
    EXPECT_EQ(Parse("speaker name Kitchen  speaker").Text("TEXT"), "Kitchen  speaker");
    EXPECT_EQ(Parse("speaker name \"Kitchen speaker\"").Text("TEXT"), "Kitchen speaker");
    EXPECT_EQ(Parse("story It's \"dark\" and \"late").Text("TEXT"), "It's \"dark\" and \"late");
    EXPECT_EQ(Parse("story \"Late\" they say").Text("TEXT"), "\"Late\" they say");
    EXPECT_EQ(Parse("story \"Late").Text("TEXT"), "\"Late");
    EXPECT_EQ(Parse(R"(expect call connectionmanager SmartRcBatteryLevel ("48"))").Text("BODY"), "(\"48\")");
    EXPECT_FALSE(Parse("expect call connectionmanager Hello").Has("BODY"));
    EXPECT_EQ(Parse(R"(expect function bt_adapter_set_name("Living Room"))").Text("TEXT"),
              "bt_adapter_set_name(\"Living Room\")");
    EXPECT_EQ(Parse("within 10s expect nothing").Text("TEXT"), "expect nothing");
}

TEST(ALine, KnowsATextInQuotesFromANumber)
{
    EXPECT_TRUE(Parse("set db/a \"51\"").arguments.find("VALUE")->second.quoted);
    EXPECT_FALSE(Parse("set db/a 51").arguments.find("VALUE")->second.quoted);
}

TEST(ALine, WithAnUnknownWordIsAnsweredWithTheNearest)
{
    EXPECT_EQ(Objection("remot connect"), "nobody understands \"remot\"; did you mean \"remote\"?");
    EXPECT_EQ(Objection("remote conect"), "\"conect\" cannot stand behind \"remote\"; did you mean \"connect\"?");
    EXPECT_EQ(Objection("elephant"), "nobody understands \"elephant\"; \"help\" tells all lines");
    EXPECT_EQ(Objection("stand zzzzzz"), "\"zzzzzz\" cannot stand behind \"stand\"; there can be: connect, disconnect");
    EXPECT_EQ(Objection("\"remote\" connect"), "nobody understands \"remote\"; did you mean \"remote\"?");
    EXPECT_EQ(Objection("fail bt_adapter_enabel TIMED_OUT"),
              "\"bt_adapter_enabel\" is not a platform function; did you mean \"bt_adapter_enable\"?");
    EXPECT_EQ(Objection("fail bt_adapter_enable ALREADY_DON"),
              "\"ALREADY_DON\" is not the name of an error, or a number other than 0; did you mean \"ALREADY_DONE\"?");
    EXPECT_EQ(Objection("sibling connectionmanger hang"),
              "\"connectionmanger\" is not a sibling service; did you mean \"connectionmanager\"?");
}

TEST(ALine, WithAWrongNumberIsAnsweredWithWhatIsTaken)
{
    EXPECT_EQ(Objection("remote battery adc 32"), "\"32\" is not a number from 0 to 31");
    EXPECT_EQ(Objection("remote battery adc 31"), "");
    EXPECT_EQ(Objection("remote battery byte -1"), "\"-1\" is not a number from 0 to 255");
    EXPECT_EQ(Objection("remote battery byte 0"), "");
    EXPECT_EQ(
        Objection("wait 10"),
        "\"10\" is not a time with its unit, such as 500ms, 10s, 5min, 1h or 2d, at most 366d; did you mean \"10s\"?");
    EXPECT_THAT(Objection("remote connect 00:11:22"), HasSubstr("an address such as 00:11:22:AA:BB:CC"));
    EXPECT_THAT(Objection("set memory/ 1"), HasSubstr("begins with db/ or memory/"));
    EXPECT_THAT(Objection("file /../etc/passwd x"), HasSubstr("the path of a file of the set"));
    EXPECT_THAT(Objection("remove relative"), HasSubstr("the path of a file of the set"));
}

TEST(ALine, ThatIsTooLongOrTooShortIsAnsweredWithItsSyntax)
{
    EXPECT_EQ(Objection("plug in"), "\"in\" is too much: plug");
    EXPECT_EQ(Objection("remote battery"),
              "there is something missing: remote|wheel battery adc LEVEL, or remote|wheel battery byte BYTE");
    EXPECT_EQ(Objection("wait"), "there is something missing: wait DURATION");
    EXPECT_EQ(Objection("story"), "there is something missing: story TEXT...");
    EXPECT_EQ(Objection("   "), "there is nothing in the line; \"help\" tells all lines");
    EXPECT_LT(Objection("remote connect " + std::string(1'000'000, 'x')).size(), 200U);
}

TEST(Completion, OffersWhatCanStandThere)
{
    EXPECT_THAT(Completions("rem"), ElementsAre("remote", "remove"));
    EXPECT_THAT(Completions("remote b"), ElementsAre("battery"));
    EXPECT_THAT(Completions("remote battery "), ElementsAre("adc", "byte"));
    EXPECT_THAT(Completions("fail bt_adapter_en"), ElementsAre("bt_adapter_enable"));
    EXPECT_THAT(Completions("fail bt_adapter_enable ALR"), ElementsAre("ALREADY_DONE"));
    EXPECT_THAT(Completions("sibling "), Contains("updatemanager"));
    EXPECT_THAT(Completions(""), AllOf(Contains("wheel"), Contains("expect"), Not(Contains("connect"))));
    EXPECT_THAT(Completions("elephant "), IsEmpty());
    EXPECT_THAT(Completions("set \"a"), IsEmpty());
    EXPECT_THAT(Completions("remote connect 00:11:22:33:44:55 "), IsEmpty());
}

TEST(Help, TellsTheLinesAboutAWord)
{
    EXPECT_EQ(language::About("").size(), language::Commands().size());
    EXPECT_THAT(language::About("bus"),
                ElementsAre(testing::Pointee(testing::Field(&language::Command::verb, Verb::BusIsHidden)),
                            testing::Pointee(testing::Field(&language::Command::verb, Verb::BusRestart))));
    EXPECT_GT(language::About("connect").size(), 2U);
    EXPECT_THAT(language::About("elephant"), IsEmpty());
}

TEST(ABody, IsReadableWhenItHasOnlyCharacters)
{
    for (const char* text : {"", "(1,)", R"('\ud7ff',)", R"('\ue000',)", R"('\U0010ffff',)", R"('\\ud800',)",
                             R"('\u12')", R"('\u')", R"('\)", "('ü☃',)", R"('\n\"',)"}) {
        EXPECT_TRUE(language::IsReadable(text)) << text;
    }
    for (const char* text : {R"('\ud800',)", R"('\udfff',)", R"('\U00110000',)", R"('\\\ud800',)", R"('\uD800\uDC00',)",
                             "('\xff',)", "\xc3"}) {
        EXPECT_FALSE(language::IsReadable(text)) << text;
    }
    EXPECT_FALSE(language::IsReadable(std::string("(1,\0)", 5)));
}

TEST(TheTable, HasAKindForEachArgumentAndAHelpForEachLine)
{
    for (const language::Command& command : language::Commands()) {
        EXPECT_FALSE(command.help.empty()) << command.syntax;
        for (const language::Word& token : language::WordsOf(command.syntax)) {
            std::string name = token.text;
            std::erase_if(name,
                          [](char character) { return character == '[' || character == ']' || character == '.'; });
            if (name.front() >= 'A' && name.front() <= 'Z') {
                EXPECT_EQ(language::KindOf(name).name, name);
            }
        }
    }
}

TEST(TheTable, OffersOnlyWhatItTakes)
{
    for (const char* name : {"CODE", "DURATION", "ERROR", "FEATURE", "FLAG", "FUNCTION", "OPTION", "SIBLING"}) {
        for (const std::string& choice : language::KindOf(name).choices()) {
            EXPECT_TRUE(language::KindOf(name).accepts(choice)) << choice;
        }
    }
}

} // namespace
