#pragma once

#include "linux/BluezTest.h"
#include "linux/FakeRemotes.h"

#include <gtest/gtest.h>

#include <bt_hid.h>

#include <cerrno>
#include <string>

namespace linux_test {

/// A box with remotes of the test's own. What is told of them stands on the record.
class RemotesTest : public BluezTest
{
protected:
    static constexpr const char* kRemote = "AA:BB:CC:DD:EE:10";
    static constexpr const char* kWheel = "AA:BB:CC:DD:EE:11";
    static constexpr const char* kStand = "AA:BB:CC:DD:EE:12";
    static constexpr const char* kNode = FakeRemotes::kNode;

    ~RemotesTest() override
    {
        remotes.Hurries();
        bt_hid_host_deinitialize();
    }

    void ListensToRemotes()
    {
        bt_hid_set_smart_rc_connection_cb(OnSmartRemote, this);
        bt_hid_set_halvo_switch_connection_state_changed_cb(OnWheel, this);
        bt_hid_set_battery_status_received_cb(OnBattery, this);
        bt_hid_set_smart_rc_charging_status_received_cb(OnCharging, this);
        bt_hid_set_halvo_switch_charging_status_received_cb(OnWheelCharging, this);
        bt_hid_set_smart_rc_grip_sensor_detected_cb(OnGripped, this);
        bt_hid_set_smart_rc_grip_sensor_state_changed_cb(OnGripState, this);
        ASSERT_EQ(bt_hid_host_initialize(OnHost, this), BT_ERROR_NONE);
    }

    /// A remote that speaks the protocol is connected, and what it is is known.
    void HasRemote()
    {
        ListensToRemotes();
        remotes.Plugs(FakeRemotes::SmartRemote(kRemote));
        ASSERT_TRUE(Told(std::string("smart remote up ") + kRemote + " ?"));
        support::DrainMainLoop();
        record.clear();
    }

    /// The same for one that does not: a remote off the shelf.
    void HasBasicRemote()
    {
        ListensToRemotes();
        remotes.Plugs({kNode, kRemote, 0x04E8, 0x2075, FakeRemotes::KeyboardDescriptor()});
        ASSERT_TRUE(Told(std::string("smart remote up ") + kRemote + " ?"));
        support::DrainMainLoop();
        record.clear();
    }

    bool WasSent(std::size_t count)
    {
        return support::IterateUntil([&] { return remotes.sent.size() >= count; });
    }

    /// The sequence number of a report that was sent.
    std::string Sequence(std::size_t index) const
    {
        return remotes.sent.at(index).substr(remotes.sent.at(index).size() - 2);
    }

    /// A report without it.
    std::string Body(std::size_t index) const
    {
        return remotes.sent.at(index).substr(0, remotes.sent.at(index).size() - 2);
    }

    FakeRemotes remotes;

private:
    static void Record(void* self, const std::string& what)
    {
        static_cast<RemotesTest*>(self)->record.push_back(what);
    }
    static std::string Text(bool connected, const bt_device_info_s* info)
    {
        return std::string(connected ? "up " : "down ") + info->remote_address + " " +
               (info->remote_name != nullptr ? info->remote_name : "?") + (info->is_connected == connected ? "" : " !");
    }
    static void OnHost(int result, bool connected, const char* address, void* self)
    {
        Record(self, "host " + std::to_string(result) + (connected ? " up " : " down ") + address);
    }
    static void OnSmartRemote(bool connected, bt_device_info_s* info, void* self)
    {
        Record(self, "smart remote " + Text(connected, info));
    }
    static void OnWheel(bool connected, bt_device_info_s* info, void* self)
    {
        Record(self, "wheel " + Text(connected, info));
    }
    static void OnBattery(bt_hid_battery_status_info_s* info, void* self)
    {
        Record(self, "battery " + std::to_string(info->status) + " " + info->remote_address);
    }
    static void OnCharging(unsigned char status, unsigned char harvest, void* self)
    {
        Record(self, "charging " + std::to_string(status) + " " + std::to_string(harvest));
    }
    static void OnWheelCharging(unsigned char status, unsigned char harvest, void* self)
    {
        Record(self, "wheel charging " + std::to_string(status) + " " + std::to_string(harvest));
    }
    static void OnGripped(unsigned char key, void* self)
    {
        Record(self, "gripped " + std::to_string(key));
    }
    static void OnGripState(int state, void* self)
    {
        Record(self, "grip " + std::to_string(state));
    }
};

} // namespace linux_test
