#include "VconfUtil.h"

#include "VconfKeyId.h"
#include "sim/Settings.h"
#include "sim/Tape.h"
#include "sim/Television.h"
#include "support/MainLoop.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vconf.h>

#include <optional>
#include <string>
#include <type_traits>
#include <vector>

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;
using Util::VconfUtil;

namespace {

constexpr int kText = VconfKey::DB_VYREL_LAST_BTSPK_NAME;
constexpr int kBool = VconfKey::DB_VYREL_QUORIX_AUDIO_COMPATIBILITY;
constexpr int kInt = VconfKey::DB_MENU_SUPPORT_USE_MODE;

/// Calls and log lines in their order.
std::vector<std::string> Story(const sim::Television& tv)
{
    std::vector<std::string> story;
    for (const sim::Entry& entry : tv.tape.Entries()) {
        story.push_back(entry.kind == sim::Kind::Log ? std::string(1, sim::PriorityLetter(entry.priority)) + " " +
                                                           entry.tag + " " + entry.message
                                                     : entry.text);
    }
    return story;
}

TEST(VconfUtil, ReadsAText)
{
    sim::Television tv;
    tv.settings.Writes("db/vyrel/last_btspk_name", "Kitchen 100%");
    tv.tape.Clear();
    std::string value = "before";
    VconfUtil::GetVconf(kText, value);
    EXPECT_EQ(value, "Kitchen 100%");
    EXPECT_THAT(Story(tv), ElementsAre(R"(vconf_get_str("db/vyrel/last_btspk_name") = "Kitchen 100%")",
                                       "D VYREL_UTIL key : db/vyrel/last_btspk_name, value : Kitchen 100%"));
}

TEST(VconfUtil, ReadsABool)
{
    sim::Television tv;
    tv.settings.Writes("db/vyrel/quorix_audio_compatibility", true);
    tv.tape.Clear();
    bool value = false;
    VconfUtil::GetVconf(kBool, value);
    EXPECT_TRUE(value);
    EXPECT_THAT(Story(tv), ElementsAre(R"(vconf_get_bool("db/vyrel/quorix_audio_compatibility") = 0 -> 1)",
                                       "D VYREL_UTIL key : db/vyrel/quorix_audio_compatibility, value : 1"));

    tv.settings.Writes("db/vyrel/quorix_audio_compatibility", false);
    VconfUtil::GetVconf(kBool, value);
    EXPECT_FALSE(value);
}

TEST(VconfUtil, ReadsAnInt)
{
    sim::Television tv;
    tv.settings.Writes("db/menu/support/use_mode", -7);
    tv.tape.Clear();
    int value = 3;
    VconfUtil::GetVconf(kInt, value);
    EXPECT_EQ(value, -7);
    EXPECT_THAT(Story(tv), ElementsAre(R"(vconf_get_int("db/menu/support/use_mode") = 0 -> -7)",
                                       "D VYREL_UTIL key : db/menu/support/use_mode, value : -7"));
}

TEST(VconfUtil, AFailedReadLeavesTheDefault)
{
    sim::Television tv;
    std::string text = "default";
    bool flag = true;
    int number = 42;
    VconfUtil::GetVconf(kText, text);
    VconfUtil::GetVconf(kBool, flag);
    VconfUtil::GetVconf(kInt, number);
    EXPECT_EQ(text, "default");
    EXPECT_TRUE(flag);
    EXPECT_EQ(number, 42);
    EXPECT_THAT(tv.tape.Messages(true), ElementsAre("E fail to get vconfkey db/vyrel/last_btspk_name[2]",
                                                    "E fail to get vconfkey db/vyrel/quorix_audio_compatibility[130]",
                                                    "E fail to get vconfkey db/menu/support/use_mode[21]"));
}

TEST(VconfUtil, ASettingOfAnotherTypeIsAFailedRead)
{
    sim::Television tv;
    tv.settings.Writes("db/menu/support/use_mode", "5");
    tv.settings.Writes("db/vyrel/last_btspk_name", 5);
    int number = 42;
    std::string text = "default";
    bool flag = true;
    VconfUtil::GetVconf(kInt, number);
    VconfUtil::GetVconf(kText, text);
    VconfUtil::GetVconf(kInt, flag);
    EXPECT_EQ(number, 42);
    EXPECT_EQ(text, "default");
    EXPECT_TRUE(flag);
}

TEST(VconfUtil, WritesEachTypeAsItself)
{
    sim::Television tv;
    VconfUtil::SetVconf(kText, std::string(" "));
    VconfUtil::SetVconf(kBool, true);
    VconfUtil::SetVconf(kInt, 1);
    EXPECT_THAT(Story(tv), ElementsAre(R"(vconf_set_str("db/vyrel/last_btspk_name", " ") = 0)",
                                       "D VYREL_UTIL key : db/vyrel/last_btspk_name, value :  ",
                                       R"(vconf_set_bool("db/vyrel/quorix_audio_compatibility", true) = 0)",
                                       "D VYREL_UTIL key : db/vyrel/quorix_audio_compatibility, value : 1",
                                       R"(vconf_set_int("db/menu/support/use_mode", 1) = 0)",
                                       "D VYREL_UTIL key : db/menu/support/use_mode, value : 1"));
    EXPECT_EQ(tv.settings.Text("db/vyrel/last_btspk_name"), " ");
    EXPECT_EQ(tv.settings.Bool("db/vyrel/quorix_audio_compatibility"), true);
    EXPECT_EQ(tv.settings.Int("db/menu/support/use_mode"), 1);
}

TEST(VconfUtil, AFailedWriteIsLogged)
{
    sim::Television tv;
    tv.Fails("vconf_set_str", -1);
    tv.Fails("vconf_set_bool", -1);
    tv.Fails("vconf_set_int", -1);
    VconfUtil::SetVconf(kText, std::string("x"));
    VconfUtil::SetVconf(kBool, true);
    VconfUtil::SetVconf(kInt, 1);
    EXPECT_THAT(tv.tape.Messages(true), ElementsAre("E fail to vconfkey db/vyrel/last_btspk_name[2]",
                                                    "E fail to set vconfkey db/vyrel/quorix_audio_compatibility[130]",
                                                    "E fail to vconfkey db/menu/support/use_mode[21]"));
}

TEST(VconfUtil, AnAsynchronousWriteIsAnnouncedAtErrorPriority)
{
    sim::Television tv;
    VconfUtil::SetVconfAsync(kText, std::string("x"));
    VconfUtil::SetVconfAsync(kBool, false);
    VconfUtil::SetVconfAsync(kInt, 9);
    EXPECT_THAT(Story(tv), ElementsAre("E VYREL_UTIL set db/vyrel/last_btspk_name to x async",
                                       R"(vconf_set_str_async("db/vyrel/last_btspk_name", "x") = 0)",
                                       "D VYREL_UTIL key : db/vyrel/last_btspk_name, value : x",
                                       "E VYREL_UTIL set db/vyrel/quorix_audio_compatibility to 0 async",
                                       R"(vconf_set_bool_async("db/vyrel/quorix_audio_compatibility", false) = 0)",
                                       "D VYREL_UTIL key : db/vyrel/quorix_audio_compatibility, value : 0",
                                       "E VYREL_UTIL set db/menu/support/use_mode to 9 async",
                                       R"(vconf_set_int_async("db/menu/support/use_mode", 9) = 0)",
                                       "D VYREL_UTIL key : db/menu/support/use_mode, value : 9"));
    EXPECT_TRUE(support::IterateUntil([&] { return tv.settings.Int("db/menu/support/use_mode") == 9; }));
}

TEST(VconfUtil, ATruthIsWrittenAsynchronouslyAsItself)
{
    sim::Television tv;
    VconfUtil::SetVconfAsync(kBool, true);
    EXPECT_THAT(tv.tape.Calls({"vconf_set_bool_async"}),
                ElementsAre(R"(vconf_set_bool_async("db/vyrel/quorix_audio_compatibility", true) = 0)"));
    EXPECT_TRUE(support::IterateUntil([&] { return tv.settings.Bool("db/vyrel/quorix_audio_compatibility") == true; }));
}

TEST(VconfUtil, AnAsynchronousWriteThatDoesNotStartIsLogged)
{
    sim::Television tv;
    tv.Fails("vconf_set_str_async", -1);
    tv.Fails("vconf_set_bool_async", -1);
    tv.Fails("vconf_set_int_async", -1);
    VconfUtil::SetVconfAsync(kText, std::string("x"));
    VconfUtil::SetVconfAsync(kBool, true);
    VconfUtil::SetVconfAsync(kInt, 9);
    EXPECT_THAT(tv.tape.Messages(true), ElementsAre("E set db/vyrel/last_btspk_name to x async",
                                                    "E fail to vconfkey db/vyrel/last_btspk_name[2]",
                                                    "E set db/vyrel/quorix_audio_compatibility to 1 async",
                                                    "E fail to set vconfkey db/vyrel/quorix_audio_compatibility[130]",
                                                    "E set db/menu/support/use_mode to 9 async",
                                                    "E fail to vconfkey db/menu/support/use_mode[21]"));
}

TEST(VconfUtil, TheRetiredIdReadsAKeyThatDoesNotExist)
{
    sim::Television tv;
    std::string value = "default";
    VconfUtil::GetVconf(79, value);
    EXPECT_EQ(value, "default");
    EXPECT_THAT(Story(tv), ElementsAre(R"(vconf_get_str("Not available any more") = null)",
                                       "E VYREL_UTIL fail to get vconfkey Not available any more[79]"));
}

TEST(VconfUtil, TwoIdsShareOneKey)
{
    sim::Television tv;
    VconfUtil::SetVconf(48, 17);
    int value = 0;
    VconfUtil::GetVconf(103, value);
    EXPECT_EQ(value, 17);
}

TEST(VconfUtil, AWatchIsLoggedToldOfWritesAndEnded)
{
    sim::Television tv;
    static std::vector<int> values;
    const auto record = [](keynode_t* node, void*) { values.push_back(vconf_keynode_get_int(node)); };

    EXPECT_EQ(VconfUtil::AddVconfChangedCb(kInt, record, nullptr), 0);
    tv.settings.Writes("db/menu/support/use_mode", 1);
    EXPECT_TRUE(support::IterateUntil([] { return !values.empty(); }));
    EXPECT_EQ(VconfUtil::RemoveVconfChangedCb(kInt, record), 0);
    tv.settings.Writes("db/menu/support/use_mode", 2);
    support::DrainMainLoop();

    EXPECT_THAT(values, ElementsAre(1));
    EXPECT_THAT(tv.tape.Messages(true), ElementsAre("D Add vconf key callback db/menu/support/use_mode[21]",
                                                    "D Remove vconf key callback db/menu/support/use_mode[21]"));
    EXPECT_THAT(tv.tape.Calls({"vconf_notify", "vconf_ignore"}),
                ElementsAre(R"(vconf_notify_key_changed("db/menu/support/use_mode") = 0)",
                            R"(vconf_ignore_key_changed("db/menu/support/use_mode") = 0)"));
}

TEST(VconfUtil, PassesThePlatformsResultOfAWatchOn)
{
    sim::Television tv;
    tv.Fails("vconf_notify_key_changed", -77);
    tv.Fails("vconf_ignore_key_changed", -78);
    const auto nothing = [](keynode_t*, void*) {};
    EXPECT_EQ(VconfUtil::AddVconfChangedCb(kInt, nothing, nullptr), -77);
    EXPECT_EQ(VconfUtil::RemoveVconfChangedCb(kInt, nothing), -78);
}

template <typename Value>
concept Writable = requires(Value value)
{
    VconfUtil::SetVconf(0, value);
};

TEST(VconfUtil, ALiteralIsNoBool)
{
    static_assert(!Writable<const char*>);
    static_assert(Writable<std::string> && Writable<bool> && Writable<int>);
    SUCCEED();
}

} // namespace
