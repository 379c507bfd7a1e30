// The command vyrel-settings, as a shell runs it.

#include "StoreFixture.h"
#include "settings/Locations.h"
#include "settings/Store.h"
#include "settings/Value.h"
#include "vyrel-settings/Options.h"

#include <glib.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace settings {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

struct Outcome
{
    int status = -1;
    std::string output;
    std::string error;
};

std::vector<char*> Arguments(std::vector<std::string>& words)
{
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    return arguments;
}

Outcome RunProgram(std::vector<std::string> words)
{
    gchar* output = nullptr;
    gchar* error = nullptr;
    int status = -1;
    if (g_spawn_sync(nullptr, Arguments(words).data(), nullptr, G_SPAWN_DEFAULT, nullptr, nullptr, &output, &error,
                     &status, nullptr) == FALSE) {
        ADD_FAILURE() << words.front() << " cannot be started";
        return {};
    }
    Outcome outcome{WIFEXITED(status) ? WEXITSTATUS(status) : -1, output, error};
    g_free(output);
    g_free(error);
    return outcome;
}

Outcome RunCommand(std::vector<std::string> words)
{
    words.insert(words.begin(), VYREL_SETTINGS_COMMAND);
    return RunProgram(words);
}

// With its output redirected as a shell does it: "> /dev/full".
Outcome RunRedirected(const std::string& redirection, std::vector<std::string> words)
{
    words.insert(words.begin(), {"/bin/sh", "-c", "exec \"$0\" \"$@\" " + redirection, VYREL_SETTINGS_COMMAND});
    return RunProgram(words);
}

// "vyrel-settings watch" in a process of its own.
class WatchingCommand
{
public:
    explicit WatchingCommand(std::vector<std::string> words)
    {
        words.insert(words.begin(), VYREL_SETTINGS_COMMAND);
        int output = -1;
        int error = -1;
        EXPECT_TRUE(g_spawn_async_with_pipes(nullptr, Arguments(words).data(), nullptr, G_SPAWN_DO_NOT_REAP_CHILD,
                                             nullptr, nullptr, &m_id, nullptr, &output, &error, nullptr));
        m_output.reset(fdopen(output, "r"));
        m_error.reset(fdopen(error, "r"));
        EXPECT_EQ(ReadLine(m_error.get()), "watching\n");
    }
    ~WatchingCommand()
    {
        End(SIGKILL);
    }
    WatchingCommand(const WatchingCommand&) = delete;
    WatchingCommand& operator=(const WatchingCommand&) = delete;

    std::string ReadNotice()
    {
        return ReadLine(m_output.get());
    }
    void CloseOutput()
    {
        m_output.reset();
    }

    // Sends a signal (0: none) and gives the exit status.
    int End(int signal)
    {
        int status = -1;
        if (m_id > 0) {
            kill(m_id, signal);
            waitpid(std::exchange(m_id, 0), &status, 0);
        }
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

private:
    struct Close
    {
        void operator()(FILE* file) const
        {
            std::fclose(file);
        }
    };
    using File = std::unique_ptr<FILE, Close>;

    static std::string ReadLine(FILE* file)
    {
        char line[1024];
        return file != nullptr && std::fgets(line, sizeof line, file) != nullptr ? line : "";
    }

    GPid m_id = 0;
    File m_output;
    File m_error;
};

class CommandTest : public StoreFixture
{
protected:
    Outcome Run(std::vector<std::string> words) const
    {
        words.insert(words.begin(), {"--root", m_root});
        return RunCommand(words);
    }
};

TEST_F(CommandTest, WhatIsSetIsPrinted)
{
    EXPECT_EQ(Run({"set", "db/int", "--int", "-5"}).status, 0);
    EXPECT_EQ(Run({"set", "db/bool", "--bool", "true"}).status, 0);
    EXPECT_EQ(Run({"set", "memory/string", "--string", "--dashes and\ttab"}).status, 0);
    EXPECT_EQ(Run({"get", "db/int"}).output, "-5\n");
    EXPECT_EQ(Run({"get", "db/bool"}).output, "true\n");
    EXPECT_EQ(Run({"get", "memory/string"}).output, "--dashes and\ttab\n");
    EXPECT_EQ(Run({"get", "db/int", "--type"}).output, "int\n");
    EXPECT_EQ(Run({"get", "db/bool", "--type"}).output, "bool\n");
    EXPECT_EQ(Run({"get", "memory/string", "--type"}).output, "string\n");
    Store store(m_folders);
    int number = 0;
    EXPECT_EQ(store.GetInt("db/int", &number), kOk);
    EXPECT_EQ(number, -5);
}

TEST_F(CommandTest, AMissingValueIsStatusOne)
{
    for (const char* action : {"get", "unset"}) {
        const Outcome outcome = Run({action, "db/missing"});
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.output, "");
        EXPECT_EQ(outcome.error, "vyrel-settings: db/missing holds no value\n");
    }
    EXPECT_EQ(Run({"get", "Not available any more"}).status, 1);
}

