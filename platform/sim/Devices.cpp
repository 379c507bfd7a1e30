#include "sim/Devices.h"

#include "sim/Misuse.h"
#include "sim/Queue.h"
#include "sim/Tape.h"
#include "sim/Television.h"

#include <bt_device.h>
#include <bt_error.h>

#include <algorithm>
#include <chrono>
#include <utility>

namespace sim {

DeviceRecord::DeviceRecord(const Device& device) : m_address(device.address), m_name(device.name.value_or("")), m_info()
{
    m_info.remote_address = device.hasAddress ? m_address.data() : nullptr;
    m_info.remote_name = device.name ? m_name.data() : nullptr;
    m_info.bt_class = {device.majorClass, device.minorClass};
    m_info.is_bonded = device.bonded;
    m_info.is_connected = device.connected;
}

DeviceRecord::~DeviceRecord()
{
    // So that a pointer that somebody kept into the record shows, also in a build without sanitizers.
    std::ranges::fill(m_address, '\xDD');
    std::ranges::fill(m_name, '\xDD');
}

void Devices::Knows(const Device& device)
{
    std::erase_if(m_devices, [&](const Device& known) { return known.address == device.address; });
    m_devices.push_back(device);
    if (m_strangers.erase(device.address) == 1) {
        m_devices.back().connected = true;
    }
}

Device* Devices::Known(const std::string& address)
{
    const auto found = std::ranges::find(m_devices, address, &Device::address);
    return found != m_devices.end() ? &*found : nullptr;
}

const Device* Devices::Find(const std::string& address) const
{
    const auto found = std::ranges::find(m_devices, address, &Device::address);
    return found != m_devices.end() ? &*found : nullptr;
}

std::vector<Device> Devices::Bonded() const
{
    return {m_devices.begin(), m_devices.end()};
}

void Devices::Bonds(const Device& device, int result)
{
    const Tape::Scope happens = m_tv.tape.Note(device.address + " is paired");
    if (result == 0) {
        Knows(device);
    }
    m_tv.queue.Post([=, this] { onBondCreated.Tell(result, DeviceRecord(device).Get()); });
}

void Devices::Unbonds(const std::string& address)
{
    const Tape::Scope happens = m_tv.tape.Note(address + " is no longer paired");
    DestroyBond(address);
}

void Devices::ForgetsAll()
{
    for (const Device& device : Bonded()) {
        DestroyBond(device.address);
    }
}

int Devices::DestroyBond(const std::string& address)
{
    const Device* device = Find(address);
    if (device == nullptr) {
        return BT_ERROR_REMOTE_DEVICE_NOT_BONDED;
    }
    if (device->connected) {
        m_strangers.insert(address);
    }
    std::erase_if(m_devices, [&](const Device& known) { return known.address == address; });
    m_tv.queue.Post([this, text = address]() mutable { onBondDestroyed.Tell(0, text.data()); });
    return BT_ERROR_NONE;
}

void Devices::TellConnection(bool connected, const std::string& address, int link, int reason)
{
    m_tv.queue.Post([=, this, text = address]() mutable {
        bt_device_connection_info_s info = {text.data(), link, reason};
        onConnection.Tell(connected, &info);
    });
}

void Devices::Connects(const std::string& address, int link)
{
    const Tape::Scope happens = m_tv.tape.Note(address + " is connected");
    if (Device* device = Known(address)) {
        device->connected = true;
    } else {
        m_strangers.insert(address);
    }
    TellConnection(true, address, link, 0);
}

void Devices::Disconnects(const std::string& address, int reason, int link)
{
    const Tape::Scope happens = m_tv.tape.Note(address + " is disconnected, reason " + std::to_string(reason));
    if (Device* device = Known(address)) {
        device->connected = false;
    }
    m_strangers.erase(address);
    TellConnection(false, address, link, reason);
}

void Devices::ConnectsHid(const std::string& address, int result)
{
    const Tape::Scope happens = m_tv.tape.Note(address + " is connected as an input device");
    m_tv.queue.Post([=, this] { onHid.Tell(result, true, address.c_str()); });
}

void Devices::DisconnectsHid(const std::string& address, int result)
{
    const Tape::Scope happens = m_tv.tape.Note(address + " is disconnected as an input device");
    m_tv.queue.Post([=, this] { onHid.Tell(result, false, address.c_str()); });
}

void Devices::ConnectsGatt(const std::string& address, int result)
{
    const Tape::Scope happens = m_tv.tape.Note(address + " is connected over low energy");
    m_tv.queue.Post([=, this] { onGatt.Tell(result, true, address.c_str()); });
}

void Devices::DisconnectsGatt(const std::string& address, int result)
{
    const Tape::Scope happens = m_tv.tape.Note(address + " is disconnected from low energy");
    m_tv.queue.Post([=, this] { onGatt.Tell(result, false, address.c_str()); });
}

int Devices::AskRssi(const std::string& address, int link, bt_device_rssi_strength_cb callback, void* userData)
{
    const Device* device = Find(address);
    if (device == nullptr && !m_strangers.contains(address)) {
        return BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED;
    }
    onRssi.Set(callback, userData);
    const std::optional<int> rssiOfIt = device != nullptr ? device->rssi : Device().rssi;
    if (rssiOfIt && strength != Strength::NeverComes) {
        constexpr std::chrono::seconds kLate(1);
        const std::chrono::milliseconds delay = strength == Strength::ComesLate ? kLate : std::chrono::seconds(0);
        m_tv.queue.PostAfter(delay, [=, this, text = address, rssi = *rssiOfIt]() mutable {
            onRssi.Tell(strength == Strength::HasNoAddress ? nullptr : text.data(), link, rssi);
        });
    }
    return BT_ERROR_NONE;
}

void Devices::AnswersRssi(const std::string& address, int rssi)
{
    constexpr int kAnyLink = 0xFF;
    m_tv.queue.Post([=, this, text = address]() mutable { onRssi.Tell(text.data(), kAnyLink, rssi); });
}

void Devices::AsksForAuthorization(const std::string& address, const std::string& name, int service, int result)
{
    const Tape::Scope happens = m_tv.tape.Note(address + " asks for service " + std::to_string(service));
    m_openRequests.insert_or_assign(address, service);
    m_tv.queue.Post([=, this, addressText = address, nameText = name]() mutable {
        onAuthorization.Tell(result, addressText.data(), nameText.data(), service);
    });
}

int Devices::Reject(const std::string& address, int service)
{
    const auto found = m_openRequests.find(address);
    if (found == m_openRequests.end() || found->second != service) {
        return BT_ERROR_NOT_IN_PROGRESS;
    }
    m_openRequests.erase(found);
    return BT_ERROR_NONE;
}

void Devices::AsksForAuthentication(const std::string& address, const std::string& name, int type,
                                    const std::string& passkey, int result)
{
    const Tape::Scope happens = m_tv.tape.Note(address + " asks to be authenticated");
    m_tv.queue.Post([=, this, addressText = address, nameText = name, passkeyText = passkey]() mutable {
        onAuthentication.Tell(result, type, nameText.data(), addressText.data(), passkeyText.data());
    });
}

void Devices::AsksForConsent(const std::string& address, const std::string& name, int result)
{
    const Tape::Scope happens = m_tv.tape.Note(address + " asks for consent to pair");
    m_tv.queue.Post([=, this, addressText = address, nameText = name]() mutable {
        onConsent.Tell(result, nameText.data(), addressText.data());
    });
}

void Devices::ReachesMaximum(const std::string& address)
{
    const Tape::Scope happens = m_tv.tape.Note("no more devices can be connected");
    m_tv.queue.Post([this, text = address]() mutable { onMaximum.Tell(0, text.data()); });
}

bt_device_info_s* Devices::NewRecord(const std::string& address)
{
    const Device* device = Find(address);
    if (device == nullptr) {
        return nullptr;
    }
    auto record = std::make_unique<DeviceRecord>(*device);
    bt_device_info_s* info = record->Get();
    m_records.emplace(info, std::move(record));
    return info;
}

void Devices::FreeRecord(bt_device_info_s* record)
{
    if (record != nullptr && m_records.erase(record) == 0) {
        Misuse("a device record is freed that was not given out, or twice");
    }
}

void Devices::CheckRecords() const
{
    if (!m_records.empty()) {
        Misuse(std::to_string(m_records.size()) + " device records were never freed");
    }
}

} // namespace sim
