#include "CommonUtil.h"

#include "sim/Tape.h"
#include "sim/Television.h"
#include "support/MainLoop.h"

#include <glib.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <initializer_list>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Util::CommonUtil;

namespace {

TEST(Address, IsSixHexadecimalFieldsWithColons)
{
    sim::Television tv;
    for (const char* address : {"AA:BB:CC:DD:EE:FF", "aa:bb:cc:dd:ee:ff", "00:11:22:33:44:55", "0a:1B:2c:3D:4e:5F"}) {
        EXPECT_TRUE(CommonUtil::IsValidAddress(address)) << address;
    }
    EXPECT_THAT(tv.tape.Messages(true), IsEmpty());
}

TEST(Address, OfAnotherLengthIsRefusedFirst)
{
    for (const char* address : {"", "AA:BB:CC:DD:EE:F", "AA:BB:CC:DD:EE:FF:", "AA-BB-CC-DD-EE-FF-"}) {
        sim::Television tv;
        EXPECT_FALSE(CommonUtil::IsValidAddress(address)) << address;
        EXPECT_THAT(tv.tape.Messages(true), ElementsAre("E size is not 17"));
    }
}

TEST(Address, OfAnotherFormIsRefused)
{
    for (const char* address : {"AA-BB-CC-DD-EE-FF", "AA:BB:CC:DD:EE:FG", "AA:BB:CC:DD:EE::F", ":AA:BB:CC:DD:EE:F",
                                "AA:BB:CC:DD:EE:F\n", " A:BB:CC:DD:EE:FF", "A\xC3\xA9:B:CC:DD:EE:FF"}) {
        sim::Television tv;
        EXPECT_FALSE(CommonUtil::IsValidAddress(address)) << address;
        EXPECT_THAT(tv.tape.Messages(true), ElementsAre("E Invalid format")) << address;
    }
}

TEST(HexNumber, HasUpToEightDigits)
{
    EXPECT_EQ(CommonUtil::convertToUIntFromHexString("ffffffff"), 0xFFFFFFFFU);
    EXPECT_EQ(CommonUtil::convertToUIntFromHexString("0"), 0U);
    EXPECT_EQ(CommonUtil::convertToUIntFromHexString("1aB"), 0x1ABU);
    EXPECT_EQ(CommonUtil::convertToUIntFromHexString("0x1F"), 0x1FU);
}

TEST(HexNumber, OfNineCharactersIsOutOfRange)
{
    for (const char* digits : {"fffffffff", "000000001", "not a number"}) {
        try {
            CommonUtil::convertToUIntFromHexString(digits);
            ADD_FAILURE() << digits;
        } catch (const std::out_of_range& exception) {
            EXPECT_STREQ(exception.what(), "hex string size is greater than 4 byte");
        }
    }
}

TEST(HexNumber, IsNothingElse)
{
    for (const char* digits : {"", "xyz", "g", " 1", "-1", "+1", "12g", "1 ", "0xg"}) {
        EXPECT_THROW(CommonUtil::convertToUIntFromHexString(digits), std::invalid_argument) << digits;
    }
}

TEST(Text, LosesItsColons)
{
    EXPECT_EQ(CommonUtil::RemoveColon("AA:BB::CC:"), "AABBCC");
    EXPECT_EQ(CommonUtil::RemoveColon(":"), "");
    EXPECT_EQ(CommonUtil::RemoveColon("none"), "none");
}

TEST(Text, BecomesCapitals)
{
    EXPECT_EQ(CommonUtil::ToCapital("aZ1:-\xC3\xA4"), "AZ1:-\xC3\xA4");
    EXPECT_EQ(CommonUtil::ToCapital(""), "");
}

TEST(Text, StartsWithAPrefix)
{
    EXPECT_TRUE(CommonUtil::StartsWith("abc", "ab"));
    EXPECT_TRUE(CommonUtil::StartsWith("abc", "abc"));
    EXPECT_TRUE(CommonUtil::StartsWith("abc", ""));
    EXPECT_FALSE(CommonUtil::StartsWith("abc", "abcd"));
    EXPECT_FALSE(CommonUtil::StartsWith("abc", "b"));
}

TEST(Text, IsSplitAtEveryDelimiterWithoutEmptyPieces)
{
    sim::Television tv;
    std::vector<std::string> pieces = {"kept"};
    CommonUtil::StrSplit("a,,b", ",", &pieces);
    CommonUtil::StrSplit(";c,d;", ",;", &pieces);
    CommonUtil::StrSplit("", ",", &pieces);
    CommonUtil::StrSplit(",,", ",", &pieces);
    CommonUtil::StrSplit("whole", "", &pieces);
    EXPECT_THAT(pieces, ElementsAre("kept", "a", "b", "c", "d", "whole"));
    EXPECT_THAT(tv.tape.Messages(true),
                ElementsAre("D string : a,,b", "D string : ;c,d;", "D string : ", "D string : ,,", "D string : whole"));
}

TEST(Text, IsNotSplitIntoNothing)
{
    sim::Television tv;
    CommonUtil::StrSplit("a,b", ",", nullptr);
    EXPECT_THAT(tv.tape.Messages(true), ElementsAre("D string : a,b", "E pieces is NULL"));
}

TEST(File, ExistsOrIsLoggedAsMissing)
{
    sim::Television tv;
    EXPECT_FALSE(CommonUtil::CheckExist("/tmp/app_ready"));
    EXPECT_THAT(tv.tape.Messages(true), ElementsAre("E /tmp/app_ready does not exist"));
    tv.tape.Clear();
    tv.MakesFile("/tmp/app_ready");
    EXPECT_TRUE(CommonUtil::CheckExist("/tmp/app_ready"));
    EXPECT_THAT(tv.tape.Messages(true), IsEmpty());
}

TEST(ReleaseImage, IsToldByItsFile)
{
    sim::Television tv;
    EXPECT_FALSE(CommonUtil::IsReleaseImage());
    tv.MakesFile("/etc/release");
    EXPECT_TRUE(CommonUtil::IsReleaseImage());
}

TEST(Timer, IsRemovedAndItsIdCleared)
{
    sim::Television tv;
    int fired = 0;
    unsigned int id = g_timeout_add(
        0, [](gpointer count) { return ++*static_cast<int*>(count), G_SOURCE_REMOVE; }, &fired);
    tv.tape.Clear();
    CommonUtil::RemoveTimer(&id);
    EXPECT_EQ(id, 0U);
    support::DrainMainLoop();
    EXPECT_EQ(fired, 0);
    EXPECT_THAT(tv.tape.Timers(), ElementsAre("timer 1 removed"));
}

TEST(Timer, OfIdZeroIsLeftAlone)
{
    sim::Television tv;
    unsigned int id = 0;
    CommonUtil::RemoveTimer(&id);
    CommonUtil::RemoveTimer(nullptr);
    EXPECT_EQ(id, 0U);
    EXPECT_THAT(tv.tape.Timers(), IsEmpty());
}

// Compilers differ in the blank before the asterisk.
TEST(Timer, RemovalIsTraced)
{
    sim::Television tv;
    unsigned int id = 0;
    CommonUtil::RemoveTimer(&id);
    const std::string where = R"( \[static void Util::CommonUtil::RemoveTimer\(unsigned int ?\*\)\([0-9]+\)\])";
    EXPECT_THAT(
        tv.tape.All(),
        ElementsAre(::testing::MatchesRegex(R"(D VYREL_UTIL DlogUtil\.h: ApiTracker\(124\) > IN >>)" + where),
                    ::testing::MatchesRegex(R"(D VYREL_LITE LiteDebug\.h: ~ApiTracker\(121\) > OUT <<)" + where)));
}

struct NamedCode
{
    int code;
    const char* name;
};

class ErrorName : public ::testing::TestWithParam<NamedCode>
{};

TEST_P(ErrorName, BelongsToItsCode)
{
    EXPECT_STREQ(CommonUtil::ERR_STR(GetParam().code), GetParam().name);
}

INSTANTIATE_TEST_SUITE_P(
    All, ErrorName,
    ::testing::Values(NamedCode{-125, "CANCELLED"}, NamedCode{-22, "INVALID_PARAMETER"},
                      NamedCode{-12, "OUT_OF_MEMORY"}, NamedCode{-16, "RESOURCE_BUSY"},
                      NamedCode{-1073741823, "TIMED_OUT"}, NamedCode{static_cast<int>(0xC0000001), "TIMED_OUT"},
                      NamedCode{-115, "TIMED_OUT"}, NamedCode{-29359871, "NOT_INITIALIZED"},
                      NamedCode{-29359870, "NOT_ENABLED"}, NamedCode{-29359869, "ALREADY_DONE"},
                      NamedCode{static_cast<int>(0xFE400103), "ALREADY_DONE"}, NamedCode{-29359868, "OPERATION_FAILED"},
                      NamedCode{-29359867, "NOT_IN_PROGRESS"}, NamedCode{-29359866, "REMOTE_DEVICE_NOT_BONDED"},
                      NamedCode{-29359865, "AUTH_REJECTED"}, NamedCode{-29359864, "AUTH_FAILED"},
                      NamedCode{-29359863, "REMOTE_DEVICE_NOT_FOUND"}, NamedCode{-29359862, "SERVICE_SEARCH_FAILED"},
                      NamedCode{-29359861, "REMOTE_DEVICE_NOT_CONNECTED"}, NamedCode{0, "ERROR_NONE"},
                      NamedCode{1, "None"}, NamedCode{-1, "None"}, NamedCode{-95, "None"},
                      NamedCode{-29359860, "None"}));

TEST(Number, BecomesDecimalText)
{
    EXPECT_EQ(CommonUtil::ToString<int>(0), "0");
    EXPECT_EQ(CommonUtil::ToString<int>(-2147483647 - 1), "-2147483648");
    EXPECT_EQ(CommonUtil::ToString(87), "87");
}

} // namespace