TEST_F(CommandTest, AnotherTypeIsStatusThree)
{
    ASSERT_EQ(Run({"set", "db/key", "--int", "5"}).status, 0);
    EXPECT_EQ(Run({"get", "db/key", "--int"}).output, "5\n");
    const Outcome outcome = Run({"get", "db/key", "--bool"});
    EXPECT_EQ(outcome.status, 3);
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(outcome.error, "vyrel-settings: db/key is of type int\n");
    EXPECT_EQ(Run({"get", "db/key", "--string"}).status, 3);
}

TEST_F(CommandTest, AStoreThatCannotBeUsedIsStatusFour)
{
    std::filesystem::create_directories(PersistentFile());
    for (const std::vector<std::string>& words : std::vector<std::vector<std::string>>{
             {"get", "db/key"}, {"set", "db/key", "--int", "1"}, {"unset", "db/key"}, {"list"}, {"watch", "db/key"}}) {
        const Outcome outcome = Run(words);
        EXPECT_EQ(outcome.status, 4) << words[0];
        EXPECT_EQ(outcome.error, "settings: cannot open " + PersistentFile() + ": unable to open database file\n" +
                                     "vyrel-settings: the store cannot be used\n")
            << words[0];
    }
}

TEST_F(CommandTest, AWrongCommandLineIsStatusTwo)
{
    for (const std::vector<std::string>& words :
         std::vector<std::vector<std::string>>{{},
                                               {"fetch", "db/key"},
                                               {"get"},
                                               {"get", "db/a", "db/b"},
                                               {"get", "db/a", "--typo"},
                                               {"get", "db/a", "--count", "1"},
                                               {"set", "db/a"},
                                               {"set", "--int", "1"},
                                               {"set", "db/a", "--int"},
                                               {"set", "db/a", "--int", ""},
                                               {"set", "db/a", "--int", "1x"},
                                               {"set", "db/a", "--int", "2147483648"},
                                               {"set", "db/a", "--bool", "yes"},
                                               {"set", "db/a", "--int", "1", "--bool", "true"},
                                               {"set", "db/a", "--int", "1", "--type"},
                                               {"set", "elsewhere/a", "--int", "1"},
                                               {"unset"},
                                               {"unset", "db/a", "--int", "1"},
                                               {"list", "db/", "memory/"},
                                               {"watch"},
                                               {"watch", "elsewhere/a"},
                                               {"watch", "db/a", "--count", "0"},
                                               {"watch", "db/a", "--timeout", "-1"},
                                               {"watch", "db/a", "--timeout"}}) {
        const Outcome outcome = Run(words);
        EXPECT_EQ(outcome.status, 2) << ::testing::PrintToString(words);
        EXPECT_EQ(outcome.output, "") << ::testing::PrintToString(words);
        EXPECT_THAT(outcome.error, StartsWith("vyrel-settings: ")) << ::testing::PrintToString(words);
        EXPECT_THAT(outcome.error, HasSubstr("--help")) << ::testing::PrintToString(words);
    }
    EXPECT_FALSE(std::filesystem::exists(m_folders.persistent));
}

TEST_F(CommandTest, AnOutputThatCannotBeWrittenIsStatusFour)
{
    ASSERT_EQ(Run({"set", "db/key", "--int", "5"}).status, 0);
    const std::vector<std::vector<std::string>> actions = {
        {"get", "db/key"}, {"get", "db/key", "--type"}, {"list"}, {"--help"}};
    for (std::vector<std::string> words : actions) {
        words.insert(words.begin(), {"--root", m_root});
        const Outcome full = RunRedirected("> /dev/full", words);
        EXPECT_EQ(full.status, 4) << ::testing::PrintToString(words);
        EXPECT_EQ(full.error, "vyrel-settings: cannot write the output: No space left on device\n");
        const Outcome closed = RunRedirected(">&-", words);
        EXPECT_EQ(closed.status, 4) << ::testing::PrintToString(words);
        EXPECT_EQ(closed.error, "vyrel-settings: cannot write the output: Bad file descriptor\n");
    }
}

