#include "bluez/Links.h"

#include "NotSupported.h"
#include "bluez/Address.h"
#include "bluez/Result.h"
#include "bluez/Stack.h"
#include "bus/Deadline.h"
#include "hci/Controller.h"
#include "mgmt/Client.h"
#include "mgmt/Protocol.h"

#include <bt_device.h>
#include <bt_error.h>

#include <algorithm>
#include <optional>
#include <vector>

namespace bluez {

namespace {

constexpr std::int8_t kNoRssi = 127;

/// What the daemon's properties say about the transport: a guess, until the kernel says more.
std::uint8_t GuessType(const Device& device)
{
    if (device.random) {
        return mgmt::kLeRandom;
    }
    return device.deviceClass ? mgmt::kBrEdr : mgmt::kLePublic;
}

} // namespace

void Links::Come(const std::string& address, std::uint8_t type)
{
    const Key key(address, type != mgmt::kBrEdr);
    if (m_links.insert_or_assign(key, type).second) {
        Tell(true, key, 0);
    }
}

void Links::Go(const Key& key, int reason)
{
    m_noLatency.erase(key);
    if (m_links.erase(key) != 0) {
        Tell(false, key, reason);
    }
}

void Links::Tell(bool connected, const Key& key, int reason) const
{
    if (!m_stack.MayTell()) {
        return;
    }
    std::string address = key.first; // the receiver may write to it
    bt_device_connection_info_s info{address.data(), key.second ? BT_DEVICE_LINK_LE : BT_DEVICE_LINK_BREDR, reason};
    onConnection.Tell(connected, &info);
    if (key.second) {
        onGatt.Tell(int{BT_ERROR_NONE}, connected, key.first.c_str());
    }
}

void Links::OnConnected(mgmt::Reader parameters)
{
    const auto address = parameters.Address();
    const auto type = parameters.Byte();
    if (type) {
        Come(AddressText(*address), *type);
    }
}

void Links::OnDisconnected(mgmt::Reader parameters)
{
    const auto address = parameters.Address();
    const auto type = parameters.Byte();
    const auto reason = parameters.Byte();
    if (reason) {
        Go(Key(AddressText(*address), *type != mgmt::kBrEdr), *reason);
    }
}

void Links::OnConnectFailed(mgmt::Reader parameters)
{
    const auto address = parameters.Address();
    parameters.Byte();
    const auto status = parameters.Byte();
    if (status && *status == mgmt::kNoResources && m_stack.MayTell()) {
        std::string text = AddressText(*address);
        onMaxConnected.Tell(int{BT_ERROR_NONE}, text.data());
    }
}

void Links::OnIdentity(mgmt::Reader parameters)
{
    parameters.Byte(); // whether the key is to be stored
    const auto random = parameters.Address();
    const auto identity = parameters.Address();
    const auto type = parameters.Byte();
    if (!type) {
        return;
    }
    // The link goes on under the name that the device has for good; the kernel calls it so from now on.
    const auto link = m_links.find(Key(AddressText(*random), true));
    if (link != m_links.end()) {
        m_links.erase(link);
        m_links.insert_or_assign(Key(AddressText(*identity), true), *type);
    }
}

void Links::OnConnections(std::span<const std::uint8_t> parameters)
{
    mgmt::Reader reader(parameters);
    const auto count = reader.Word();
    if (!count || m_seeded) {
        return;
    }
    m_seeded = true;
    for (unsigned i = 0; i < *count; ++i) {
        const auto address = reader.Address();
        const auto type = reader.Byte();
        if (!type) {
            return;
        }
        const std::string text = AddressText(*address);
        // The daemon's word gave it a transport by guess.
        m_links.erase(Key(text, *type == mgmt::kBrEdr));
        m_links.insert_or_assign(Key(text, *type != mgmt::kBrEdr), *type);
    }
}

void Links::DeviceChanged(const Device* before, const Device* now)
{
    if (m_stack.KernelTells()) {
        return;
    }
    const bool was = before != nullptr && before->connected;
    const bool is = now != nullptr && now->connected;
    if (is && !was) {
        Come(now->address, GuessType(*now));
    } else if (was && !is) {
        Go(Key(before->address, false), 0);
        Go(Key(before->address, true), 0);
    }
}

void Links::DropAll()
{
    while (!m_links.empty()) {
        const Key key = m_links.begin()->first;
        Go(key, 0);
    }
}

void Links::Forget()
{
    m_links.clear();
    m_noLatency.clear();
    m_seeded = false;
}

std::map<Links::Key, std::uint8_t>::const_iterator Links::Find(const std::string& address, int linkType) const
{
    if (linkType != BT_DEVICE_LINK_ANY) {
        return m_links.find(Key(address, linkType == BT_DEVICE_LINK_LE));
    }
    const auto classic = m_links.find(Key(address, false));
    return classic != m_links.end() ? classic : m_links.find(Key(address, true));
}

int Links::AskRssi(const char* address, int linkType, bt_device_rssi_strength_cb callback, void* userData)
{
    if (!IsAddress(address) ||
        (linkType != BT_DEVICE_LINK_ANY && linkType != BT_DEVICE_LINK_BREDR && linkType != BT_DEVICE_LINK_LE)) {
        return BT_ERROR_INVALID_PARAMETER;
    }
    if (m_stack.TheAdapter() == nullptr) {
        return BT_ERROR_NOT_INITIALIZED;
    }
    if (!m_stack.KernelTells()) {
        return NotSupported("bt_device_get_rssi_strength", "CAP_NET_ADMIN is missing");
    }
    std::string text = Normalised(address);
    const auto link = Find(text, linkType);
    if (link == m_links.end()) {
        return BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED;
    }
    mgmt::Writer parameters;
    parameters.Append(BytesOf(text)).Byte(link->second);
    const bool isSent = m_stack.kernel.Send(
        mgmt::Command::GetConnectionInformation, parameters.Bytes(),
        [text, linkType, callback, userData](const mgmt::Reply& reply) {
            mgmt::Reader reader(reply.parameters);
            const auto bytes = reader.Address();
            reader.Byte();
            const auto rssi = reader.Byte();
            if (reply.status == mgmt::kSuccess && rssi && *rssi != kNoRssi && bytes == BytesOf(text)) {
                std::string asked = text;
                callback(asked.data(), linkType, static_cast<std::int8_t>(*rssi), userData);
            }
        });
    return isSent ? BT_ERROR_NONE : BT_ERROR_OPERATION_FAILED;
}

int Links::SetNoLatency(const char* address, bool on)
{
    if (address == nullptr || !IsAddress(address)) {
        return BT_ERROR_INVALID_PARAMETER;
    }
    const std::string text = Normalised(address);
    const auto link = Find(text, BT_DEVICE_LINK_ANY);
    if (link == m_links.end()) {
        return BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED;
    }
    const Key key = link->first;
    const auto present = m_noLatency.find(key);
    if (present != m_noLatency.end() && present->second == on) {
        return BT_ERROR_ALREADY_DONE;
    }
    hci::Controller controller(m_stack.Index());
    if (!controller.IsOpen()) {
        return NotSupported("bt_hid_set_conn_no_latency", "CAP_NET_RAW is missing");
    }
    switch (controller.SetNoLatency(BytesOf(text), key.second, on, bus::Deadline())) {
    case hci::Controller::Outcome::Done:
        m_noLatency[key] = on;
        return BT_ERROR_NONE;
    case hci::Controller::Outcome::NotConnected:
        return BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED;
    default:
        return BT_ERROR_OPERATION_FAILED;
    }
}

} // namespace bluez
