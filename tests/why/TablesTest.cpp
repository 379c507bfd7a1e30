// The tables as the build takes them from the pages, and which it refuses.

#include "tv/why/Tables.h"

#include "support/TempDir.h"
#include "tv/why/Conditions.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <exception>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

namespace {

constexpr const char* kFirstPage = "| outcome | it has come when | page | seen in |\n| --- | --- | --- | --- |\n"
                                   "| `light` | it shines | lamp | `call shine() = 0` |\n";
constexpr const char* kHead =
    "## Why not `light`\n\n| way | condition | function | decided by | must be | log when not | seen in |\n"
    "| --- | --- | --- | --- | --- | --- | --- |\n";
constexpr const char* kPressed =
    "| `button` | it is pressed | `OnPress` | `event press` | comes | — | `event press(*` |\n";

class Tables : public ::testing::Test
{
protected:
    void Page(const std::string& name, const std::string& text) const
    {
        std::ofstream(folder.Path() / name) << text;
    }

    /// Why the rows are refused under an honest head, without the folder; empty when they are not.
    [[nodiscard]] std::string Refusal(const std::string& rows) const
    {
        Page("README.md", kFirstPage);
        Page("lamp.md", kHead + rows);
        try {
            why::OutcomesOf(why::ReadTables(folder.Path()));
        } catch (const std::exception& wrong) {
            return wrong.what();
        }
        return "";
    }

    support::TempDir folder{"tables"};
};

TEST_F(Tables, GiveEachWayItsConditionsAndThoseOfEveryWay)
{
    Page("README.md", kFirstPage);
    Page("lamp.md",
         std::string(kHead) + kPressed +
             "| `clock` | it is seven | `OnTime` | `time 7 h` | comes | `not yet` | `fired *` |\n"
             "| `every` | there is power | `Shine` | `platform shine`; `state m_on` | 0 | `dark`, `no power: %d` "
             "| `no log dark` |\n");

    const std::vector<why::Outcome> outcomes = why::OutcomesOf(why::ReadTables(folder.Path()));

    ASSERT_THAT(outcomes, SizeIs(1));
    EXPECT_EQ(outcomes[0].name, "light");
    EXPECT_EQ(outcomes[0].page, "lamp");
    ASSERT_THAT(outcomes[0].ways, SizeIs(2));
    ASSERT_THAT(outcomes[0].ways[1].conditions, SizeIs(2));
    const why::Condition& last = outcomes[0].ways[1].conditions[1];
    EXPECT_EQ(last.condition, "there is power");
    EXPECT_EQ(last.function, "Shine");
    EXPECT_THAT(last.decidedBy, ElementsAre("platform shine", "state m_on"));
    EXPECT_THAT(last.logs, ElementsAre("dark", "no power: %d"));
}

TEST_F(Tables, AreRefusedWhereARowIsMalformed)
{
    EXPECT_THAT(Refusal(kPressed), IsEmpty());
    EXPECT_THAT(Refusal("| `button` | it is pressed | `OnPress` |\n"),
                HasSubstr("lamp.md:5: this row has another number"));
    EXPECT_THAT(Refusal("| `button` | it is pressed | `OnPress` | | comes | — | `event press(*` |\n"),
                HasSubstr("lamp.md:5: a cell is empty"));
    EXPECT_THAT(Refusal("| button | it is pressed | `OnPress` | `event press` | comes | — | `event press(*` |\n"),
                HasSubstr("the first cell is one word in code quotes"));
    EXPECT_THAT(Refusal("| `button` | it is pressed | OnPress | `event press` | comes | — | `event press(*` |\n"),
                HasSubstr("light, button, \"it is pressed\": one function decides"));
    EXPECT_THAT(Refusal("| `button` | it is pressed | `OnPress` | `event press` | comes | — | `evnet press(*` |\n"),
                HasSubstr("light, button, \"it is pressed\": no kind of entry is called \"evnet\""));
}

TEST_F(Tables, AreRefusedWhereAWayCannotBeJudged)
{
    EXPECT_THAT(Refusal(""), HasSubstr("light has no table"));
    EXPECT_THAT(Refusal("| `button` | it is dark | `OnPress` | `event press` | comes | — | `no log bright` |\n"),
                HasSubstr("light, button: nothing that happens begins this way"));
    EXPECT_THAT(Refusal(std::string(kPressed) + kPressed), HasSubstr("\"it is pressed\" stands there twice"));
}

TEST_F(Tables, AreRefusedWhereAnOutcomeIsNotOnTheFirstPage)
{
    Page("README.md", "nothing\n");
    Page("lamp.md", std::string(kHead) + kPressed);

    try {
        why::OutcomesOf(why::ReadTables(folder.Path()));
        ADD_FAILURE() << "they were taken";
    } catch (const std::exception& wrong) {
        EXPECT_THAT(wrong.what(), HasSubstr("light is not among the outcomes of the first page"));
    }
}

TEST(EmbeddedTables, AreThoseOfThePages)
{
    EXPECT_THAT(why::Outcomes(), SizeIs(12));
    ASSERT_NE(why::OutcomeOf("visible"), nullptr);
    EXPECT_EQ(why::OutcomeOf("vissible"), nullptr);
    EXPECT_NE(why::WayOf(*why::OutcomeOf("visible"), "adapter-up"), nullptr);
    EXPECT_EQ(why::WayOf(*why::OutcomeOf("visible"), "every"), nullptr);
}

} // namespace