TEST_F(CommandTest, AWatchWhoseOutputCannotBeWrittenEndsWithStatusFour)
{
    // The command watches already when it says so, and only then lets the writer go on.
    const Outcome outcome = RunProgram(
        {"/bin/sh", "-c",
         R"({ "$0" --root "$1" watch db/key --timeout 10 > /dev/full; echo $? >&2; } 2>&1 | while read -r line; do
                echo "$line"; [ "$line" != watching ] || "$0" --root "$1" set db/key --int 5
            done)",
         VYREL_SETTINGS_COMMAND, m_root});
    EXPECT_EQ(outcome.output, "watching\nvyrel-settings: cannot write the output: No space left on device\n4\n");
}

TEST_F(CommandTest, AReaderThatWentAwayHasAllItWanted)
{
    ASSERT_EQ(Run({"set", "db/key", "--string", std::string(100'000, 'x')}).status, 0);
    // More than a pipe holds, so that the reader is surely gone.
    const Outcome outcome = RunProgram(
        {"/bin/sh", "-c", R"({ "$0" --root "$1" list; echo $? >&2; } | true)", VYREL_SETTINGS_COMMAND, m_root});
    EXPECT_EQ(outcome.error, "0\n");
}

TEST_F(CommandTest, AValueMayFollowAnEqualsSign)
{
    EXPECT_EQ(RunCommand({"--root=" + m_root, "set", "db/int", "--int=-5"}).status, 0);
    EXPECT_EQ(RunCommand({"get", "db/int", "--root=" + m_root}).output, "-5\n");
    for (const char* text : {"", "a=b", "=", "--", "--root", "--root=", "{}", "[a,b]", "%%", "\"q\""}) {
        EXPECT_EQ(Run({"set", "db/string", std::string("--string=") + text}).status, 0) << text;
        EXPECT_EQ(Run({"get", "db/string"}).output, std::string(text) + "\n");
        EXPECT_EQ(Run({"set", "db/apart", "--string", text}).status, 0) << text;
        EXPECT_EQ(Run({"get", "db/apart"}).output, std::string(text) + "\n");
    }
    EXPECT_EQ(Run({"set", "db/int", "--int=", "5"}).status, 2);
    EXPECT_EQ(Run({"get", "db/int", "--int=5"}).status, 2);
    EXPECT_EQ(Run({"get", "db/int", "--type=false"}).status, 2);
}

TEST_F(CommandTest, WhatFollowsTwoDashesIsNoOption)
{
    EXPECT_EQ(Run({"set", "--int", "5", "--", "db/key"}).status, 0);
    EXPECT_EQ(Run({"get", "--", "db/key"}).output, "5\n");
    EXPECT_EQ(Run({"list", "--", "db/"}).output, "db/key\tint\t5\n");
    EXPECT_EQ(Run({"get", "--", "--type"}).error, "vyrel-settings: --type holds no value\n");
    EXPECT_EQ(Run({"get", "db/key", "--", "--type"}).status, 2);
    EXPECT_EQ(Run({"unset", "--", "db/key"}).status, 0);
    EXPECT_EQ(Run({"watch", "--timeout=1", "--", "db/key", "db/other"}).status, 0);
}

TEST_F(CommandTest, ANumberIsDecimalWhateverItBeginsWith)
{
    EXPECT_EQ(Run({"set", "db/key", "--int", "010"}).status, 0);
    EXPECT_EQ(Run({"get", "db/key"}).output, "10\n");
    EXPECT_EQ(Run({"set", "db/key", "--int", "0x10"}).status, 2);
    EXPECT_EQ(Run({"set", "db/key", "--int", "true"}).status, 2);
}

// A system whose pages are large passes arguments of this size; what is asked here is the parser itself.
TEST(CommandLineTest, AValueOrAKeyOverOneMebibyteIsRefused)
{
    constexpr std::size_t kMebibyte = 1'048'576;
    std::string error;
    const std::optional<command::Options> longest =
        command::ParseOptions({"set", "db/key", "--string", std::string(kMebibyte, 'x')}, error);
    ASSERT_TRUE(longest.has_value());
    EXPECT_TRUE(longest->value == Value(std::string(kMebibyte, 'x')));
    EXPECT_FALSE(command::ParseOptions({"set", "db/key", "--string", std::string(kMebibyte + 1, 'x')}, error));
    EXPECT_EQ(error, "\"db/key\" cannot be kept: the value has 1048577 bytes, more than 1048576");
    EXPECT_FALSE(command::ParseOptions({"watch", "db/" + std::string(kMebibyte, 'k')}, error));
    EXPECT_EQ(error,
              "\"db/" + std::string(97, 'k') + "\" cannot be kept: the key has 1048579 bytes, more than 1048576");
}

TEST_F(CommandTest, HelpIsStatusZeroAndTouchesNoStore)
{
    for (const std::vector<std::string>& words :
         std::vector<std::vector<std::string>>{{"--help"}, {"-h"}, {"get", "--help"}}) {
        const Outcome outcome = Run(words);
        EXPECT_EQ(outcome.status, 0);
        EXPECT_THAT(outcome.output, StartsWith("usage: vyrel-settings"));
        EXPECT_THAT(outcome.output, HasSubstr("exit status:"));
        EXPECT_EQ(outcome.error, "");
    }
    EXPECT_FALSE(std::filesystem::exists(m_folders.persistent));
}

TEST_F(CommandTest, UnsetRemovesTheValue)
{
    ASSERT_EQ(Run({"set", "db/key", "--int", "5"}).status, 0);
    EXPECT_EQ(Run({"unset", "db/key"}).status, 0);
    EXPECT_EQ(Run({"get", "db/key"}).status, 1);
}

TEST_F(CommandTest, ListPrintsOneLineASetting)
{
    ASSERT_EQ(Run({"set", "db/b", "--int", "5"}).status, 0);
    ASSERT_EQ(Run({"set", "db/a", "--string", "two\nlines\tand \\ \x01\x7f"}).status, 0);
    ASSERT_EQ(Run({"set", "memory/c", "--bool", "false"}).status, 0);
    EXPECT_EQ(Run({"list"}).output, "db/a\tstring\ttwo\\nlines\\tand \\\\ \\x01\\x7f\n"
                                    "db/b\tint\t5\n"
                                    "memory/c\tbool\tfalse\n");
    EXPECT_EQ(Run({"list", "memory/"}).output, "memory/c\tbool\tfalse\n");
    EXPECT_EQ(Run({"list", "db/z"}).output, "");
    EXPECT_EQ(Run({"list", "db/z"}).status, 0);
}

TEST_F(CommandTest, TheTwoFoldersCanBeNamedOneByOne)
{
    const std::vector<std::string> places = {"--persistent", m_root + "/p", "--memory", m_root + "/m"};
    const auto run = [&places](std::vector<std::string> words) {
        words.insert(words.begin(), places.begin(), places.end());
        return RunCommand(words);
    };
    EXPECT_EQ(run({"set", "db/key", "--int", "1"}).status, 0);
    EXPECT_EQ(run({"set", "memory/key", "--int", "2"}).status, 0);
    Store store({m_root + "/p", m_root + "/m"});
    int number = 0;
    EXPECT_EQ(store.GetInt("db/key", &number), kOk);
    EXPECT_EQ(store.GetInt("memory/key", &number), kOk);
    EXPECT_EQ(number, 2);
}

TEST_F(CommandTest, WatchPrintsEveryWriteUntilASignal)
{
    for (const int signal : {SIGINT, SIGTERM}) {
        WatchingCommand command({"--root", m_root, "watch", "db/a", "memory/b"});
        Store store(m_folders);
        store.Set("db/a", 1);
        store.Set("memory/b", std::string("x\ny"));
        store.Set("db/other", 2);
        store.Set("db/a", 1);
        EXPECT_EQ(command.ReadNotice(), "db/a\tint\t1\n");
        EXPECT_EQ(command.ReadNotice(), "memory/b\tstring\tx\\ny\n");
        EXPECT_EQ(command.ReadNotice(), "db/a\tint\t1\n");
        EXPECT_EQ(command.End(signal), 0);
    }
}

TEST_F(CommandTest, WatchEndsAfterTheWritesAskedFor)
{
    WatchingCommand command({"--root", m_root, "watch", "db/a", "--count", "2"});
    Store store(m_folders);
    for (int number = 1; number <= 3; ++number) {
        store.Set("db/a", number);
    }
    EXPECT_EQ(command.ReadNotice(), "db/a\tint\t1\n");
    EXPECT_EQ(command.ReadNotice(), "db/a\tint\t2\n");
    EXPECT_EQ(command.ReadNotice(), "");
    EXPECT_EQ(command.End(0), 0);
}

TEST_F(CommandTest, WatchEndsWithItsReader)
{
    WatchingCommand command({"--root", m_root, "watch", "db/a"});
    command.CloseOutput();
    Store store(m_folders);
    store.Set("db/a", 1);
    EXPECT_EQ(command.End(0), 0);
}

TEST_F(CommandTest, TheTimeOutIsStatusOneOnlyWhenWritesWereAskedFor)
{
    const Outcome asked = Run({"watch", "db/a", "--count", "1", "--timeout", "1"});
    EXPECT_EQ(asked.status, 1);
    EXPECT_EQ(Run({"watch", "db/a", "--timeout", "1"}).status, 0);
}

} // namespace
} // namespace settings
