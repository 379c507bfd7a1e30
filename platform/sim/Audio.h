#pragma once

#include "sim/Slot.h"

#include <bt_audio.h>
#include <bt_avrcp.h>

#include <map>
#include <memory>
#include <string>

namespace sim {

class Television;

/// Audio profiles, by type (1 hands-free, 2 and 16 the two kinds of A2DP), and the volume of AVRCP.
class Audio
{
public:
    explicit Audio(Television& tv) : m_tv(tv) {}

    // What happens.
    void Connects(const std::string& address, int type, int result = 0);
    void Disconnects(const std::string& address, int type, int result = 0);
    /// Is connected from before the service's start on: nobody is told.
    void IsConnected(const std::string& address, int type)
    {
        m_connected.insert_or_assign(type, address);
    }
    void ServiceLevel(bool connected, const std::string& address);
    void ControlConnects(bool connected, const std::string& address);
    void TargetConnects(bool connected, const std::string& address);
    void InterimVolume(const std::string& address, unsigned int volume);
    void AbsoluteVolume(const std::string& address, unsigned int volume);

    // What is asked.
    bt_audio_connected_info_s* NewRecord(int type);
    void FreeRecord(bt_audio_connected_info_s* record);
    void CheckRecords() const;
    int Disconnect(const std::string& address, int type);

    bool recordsHaveAddress = true; ///< false: records say that somebody is connected, but not who

    Slot<bt_audio_connection_state_changed_cb> onConnection{"bt_audio_connection_state_changed_cb"};
    Slot<bt_audio_slc_state_changed_cb> onServiceLevel{"bt_audio_slc_state_changed_cb"};
    Slot<bt_avrcp_connection_state_changed_cb> onControl{"bt_avrcp_control_connection_state_changed_cb"};
    Slot<bt_avrcp_connection_state_changed_cb> onTarget{"bt_avrcp_target_connection_state_changed_cb"};
    Slot<bt_avrcp_interim_volume_notify_cb> onInterimVolume{"bt_avrcp_interim_volume_notify_cb"};
    Slot<bt_avrcp_absolute_volume_changed_cb> onAbsoluteVolume{"bt_avrcp_absolute_volume_changed_cb"};

private:
    struct Record
    {
        std::string address;
        bt_audio_connected_info_s info;
    };

    Television& m_tv;
    std::map<int, std::string> m_connected;
    std::map<bt_audio_connected_info_s*, std::unique_ptr<Record>> m_records;
};

} // namespace sim
