#include "bluez/Audio.h"

#include "Log.h"
#include "bluez/Address.h"
#include "bluez/Daemon.h"
#include "bluez/Proxy.h"
#include "bluez/Result.h"
#include "bluez/Stack.h"
#include "bus/Handles.h"
#include "bus/Remote.h"
#include "power/Wake.h"

#include <gio/gio.h>

#include <bluez_dbus.h>
#include <bt_audio.h>
#include <bt_avrcp.h>
#include <bt_error.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <functional>
#include <iterator>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

namespace bluez {

namespace {

constexpr std::string_view kAudioSource = "110a";
constexpr std::string_view kAudioSink = "110b";
constexpr std::string_view kRemoteControlTarget = "110c";
constexpr std::array<std::string_view, 2> kRemoteControls = {"110e", "110f"};
// Hands-free unit and gateway, headset and its gateway.
constexpr std::array<std::string_view, 4> kHandsFree = {"111e", "111f", "1108", "1112"};
constexpr std::string_view kUuidEnd = "-0000-1000-8000-00805f9b34fb";
constexpr unsigned kLoudest = 127;

/// 0 for a stream that is none of ours.
bt_audio_profile_type_e TypeOf(const Transport& transport)
{
    // A transport has the service of this side: where we are the source, a speaker plays.
    if (IsUuid(transport.uuid, kAudioSource)) {
        return BT_AUDIO_PROFILE_A2DP_SOURCE;
    }
    return IsUuid(transport.uuid, kAudioSink) ? BT_AUDIO_PROFILE_A2DP_SINK : 0;
}

bool IsTarget(const Device& device)
{
    return device.Offers(kRemoteControlTarget);
}

bool IsController(const Device& device)
{
    return std::ranges::any_of(kRemoteControls, [&](std::string_view uuid) { return device.Offers(uuid); });
}

/// The services of the device that carry this kind of audio.
std::vector<std::string_view> ServicesFor(const Device& device, bt_audio_profile_type_e type)
{
    if (type == BT_AUDIO_PROFILE_A2DP_SOURCE) {
        return {kAudioSink};
    }
    if (type == BT_AUDIO_PROFILE_A2DP_SINK) {
        return {kAudioSource};
    }
    std::vector<std::string_view> services;
    std::ranges::copy_if(kHandsFree, std::back_inserter(services),
                         [&](std::string_view uuid) { return device.Offers(uuid); });
    return services;
}

} // namespace

std::string Audio::AddressOf(const Transport& transport) const
{
    const Device* device = m_stack.daemon.Objects().DeviceAt(transport.device);
    return device != nullptr ? device->address : AddressInPath(transport.device);
}

bool Audio::Has(const Stream& stream) const
{
    return std::ranges::any_of(m_streams, [&](const auto& known) { return known.second == stream; });
}

void Audio::TellConnection(bool connected, const Stream& stream) const
{
    if (m_stack.MayTell()) {
        onConnection.Tell(int{BT_ERROR_NONE}, connected, stream.first.c_str(), stream.second);
    }
}

void Audio::Come(const Transport& transport)
{
    const Stream stream(AddressOf(transport), TypeOf(transport));
    if (stream.first.empty() || stream.second == 0 || m_streams.contains(transport.path)) {
        return;
    }
    const bool isFirst = !Has(stream);
    m_streams.emplace(transport.path, stream);
    if (isFirst && stream.second == BT_AUDIO_PROFILE_A2DP_SOURCE) {
        power::Wakes::OfProcess().Reached(power::Milestone::LastSpeaker);
    }
    if (isFirst) {
        TellConnection(true, stream);
    }
}

void Audio::Go(const std::string& path)
{
    const auto node = m_streams.extract(path);
    if (node && !Has(node.mapped())) {
        TellConnection(false, node.mapped());
    }
}

void Audio::TransportChanged(const Transport* before, const Transport* now)
{
    if (now == nullptr) {
        Go(before->path);
        return;
    }
    Come(*now);
    const bool isNews = now->volume && *now->volume <= kLoudest && (before == nullptr || before->volume != now->volume);
    const auto stream = m_streams.find(now->path);
    if (!isNews || stream == m_streams.end() || !m_stack.MayTell()) {
        return;
    }
    // The daemon gives a transport its volume when the device has answered for the first time.
    const bool isFirst = before == nullptr || !before->volume;
    const std::string address = stream->second.first;
    (isFirst ? onInterimVolume : onVolume).Tell(address.c_str(), unsigned{*now->volume});
}

void Audio::DeviceChanged(const Device* before, const Device* now) const
{
    // The services of a device may become known only after its control has connected.
    const auto tell = [&](const auto& slot, bool (*isOne)(const Device&)) {
        const bool was = before != nullptr && before->remoteControl && isOne(*before);
        const bool is = now != nullptr && now->remoteControl && isOne(*now);
        if (was != is && m_stack.MayTell()) {
            slot.Tell(is, (is ? now : before)->address.c_str());
        }
    };
    tell(onControl, IsTarget);
    tell(onTarget, IsController);
}

std::string Audio::Connected(bt_audio_profile_type_e type) const
{
    for (const auto& [path, stream] : m_streams) {
        if (stream.second == type) {
            return stream.first;
        }
    }
    return "";
}

bool Audio::IsAudioDevice(const std::string& address) const
{
    constexpr std::uint32_t kMajorAudio = 4;
    const Device* device = m_stack.FindDevice(address.c_str());
    return device != nullptr && ((device->deviceClass.value_or(0) >> 8U & 0x1FU) == kMajorAudio ||
                                 device->Offers(kAudioSink) || device->Offers(kAudioSource));
}

int Audio::Disconnect(const char* address, bt_audio_profile_type_e type)
{
    const bool isHandsFree = type == BT_AUDIO_PROFILE_HANDS_FREE;
    if (!IsAddress(address) ||
        (!isHandsFree && type != BT_AUDIO_PROFILE_A2DP_SOURCE && type != BT_AUDIO_PROFILE_A2DP_SINK)) {
        return BT_ERROR_INVALID_PARAMETER;
    }
    if (m_stack.TheAdapter() == nullptr) {
        return BT_ERROR_NOT_INITIALIZED;
    }
    const Device* device = m_stack.FindDevice(address);
    // Of hands-free connections nothing is known; a device that has a link may have one.
    if (device == nullptr || !(isHandsFree ? device->connected : Has(Stream(device->address, type)))) {
        return BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED;
    }
    const std::vector<std::string_view> services = ServicesFor(*device, type);
    if (services.empty()) {
        return BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED;
    }
    const auto proxy = DeviceProxy(m_stack.daemon.Remote(), device->path);
    if (!proxy) {
        return BT_ERROR_OPERATION_FAILED;
    }
    for (const std::string_view service : services) {
        const std::string uuid = std::string("0000").append(service).append(kUuidEnd);
        bluez_device1_call_disconnect_profile(
            proxy.get(), uuid.c_str(), G_DBUS_CALL_FLAGS_NONE, -1, nullptr, bus::OnDone,
            bus::Done([text = device->address](GObject* source, GAsyncResult* result) {
                GError* failure = nullptr;
                if (bluez_device1_call_disconnect_profile_finish(BLUEZ_DEVICE1(source), result, &failure) == FALSE) {
                    const bus::ErrorPtr error(failure);
                    PLATFORM_LOG(DLOG_WARN, "cannot end the audio connection of %s: %s", text.c_str(), error->message);
                }
            }));
    }
    return BT_ERROR_NONE;
}

} // namespace bluez
