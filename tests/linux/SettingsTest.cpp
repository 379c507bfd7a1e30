// The settings functions on a Linux box, as far as they are more than the store's own.

#include <gtest/gtest.h>

#include <vconf.h>

namespace {

TEST(LinuxSettings, AMissingNodeGivesNoNumberAndAnEmptyText)
{
    EXPECT_EQ(vconf_keynode_get_int(nullptr), 0);
    EXPECT_STREQ(vconf_keynode_get_str(nullptr), "");
}

} // namespace
