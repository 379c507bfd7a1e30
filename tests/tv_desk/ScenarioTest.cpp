// Scenario files, as they are read.

#include "tv/scenario/Scenario.h"

#include "support/TempDir.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

using testing::HasSubstr;

class AScenario : public testing::Test
{
protected:
    std::string File(const std::string& text)
    {
        std::string path = m_folder.Path() / "a-story.tv";
        std::ofstream(path, std::ios::binary) << text;
        return path;
    }
    static std::string Objection(const std::string& file)
    {
        try {
            scenario::Read(file);
            return "";
        } catch (const scenario::Unreadable& unreadable) {
            return unreadable.what();
        }
    }

    support::TempDir m_folder;
};

TEST_F(AScenario, IsReadLineByLineWithoutItsRemarks)
{
    const scenario::Scenario story = scenario::Read(File("# a remark\n\nplug\r\n  wait 1s  \nexpect running"));
    ASSERT_EQ(story.steps.size(), 3U);
    EXPECT_EQ(story.steps[0].number, 3);
    EXPECT_EQ(story.steps[2].number, 5);
    EXPECT_EQ(story.steps[2].text, "expect running");
}

TEST_F(AScenario, NamesEachLineThatNobodyUnderstands)
{
    const std::string file = File("plug\nremot connect\nwait 10\nwithin 1s expct nothing\n");
    const std::string objection = Objection(file);
    EXPECT_THAT(objection, HasSubstr(file + ":2: nobody understands \"remot\"; did you mean \"remote\"?\n"));
    EXPECT_THAT(objection, HasSubstr(file + ":3: \"10\" is not a time"));
    EXPECT_THAT(objection, HasSubstr(file + ":4: nobody understands \"expct\"; did you mean \"expect\"?"));
}

TEST_F(AScenario, ThatCannotBeReadIsToldOf)
{
    EXPECT_EQ(Objection("/nonexistent.tv"), "/nonexistent.tv: it cannot be read: No such file or directory");
    EXPECT_EQ(Objection(m_folder.Path()), m_folder.Path().string() + ": this is a folder; name a file in it");
    const std::string empty = File("# nothing\n");
    EXPECT_EQ(Objection(empty), empty + ": there is nothing in it");
    const std::string binary = File("plug\n\xff\xfe\n");
    EXPECT_EQ(Objection(binary), binary + ":2: this is no UTF-8 text");
    const std::string large = File(std::string((16 << 20) + 1, '#'));
    EXPECT_EQ(Objection(large), large + ": this is too long for a scenario");
}

TEST_F(AScenario, IsCalledAsItsFile)
{
    EXPECT_EQ(scenario::TitleOf("scenarios/an-evening.tv"), "an evening");
}

} // namespace
