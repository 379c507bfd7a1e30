// A Bluetooth device wakes the box: the kernel knows which, logind knows when.

#include "linux/BluezTest.h"
#include "linux/FakeBluez.h"
#include "linux/FakeKernel.h"
#include "linux/Logind.h"
#include "mgmt/Protocol.h"
#include "support/MainLoop.h"

#include <gtest/gtest.h>

#include <bluez_dbus.h>
#include <device_power.h>

#include <functional>
#include <string>
#include <vector>

namespace {

using linux_test::BluezTest;
using linux_test::Bytes;
using linux_test::Logind;

class WokenByDeviceTest : public BluezTest
{
protected:
    void Sleeps()
    {
        Starts();
        EXPECT_EQ(device_power_get_state(), DEVICE_POWER_STATE_NORMAL);
        ASSERT_TRUE(logind.WaitForHolds({"delay sleep:shutdown by vyrel-lite"}));
        logind.PreparesForSleep(true);
        ASSERT_TRUE(IsSoon(DEVICE_POWER_STATE_SUSPEND));
        ASSERT_TRUE(logind.WaitForHolds({})); // it sleeps only then
    }

    void IsWokenBy(const char* address)
    {
        Bytes bytes = {2};
        const Bytes device = linux_test::AddressAnd(address, mgmt::kBrEdr);
        bytes.insert(bytes.end(), device.begin(), device.end());
        kernel.Tells(mgmt::Event::ControllerResume, bytes);
        logind.PreparesForSleep(false);
    }

    static bool IsSoon(int state)
    {
        return support::IterateUntil([&] { return device_power_get_state() == state; });
    }

    Logind logind{[](const std::string&) {}};
};

TEST_F(WokenByDeviceTest, ARemoteTurnsTheBoxOn)
{
    Sleeps();
    IsWokenBy(kPhone);
    EXPECT_TRUE(IsSoon(DEVICE_POWER_STATE_NORMAL));
    EXPECT_EQ(device_power_get_wakeup_reason(), 95);
}

TEST_F(WokenByDeviceTest, ASpeakerDoesNot)
{
    Sleeps();
    daemon.AddDevice(kSpeaker, [](BluezDevice1* device) { bluez_device1_set_class(device, 0x240414); });
    Settles();
    IsWokenBy(kSpeaker);
    EXPECT_TRUE(IsSoon(DEVICE_POWER_STATE_STANDBY));
    EXPECT_EQ(device_power_get_wakeup_reason(), 95);
}

TEST_F(WokenByDeviceTest, AnEventThatIsCutOffWakesNobody)
{
    Sleeps();
    kernel.Tells(mgmt::Event::ControllerResume, {2, 1, 2});
    logind.PreparesForSleep(false);
    EXPECT_TRUE(IsSoon(DEVICE_POWER_STATE_NORMAL));
    EXPECT_EQ(device_power_get_wakeup_reason(), 0);
}

} // namespace
