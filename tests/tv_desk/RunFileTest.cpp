// A run kept in a file: what was written is read again, and a file that is none is refused with a reason.

#include "tv/run/RunFile.h"

#include "support/TempDir.h"
#include "tv/run/Run.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Pair;

namespace {

constexpr const char* kFirst = "{\"format\":\"vyrel-tv run\",\"version\":1}\n";

class RunFile : public ::testing::Test
{
protected:
    void Holds(std::string_view contents) const
    {
        std::ofstream(path, std::ios::binary) << contents;
    }

    [[nodiscard]] std::string Contents() const
    {
        std::ifstream file(path);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    /// Why it is not read, without the name of the file; empty when it is.
    [[nodiscard]] std::string Refusal() const
    {
        try {
            run::Read(path);
        } catch (const std::runtime_error& error) {
            const std::string why = error.what();
            const std::size_t name = why.find(path);
            return name == std::string::npos ? "without its name: " + why : std::string(why).erase(name, path.size());
        }
        return "";
    }

    support::TempDir folder{"run"};
    const std::string where = folder.Path().string();
    const std::string path = where + "/a.run";
};

TEST_F(RunFile, IsReadAsItWasWritten)
{
    run::Writer writer(path);
    writer.Write(R"({"id":1,"cause":0,"at":10,"lane":"set","kind":"note","text":"it rains"})");
    writer.Write(
        R"({"id":2,"cause":1,"at":20,"lane":"service","kind":"call","text":"f(1, 2) = 0 -> 3","function":"f",)"
        R"("arguments":[{"text":"1"},{"text":"2"}],"result":"0","outputs":[{"text":"3"}],"query":true,"line":7,)"
        R"("subject":"adapter","words":"look"})");
    writer.Write(R"({"message":{"at":15,"way":"in","dbus":"bAB="}})");
    writer.Sync();

    const run::Run read = run::Read(path);

    ASSERT_EQ(read.entries.size(), 2U);
    EXPECT_EQ(read.entries[0].id, 1U);
    EXPECT_EQ(read.entries[0].cause, 0U);
    EXPECT_EQ(read.entries[0].at, 10);
    EXPECT_EQ(read.entries[0].lane, "set");
    EXPECT_EQ(read.entries[0].kind, "note");
    EXPECT_EQ(read.entries[0].text, "it rains");
    EXPECT_EQ(read.entries[0].Label(), "it rains");
    EXPECT_THAT(read.entries[0].details, IsEmpty());
    EXPECT_EQ(read.entries[1].cause, 1U);
    EXPECT_EQ(read.entries[1].subject, "adapter");
    EXPECT_EQ(read.entries[1].Label(), "look");
    EXPECT_THAT(read.entries[1].details,
                ElementsAre(Pair("function", "f"), Pair("arguments", "1, 2"), Pair("result", "0"), Pair("outputs", "3"),
                            Pair("query", "true"), Pair("line", "7")));
    ASSERT_EQ(read.messages.size(), 1U);
    EXPECT_EQ(read.messages[0].at, 15);
    EXPECT_TRUE(read.messages[0].comesIn);
    EXPECT_EQ(read.messages[0].bytes, std::string("l\0", 2));
    EXPECT_THAT(read.remarks, IsEmpty());
}

TEST_F(RunFile, IsSafeFromTheMomentOfWritingOn)
{
    run::Writer writer(path);
    EXPECT_EQ(Contents(), kFirst);
    writer.Write("{}");
    EXPECT_EQ(Contents(), std::string(kFirst) + "{}\n");
}

TEST_F(RunFile, BeginsAnewInPlaceOfAnOlderOne)
{
    Holds("what was there before, and is longer than the first line of a run");
    const run::Writer writer(path);
    EXPECT_EQ(Contents(), kFirst);
}

TEST_F(RunFile, IsPutInTheOrderOfItsIdsBecauseACallIsToldAfterWhatItCaused)
{
    Holds(std::string(kFirst) + R"({"id":2,"cause":1})" + "\n" + R"({"id":1})" + "\n");
    const run::Run read = run::Read(path);
    ASSERT_EQ(read.entries.size(), 2U);
    EXPECT_EQ(read.entries[0].id, 1U);
    EXPECT_EQ(read.entries[1].cause, 1U);
}

TEST_F(RunFile, MayTellOfWhatThisVersionDoesNotKnow)
{
    Holds(std::string(kFirst) + R"({"state":{"running":true}})" + "\n" + R"({"done":{"line":"help","error":null}})" +
          "\n" + R"({"message":7})" + "\n" + R"({"id":"one"})" + "\n" +
          R"({"id":1,"cause":null,"at":-5,"text":7,"colour":{"red":1},"empty":[],"half":0.5})" + "\n");
    const run::Run read = run::Read(path);
    ASSERT_EQ(read.entries.size(), 1U);
    EXPECT_EQ(read.entries[0].at, 0);
    EXPECT_EQ(read.entries[0].text, "");
    EXPECT_THAT(read.entries[0].details, ElementsAre(Pair("half", "0.5")));
    EXPECT_THAT(read.messages, IsEmpty());
}

TEST_F(RunFile, ThatWasCutOffIsReadUpToThere)
{
    Holds(std::string(kFirst) + R"({"id":1})" + "\n" + R"({"id":2,"te)");
    const run::Run read = run::Read(path);
    EXPECT_EQ(read.entries.size(), 1U);
    EXPECT_THAT(read.remarks, ElementsAre(path + " is cut off in line 3: what came before it is there"));
}

TEST_F(RunFile, ThatLacksOnlyItsLastLineEndIsWhole)
{
    Holds(std::string(kFirst) + R"({"id":1})");
    const run::Run read = run::Read(path);
    EXPECT_EQ(read.entries.size(), 1U);
    EXPECT_THAT(read.remarks, IsEmpty());
}

TEST_F(RunFile, ThatIsNoneIsRefused)
{
    EXPECT_EQ(Refusal(), "cannot read : No such file or directory");
    Holds("");
    EXPECT_EQ(Refusal(), " is empty: no run of vyrel-tv");
    for (const char* foreign : {"# a scenario\nremote connect\n", "{}\n", "[1]\n", "{\"format\":\"vyrel-tv ru",
                                "{\"format\":7}\n", "\n", "\x7f\x45LF\x02", "\xff\xfe{\n"}) {
        Holds(foreign);
        EXPECT_EQ(Refusal(), " is no run of vyrel-tv: its first line does not say so") << foreign;
    }
}

TEST_F(RunFile, OfALaterVersionIsRefused)
{
    Holds("{\"format\":\"vyrel-tv run\",\"version\":2}\n");
    EXPECT_EQ(Refusal(), " was written by a later vyrel-tv: its version is 2, this one reads versions up to 1");
    Holds("{\"format\":\"vyrel-tv run\"}\n");
    EXPECT_EQ(Refusal(), " is damaged: its first line names no version");
}

TEST_F(RunFile, ThatIsDamagedIsRefused)
{
    const std::string first = kFirst;
    Holds(first + "{\"id\":1}\n{\"id\":2,\n{\"id\":3}\n");
    EXPECT_EQ(Refusal(), " is damaged: line 3 is no JSON object");
    Holds(first + "{\"id\":1}\n{\"id\":1}\n");
    EXPECT_EQ(Refusal(), " is damaged: two entries have the id 1");
    Holds(first + "{\"id\":1,\"cause\":1}\n");
    EXPECT_EQ(Refusal(), " is damaged: the entry 1 has a cause that came later");
    Holds(first + "{\"id\":9007199254740993}\n");
    EXPECT_THAT(Refusal(), HasSubstr("has a number that is too large"));
    Holds(first + "{\"id\":1,\"at\":9007199254740993}\n");
    EXPECT_THAT(Refusal(), HasSubstr("has a number that is too large"));
    Holds(first + "{}" + '\0' + "{}\n");
    EXPECT_EQ(Refusal(), " is damaged: line 2 is no JSON object");
    Holds(first + std::string(1'000'000, '[') + "\n");
    EXPECT_EQ(Refusal(), " is damaged: line 2 is no JSON object");
}

TEST_F(RunFile, ThatIsAFolderIsRefused)
{
    try {
        run::Read(where);
        ADD_FAILURE();
    } catch (const std::runtime_error& error) {
        EXPECT_THAT(error.what(), HasSubstr(where + " is a folder"));
    }
}

TEST_F(RunFile, SaysWhyItCannotBeWritten)
{
    const auto why = [](const std::string& target) -> std::string {
        try {
            const run::Writer writer(target);
        } catch (const std::runtime_error& error) {
            return error.what();
        }
        return "";
    };
    EXPECT_EQ(why("/dev/full"), "cannot write /dev/full: No space left on device");
    EXPECT_EQ(why(where + "/none/a"), "cannot write " + where + "/none/a: No such file or directory");
    EXPECT_EQ(why(where), "cannot write " + where + ": Is a directory");
}

} // namespace
