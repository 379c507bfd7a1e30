// Who may reach the platform, as the bus policy that is shipped has it.

#include "linux/Policy.h"

#include "linux/Stranger.h"
#include "support/MainLoop.h"
#include "support/PrivateBus.h"

#include <glib.h>
#include <gtest/gtest.h>

#include <device_power.h>

#include <string>

namespace {

using linux_test::Stranger;

constexpr const char* kDenied = "org.freedesktop.DBus.Error.AccessDenied";

TEST(PolicyTest, WhoHasNoRightMayLookButNotTouch)
{
    const support::PrivateBus bus(linux_test::RulesForEverybodyElse(VYREL_POLICY));
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
