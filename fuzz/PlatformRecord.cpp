// Records, names and numbers that the platform hands to the service: one event a line, its first letter says which.
// Texts stand between "|", "~" is a null pointer.

#include "Input.h"
#include "Service.h"
#include "Target.h"
#include "sim/Adapter.h"
#include "sim/Audio.h"
#include "sim/Devices.h"
#include "sim/Power.h"
#include "sim/Remotes.h"
#include "sim/Slot.h"
#include "sim/Television.h"

#include <bt_device.h>
#include <bt_hid.h>
#include <device_power.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

namespace {

/// A text that the receiver may write to.
class Text
{
public:
    explicit Text(fuzz::Input& event) : m_text(event.Until('|')) {}

    char* Get()
    {
        return m_text == "~" ? nullptr : m_text.data();
    }

private:
    std::string m_text;
};

/// A device as the platform describes it.
class Record
{
public:
    explicit Record(fuzz::Input& event) : m_address(event), m_name(event)
    {
        m_info.remote_address = m_address.Get();
        m_info.remote_name = m_name.Get();
        m_info.bt_class.major_device_class = event.Byte();
        m_info.bt_class.minor_device_class = event.Byte();
        m_info.is_bonded = event.Digit() != 0;
        m_info.is_connected = event.Digit() != 0;
    }

    bt_device_info_s* Get()
    {
        return &m_info;
    }

private:
    Text m_address;
    Text m_name;
    bt_device_info_s m_info = {};
};

void RemoteTells(fuzz::Service& set, char what, fuzz::Input event)
{
    sim::SmartRemote& remote = set.tv.smartRemote;
    const auto both = [&](auto&& tell) {
        event.Digit() == 0 ? tell(remote.onCharging) : tell(set.tv.wheel.onCharging);
    };
    switch (what) {
    case 'b': {
        bt_hid_battery_status_info_s info = {};
        info.status = event.Byte();
        Text address(event);
        info.remote_address = address.Get();
        return remote.onBattery.Tell(&info);
    }
    case 'c':
        return both([&](const auto& slot) { slot.Tell(event.Byte(), event.Byte()); });
    case 'g':
        return remote.onGripped.Tell(event.Byte());
    case 'k':
        return remote.onGripState.Tell(event.Digit());
    case 'r': {
        const bool connected = event.Digit() != 0;
        Record record(event);
        return remote.onConnection.Tell(connected, record.Get());
    }
    case 'w': {
        const bool connected = event.Digit() != 0;
        Record record(event);
        return set.tv.wheel.onConnection.Tell(connected, record.Get());
    }
    default:
        return;
    }
}

void DeviceAsks(fuzz::Service& set, char what, fuzz::Input event)
{
    sim::Devices& devices = set.tv.devices;
    const int result = event.Digit();
    Text address(event);
    Text name(event);
    switch (what) {
    case 'A':
        return devices.onAuthorization.Tell(result, address.Get(), name.Get(), event.Digit());
    case 'P': {
        Text key(event);
        return devices.onAuthentication.Tell(result, event.Digit(), name.Get(), address.Get(), key.Get());
    }
    case 'C':
        return devices.onConsent.Tell(result, name.Get(), address.Get());
    case 'M':
        return devices.onMaximum.Tell(result, address.Get());
    case 'D':
        return devices.onBondDestroyed.Tell(result, address.Get());
    case 'R':
        return devices.onRssi.Tell(address.Get(), 0, result);
    default:
        return;
    }
}

void DeviceTells(fuzz::Service& set, char what, fuzz::Input event)
{
    const int result = event.Digit();
    const bool connected = event.Digit() != 0;
    const int number = event.Byte();
    if (what == 'B') {
        Record record(event);
        return set.tv.devices.onBondCreated.Tell(result, record.Get());
    }
    Text address(event);
    switch (what) {
    case 'L': {
        bt_device_connection_info_s info = {address.Get(), result, number};
        return set.tv.devices.onConnection.Tell(connected, &info);
    }
    case 'H':
        return set.tv.devices.onHid.Tell(result, connected, address.Get());
    case 'G':
        return set.tv.devices.onGatt.Tell(result, connected, address.Get());
    case 'a':
        return set.tv.audio.onConnection.Tell(result, connected, address.Get(), number);
    case 'l':
        return set.tv.audio.onServiceLevel.Tell(connected, address.Get());
    case 'o':
        return set.tv.audio.onControl.Tell(connected, address.Get());
    case 't':
        return set.tv.audio.onTarget.Tell(connected, address.Get());
    case 'v':
        return set.tv.audio.onInterimVolume.Tell(address.Get(), static_cast<unsigned int>(number));
    case 'V':
        return set.tv.audio.onAbsoluteVolume.Tell(address.Get(), static_cast<unsigned int>(number));
    default:
        return;
    }
}

void SetTells(fuzz::Service& set, char what, fuzz::Input event)
{
    switch (what) {
    case 'n':
        return set.tv.adapter.Reports(event.Digit(), event.Digit());
    case 'p':
        return set.tv.power.GoesTo(event.Digit(), event.Digit(), event.Byte());
    case 'y':
        return set.tv.power.AnnouncesStandby(event.Byte());
    case 'O':
        return set.tv.power.PowersOff(event.Byte());
    case 'Q':
        return set.tv.power.LeavesAmbientByPowerOff(event.Byte());
    case 'u':
        return set.tv.power.WakesUp(event.Byte());
    case '.':
        return set.TimePasses(std::chrono::milliseconds(event.Byte() * event.Byte()));
    default:
        return;
    }
}

void Happens(fuzz::Service& set, const std::string& line)
{
    fuzz::Input event(reinterpret_cast<const std::uint8_t*>(line.data()), line.size());
    const char what = event.Letter();
    RemoteTells(set, what, event);
    DeviceAsks(set, what, event);
    DeviceTells(set, what, event);
    SetTells(set, what, event);
    set.Settles();
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    constexpr int kMostEvents = 50;
    fuzz::Input input(data, size);
    fuzz::Service set;
    for (int event = 0; event < kMostEvents && !input.IsAtEnd(); ++event) {
        Happens(set, input.Until('\n'));
    }
    return 0;
}
