#pragma once

#include "linux/FakeBluez.h"
#include "linux/FakeKernel.h"
#include "linux/PlatformLog.h"
#include "support/MainLoop.h"
#include "support/PrivateBus.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bluez_dbus.h>
#include <bt_adapter.h>
#include <bt_audio.h>
#include <bt_avrcp.h>
#include <bt_device.h>
#include <bt_error.h>
#include <bt_gatt.h>
#include <bt_product.h>
#include <bt_socket.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace linux_test {

/// A box on a private bus with a Bluetooth daemon and a kernel of the test's own. What the platform tells the service
/// stands on one record, in its order.
class BluezTest : public ::testing::Test
{
protected:
    static constexpr const char* kPhone = "AA:BB:CC:DD:EE:01";
    static constexpr const char* kSpeaker = "AA:BB:CC:DD:EE:02";
    static constexpr const char* kSource = "0000110a-0000-1000-8000-00805f9b34fb";
    static constexpr const char* kSink = "0000110b-0000-1000-8000-00805f9b34fb";

    ~BluezTest() override
    {
        bt_product_deinit();
        support::DrainMainLoop();
    }

    /// All that can be told is told.
    void Listens()
    {
        bt_adapter_set_state_changed_cb(OnState, this);
        bt_adapter_set_authentication_req_cb(OnAuthentication, this);
        bt_adapter_set_ssp_consent_request_cb(OnConsent, this);
        bt_adapter_set_max_device_connected_cb(OnMax, this);
        bt_device_set_auth_event_cb(OnService, this);
        bt_device_set_bond_created_cb(OnCreated, this);
        bt_device_set_bond_destroyed_cb(OnDestroyed, this);
        bt_device_set_connection_state_changed_cb(OnLink, this);
        bt_gatt_set_connection_state_changed_cb(OnGatt, this);
        bt_audio_set_connection_state_changed_cb(OnAudio, this);
        bt_avrcp_control_initialize(OnControl, this);
        bt_avrcp_target_initialize(OnTarget, this);
        bt_avrcp_set_interim_volume_notify_cb(OnInterim, this);
        bt_avrcp_set_absolute_volume_changed_cb(OnVolume, this);
    }

    /// The usual box: daemon and adapter are there, and the service listens.
    void Starts(bool powered = true)
    {
        daemon.AddAdapter(powered);
        daemon.Starts();
        Listens();
        ASSERT_EQ(bt_product_init(), BT_ERROR_NONE);
        ASSERT_TRUE(WaitForCall("RequestDefaultAgent /org/vantor/platform/agent"));
    }

    bool WaitForCall(const std::string& call, int count = 1)
    {
        return support::IterateUntil([&] { return daemon.CallsOf(call) >= count; });
    }

    /// Runs the main loop until this was told.
    bool Told(const std::string& what)
    {
        return support::IterateUntil([&] { return std::ranges::find(record, what) != record.end(); });
    }

    /// Runs the main loop until what was on its way has arrived: a later change of the adapter comes after it.
    void Settles()
    {
        static int round = 0;
        const std::string name = "settled " + std::to_string(++round);
        daemon.SetAdapter([&](BluezAdapter1* adapter) { bluez_adapter1_set_alias(adapter, name.c_str()); });
        ASSERT_TRUE(support::IterateUntil([&] { return Alias() == name; }));
        support::DrainMainLoop();
    }

    /// The adapter's name as the platform knows it.
    static std::string Alias();

    void Passes(std::chrono::milliseconds time)
    {
        support::IterateUntil([] { return false; }, time);
    }

    support::PrivateBus bus;
    FakeKernel kernel;
    FakeBluez daemon;
    std::vector<std::string> record;
    bool rejectsServices = false; ///< from within the callback, as the service does when nobody else is there

private:
    static BluezTest& Self(void* self)
    {
        return *static_cast<BluezTest*>(self);
    }
    static void Record(void* self, const std::string& what)
    {
        Self(self).record.push_back(what);
    }
    static std::string Up(bool connected)
    {
        return connected ? " up " : " down ";
    }
    static void OnState(int result, bt_adapter_state_e state, void* self)
    {
        Record(self, "state " + std::to_string(result) + " " + std::to_string(state));
    }
    static void OnAuthentication(int, int type, char* name, char* address, char* passkey, void* self)
    {
        Record(self, "authentication " + std::to_string(type) + " " + name + " " + address + " " + passkey);
    }
    static void OnConsent(int, char* name, char* address, void* self)
    {
        Record(self, std::string("consent ") + name + " " + address);
    }
    static void OnMax(int, char* address, void* self)
    {
        Record(self, std::string("too many ") + address);
    }
    static void OnService(int, char* address, char* name, int service, void* self)
    {
        Record(self, std::string("service ") + address + " " + name + " " + std::to_string(service));
        if (Self(self).rejectsServices) {
            Record(self, "rejected " + std::to_string(bt_device_reject_authorization(address, service)));
        }
    }
    static void OnCreated(int result, bt_device_info_s* info, void* self)
    {
        Record(self, "bond " + std::to_string(result) + " " + info->remote_address);
    }
    static void OnDestroyed(int, char* address, void* self)
    {
        Record(self, std::string("unbond ") + address);
    }
    static void OnLink(bool connected, bt_device_connection_info_s* info, void* self)
    {
        Record(self, "link" + Up(connected) + info->remote_address + " " + std::to_string(info->link) + " " +
                         std::to_string(info->disconnect_reason));
    }
    static void OnGatt(int, bool connected, const char* address, void* self)
    {
        Record(self, "gatt" + Up(connected) + address);
    }
    static void OnAudio(int, bool connected, const char* address, int type, void* self)
    {
        Record(self, "audio" + Up(connected) + address + " " + std::to_string(type));
    }
    static void OnControl(bool connected, const char* address, void* self)
    {
        Record(self, "control" + Up(connected) + address);
    }
    static void OnTarget(bool connected, const char* address, void* self)
    {
        Record(self, "target" + Up(connected) + address);
    }
    static void OnInterim(const char* address, unsigned volume, void* self)
    {
        Record(self, std::string("interim ") + address + " " + std::to_string(volume));
    }
    static void OnVolume(const char* address, unsigned volume, void* self)
    {
        Record(self, std::string("volume ") + address + " " + std::to_string(volume));
    }
};

} // namespace linux_test
