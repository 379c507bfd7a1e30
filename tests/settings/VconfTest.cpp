// The store in the terms of the platform's settings functions.

#include "settings/Vconf.h"

#include "StoreFixture.h"
#include "settings/Store.h"
#include "settings/Value.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

namespace settings {
namespace {

using VconfTest = StoreFixture;
using ::testing::ElementsAre;

struct Free
{
    void operator()(char* text) const
    {
        std::free(text);
    }
};
using Text = std::unique_ptr<char, Free>;

TEST_F(VconfTest, AStringIsACopyOfTheCallersOrNull)
{
    Vconf vconf(m_folders);
    EXPECT_EQ(Text(vconf.GetStr("db/key")), nullptr);
    EXPECT_EQ(vconf.SetStr("db/key", "Living \xff room"), kOk);
    EXPECT_STREQ(Text(vconf.GetStr("db/key")).get(), "Living \xff room");
    EXPECT_EQ(vconf.SetInt("db/key", 1), kOk);
    EXPECT_EQ(Text(vconf.GetStr("db/key")), nullptr);
    EXPECT_EQ(Text(vconf.GetStr(nullptr)), nullptr);
    EXPECT_EQ(vconf.SetStr("db/key", nullptr), kFailed);
    EXPECT_EQ(vconf.SetStr(nullptr, "x"), kFailed);
}

TEST_F(VconfTest, ABoolIsReadAsZeroOrOne)
{
    Vconf vconf(m_folders);
    int value = 7;
    EXPECT_EQ(vconf.GetBool("db/key", &value), kNotFound);
    EXPECT_EQ(vconf.SetInt("db/key", 1), kOk);
    EXPECT_EQ(vconf.GetBool("db/key", &value), kWrongType);
    EXPECT_EQ(value, 7);
    EXPECT_EQ(vconf.SetBool("db/key", 2), kOk);
    EXPECT_EQ(vconf.GetBool("db/key", &value), kOk);
    EXPECT_EQ(value, 1);
    EXPECT_EQ(vconf.SetBool("db/key", 0), kOk);
    EXPECT_EQ(vconf.GetBool("db/key", &value), kOk);
    EXPECT_EQ(value, 0);
    EXPECT_EQ(vconf.GetBool("db/key", nullptr), kFailed);
}

TEST_F(VconfTest, AnIntIsReadStraightIntoTheOutput)
{
    Vconf vconf(m_folders);
    int value = 7;
    EXPECT_EQ(vconf.GetInt("db/key", &value), kNotFound);
    EXPECT_EQ(vconf.SetBool("db/key", 1), kOk);
    EXPECT_EQ(vconf.GetInt("db/key", &value), kWrongType);
    EXPECT_EQ(value, 7);
    EXPECT_EQ(vconf.SetInt("db/key", -3), kOk);
    EXPECT_EQ(vconf.GetInt("db/key", &value), kOk);
    EXPECT_EQ(value, -3);
}

TEST_F(VconfTest, AsynchronousWritesHoldAndTell)
{
    static std::vector<std::string> told;
    const DoneFunction done = [](int result, const char* key, void*) {
        told.push_back(std::string(key) + " " + std::to_string(result));
    };
    told.clear();
    Vconf vconf(m_folders);
    EXPECT_EQ(vconf.SetStrAsync("db/string", "x", done, nullptr), kOk);
    EXPECT_EQ(vconf.SetBoolAsync("db/bool", 1, done, nullptr), kOk);
    EXPECT_EQ(vconf.SetIntAsync("db/int", 5, done, nullptr), kOk);
    EXPECT_EQ(vconf.SetIntAsync("db/quiet", 6, nullptr, nullptr), kOk);
    EXPECT_EQ(vconf.SetStrAsync("db/string", nullptr, done, nullptr), kFailed);
    EXPECT_EQ(vconf.SetIntAsync(nullptr, 5, done, nullptr), kFailed);
    EXPECT_TRUE(told.empty());
    RunWhatIsDue();
    EXPECT_THAT(told, ElementsAre("db/string 0", "db/bool 0", "db/int 0"));
    int value = 0;
    EXPECT_STREQ(Text(vconf.GetStr("db/string")).get(), "x");
    EXPECT_EQ(vconf.GetBool("db/bool", &value), kOk);
    EXPECT_EQ(vconf.GetInt("db/quiet", &value), kOk);
    EXPECT_EQ(value, 6);
}

TEST_F(VconfTest, ChangesAreToldUntilIgnored)
{
    Vconf vconf(m_folders);
    Recorder recorder;
    EXPECT_EQ(vconf.IgnoreKeyChanged("db/key", &Recorder::OnChange), kFailed);
    EXPECT_EQ(vconf.NotifyKeyChanged("db/key", &Recorder::OnChange, &recorder), kOk);
    vconf.SetInt("db/key", 1);
    RunWhatIsDue();
    EXPECT_EQ(vconf.IgnoreKeyChanged("db/key", &Recorder::OnChange), kOk);
    vconf.SetInt("db/key", 2);
    RunWhatIsDue();
    EXPECT_THAT(recorder.notices, ElementsAre("db/key=1"));
    EXPECT_EQ(vconf.Underlying().Unset("db/key"), kOk);
}

} // namespace
} // namespace settings
