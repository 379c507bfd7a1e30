#include "linux/FakeJournal.h"
#include "support/Capture.h"
#include "support/RealTime.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <dlog.h>
#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <cstddef>
#include <initializer_list>
#include <string>
#include <vector>

namespace {

using linux_test::FakeJournal;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::UnorderedElementsAre;

auto Entry(const std::string& priority, const std::string& tag, const std::string& text)
{
    return UnorderedElementsAre(Pair("PRIORITY", priority), Pair("SYSLOG_IDENTIFIER", tag), Pair("MESSAGE", text));
}

/// What comes out of the process's standard error while it lives.
class StandardError
{
public:
    StandardError()
    {
        support::CaptureStderr();
    }
    std::string Text() const
    {
        return support::GetCapturedStderr();
    }
};

TEST(LogTest, ALineReachesTheJournalWithItsTagAndPriority)
{
    FakeJournal journal;
    EXPECT_EQ(__dlog_print(LOG_ID_MAIN, DLOG_DEBUG, "VYREL_LITE", "%s is %d", "one", 1), 8);
    __dlog_print(LOG_ID_MAIN, DLOG_INFO, "VYREL_UTIL", "two");
    __dlog_print(LOG_ID_MAIN, DLOG_WARN, "VYREL_LITE", "three");
    __dlog_print(LOG_ID_MAIN, DLOG_ERROR, "VYREL_LITE", "four");
    EXPECT_THAT(journal.Entries(), ElementsAre(Entry("7", "VYREL_LITE", "one is 1"), Entry("6", "VYREL_UTIL", "two"),
                                               Entry("4", "VYREL_LITE", "three"), Entry("3", "VYREL_LITE", "four")));
}

TEST(LogTest, APriorityBeyondTheKnownOnesIsTheNearest)
{
    FakeJournal journal;
    __dlog_print(LOG_ID_MAIN, DLOG_DEBUG - 1, "T", "low");
    __dlog_print(LOG_ID_MAIN, DLOG_ERROR + 1, "T", "high");
    EXPECT_THAT(journal.Entries(), ElementsAre(Entry("7", "T", "low"), Entry("3", "T", "high")));
}

TEST(LogTest, AnEntryCannotBeForgedByItsText)
{
    FakeJournal journal;
    __dlog_print(LOG_ID_MAIN, DLOG_INFO, "T", "%s", "a name\nPRIORITY=0\n\nMESSAGE=other\n");
    EXPECT_THAT(journal.Entries(), ElementsAre(Entry("6", "T", "a name\nPRIORITY=0\n\nMESSAGE=other\n")));
}

TEST(LogTest, LinesOfAnyLengthArriveWhole)
{
    FakeJournal journal;
    for (const std::size_t length : {0UL, 1UL, 1022UL, 1023UL, 1024UL, 1025UL, 60'000UL}) {
        const std::string text(length, 'x');
        EXPECT_EQ(__dlog_print(LOG_ID_MAIN, DLOG_INFO, "T", "%s", text.c_str()), static_cast<int>(length));
        EXPECT_THAT(journal.Entries(), ElementsAre(Entry("6", "T", text))) << length;
    }
}

TEST(LogTest, ALineThatNoDatagramHoldsIsHandedOverInAFile)
{
    FakeJournal journal;
    const std::string text(3'000'000, 'x');
    EXPECT_EQ(__dlog_print(LOG_ID_MAIN, DLOG_INFO, "T", "%s", text.c_str()), 3'000'000);
    EXPECT_THAT(journal.Entries(), ElementsAre(Entry("6", "T", text)));
}

TEST(LogTest, WithoutAJournalALineGoesToStandardErrorWithItsPriority)
{
    const StandardError error;
    EXPECT_EQ(__dlog_print(LOG_ID_MAIN, DLOG_WARN, "VYREL_LITE", "%s", "no journal here"), 15);
    EXPECT_EQ(error.Text(), "<4>VYREL_LITE: no journal here\n");
}

TEST(LogTest, AJournalThatGoesAndComesBackIsFoundAgain)
{
    FakeJournal journal;
    __dlog_print(LOG_ID_MAIN, DLOG_INFO, "T", "before");
    EXPECT_EQ(journal.Entries().size(), 1U);
    journal.Goes();
    const StandardError error;
    __dlog_print(LOG_ID_MAIN, DLOG_INFO, "T", "while it is away");
    EXPECT_EQ(error.Text(), "<6>T: while it is away\n");
    journal.ComesBack();
    __dlog_print(LOG_ID_MAIN, DLOG_INFO, "T", "after");
    EXPECT_THAT(journal.Entries(), ElementsAre(Entry("6", "T", "after")));
}

TEST(LogTest, AJournalThatDoesNotReadCostsItsPatienceOnceAndIsToldWhatItMissed)
{
    FakeJournal journal;
    const auto start = support::RealTime::Now();
    int taken = 0;
    int lost = 0;
    // Far more than a socket's queue holds; each wait would be 100 ms.
    for (int line = 0; line < 5000; ++line) {
        ++(__dlog_print(LOG_ID_MAIN, DLOG_INFO, "T", "line") >= 0 ? taken : lost);
    }
    EXPECT_GT(taken, 0);
    ASSERT_GT(lost, 50);
    EXPECT_LT((support::RealTime::Now() - start).count(), 100 * lost / 4);

    EXPECT_EQ(journal.Entries().size(), static_cast<std::size_t>(taken));
    __dlog_print(LOG_ID_MAIN, DLOG_INFO, "T", "it reads again");
    EXPECT_THAT(
        journal.Entries(),
        ElementsAre(Entry("6", "T", "it reads again"),
                    Entry("4", "VYREL_PLATFORM", std::to_string(lost) + " lines were lost: the journal did not read")));
}

TEST(LogTest, WhatMakesNoLineIsRefused)
{
    FakeJournal journal;
    // Asked in a way in which the compiler does not look at the format.
    int (*const print)(int, int, const char*, const char*, ...) = __dlog_print;
    EXPECT_LT(print(LOG_ID_MAIN, DLOG_INFO, nullptr, "text"), 0);
    EXPECT_LT(print(LOG_ID_MAIN, DLOG_INFO, "T", nullptr), 0);
    EXPECT_LT(__dlog_print(LOG_ID_MAIN + 1, DLOG_INFO, "T", "text"), 0);
    EXPECT_THAT(journal.Entries(), IsEmpty());
}

} // namespace
