#pragma once

#include "Slot.h"
#include "bluez/Tree.h"

#include <bt_audio.h>
#include <bt_avrcp.h>

#include <map>
#include <set>
#include <string>
#include <utility>

namespace bluez {

class Stack;

/// Audio streams, media control and volume, from what the daemon says of transports and media controls.
///
/// Streams exist only while an audio server has offered itself to the daemon. Hands-free connections are between that
/// server and the kernel: the daemon does not know them.
class Audio
{
public:
    explicit Audio(Stack& stack) : m_stack(stack) {}
    Audio(const Audio&) = delete;
    Audio& operator=(const Audio&) = delete;

    /// The address of the first device with a stream of this type; empty when there is none.
    [[nodiscard]] std::string Connected(bt_audio_profile_type_e type) const;
    /// Whether the device plays or sends audio.
    [[nodiscard]] bool IsAudioDevice(const std::string& address) const;
    int Disconnect(const char* address, bt_audio_profile_type_e type);

    void TransportChanged(const Transport* before, const Transport* now);
    void DeviceChanged(const Device* before, const Device* now) const;

    box::Slot<bt_audio_connection_state_changed_cb> onConnection;
    box::Slot<bt_avrcp_connection_state_changed_cb> onControl;
    box::Slot<bt_avrcp_connection_state_changed_cb> onTarget;
    box::Slot<bt_avrcp_interim_volume_notify_cb> onInterimVolume;
    box::Slot<bt_avrcp_absolute_volume_changed_cb> onVolume;

private:
    /// Address and type.
    using Stream = std::pair<std::string, bt_audio_profile_type_e>;

    void Come(const Transport& transport);
    void Go(const std::string& path);
    void TellConnection(bool connected, const Stream& stream) const;
    [[nodiscard]] std::string AddressOf(const Transport& transport) const;
    [[nodiscard]] bool Has(const Stream& stream) const;

    Stack& m_stack;
    std::map<std::string, Stream> m_streams; ///< by the transport's path
};

} // namespace bluez
