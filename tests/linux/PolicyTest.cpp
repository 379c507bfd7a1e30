// Who may reach the platform, as the bus policy that is shipped has it.

#include "linux/Root.h"
#include "linux/Stranger.h"
#include "support/MainLoop.h"
#include "support/PrivateBus.h"

#include <glib.h>
#include <gtest/gtest.h>

#include <device_power.h>

#include <cstddef>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

namespace {

using linux_test::Stranger;

constexpr const char* kDenied = "org.freedesktop.DBus.Error.AccessDenied";

/// The rules for those of whom the policy says nothing else, made to hold for everybody, since a test cannot be two
/// users.
std::string RulesForEverybodyElse()
{
    std::ifstream file(VYREL_POLICY);
    std::ostringstream text;
    text << file.rdbuf();
    const std::string policy = text.str();
    const std::string beginning = "<policy context=\"default\">";
    const std::string ending = "</policy>";
    const std::size_t begin = policy.find(beginning);
    const std::size_t end = policy.find(ending, begin);
    if (begin == std::string::npos || end == std::string::npos) {
        throw std::runtime_error("the policy has no rules for everybody else");
    }
    return "<policy context=\"mandatory\">" +
           policy.substr(begin + beginning.size(), end + ending.size() - begin - beginning.size());
}

TEST(PolicyTest, WhoHasNoRightMayLookButNotTouch)
{
    const support::PrivateBus bus(RulesForEverybodyElse());
    EXPECT_EQ(device_power_get_state(), DEVICE_POWER_STATE_NORMAL);
    Stranger stranger;
    ASSERT_TRUE(support::IterateUntil([&] { return stranger.Reads("State") == "(<0>,)"; }));
    EXPECT_EQ(stranger.Calls("SetState", g_variant_new("(ii)", 1, 1)), kDenied);
    EXPECT_EQ(stranger.Calls("RequestPowerOff", g_variant_new("(i)", 1 << 30)), kDenied);
    EXPECT_EQ(stranger.Calls("RequestReboot", g_variant_new("(i)", 34)), kDenied);
    EXPECT_EQ(stranger.Calls("SetAmbient", g_variant_new("(ii)", 2, 4)), kDenied);
    EXPECT_EQ(stranger.Calls("Lock", g_variant_new("(iu)", 2, 1000)), kDenied);
    EXPECT_EQ(stranger.Calls("SetWakeupReason", g_variant_new("(i)", 1)), kDenied);
    EXPECT_EQ(stranger.Calls("Set",
                             g_variant_new("(ssv)", "org.vantor.platform.Power1", "State", g_variant_new_int32(1)),
                             "org.freedesktop.DBus.Properties"),
              kDenied);
    EXPECT_EQ(device_power_get_state(), DEVICE_POWER_STATE_NORMAL);
    EXPECT_EQ(stranger.Reads("Locked"), "(<false>,)");
}

} // namespace
