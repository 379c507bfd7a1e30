#pragma once

#include "bluez/Advertiser.h"
#include "bluez/Audio.h"
#include "bluez/Bonds.h"
#include "bluez/Broker.h"
#include "bluez/Daemon.h"
#include "bluez/Headless.h"
#include "bluez/Links.h"
#include "bluez/Power.h"
#include "bluez/Profiles.h"
#include "bluez/Tree.h"
#include "mgmt/Client.h"
#include "mgmt/Protocol.h"

#include <gio/gio.h>

#include <cstdint>
#include <functional>
#include <set>
#include <span>
#include <string>
#include <string_view>

namespace bluez {

/// Why a device that brings no audio woke the box, in the numbers of bt_adapter_get_power_on_reason.
inline constexpr int kPowerOnReasonOther = 2;

/// Bluetooth as the service sees it: one adapter, its devices, and what they ask for.
///
/// Hears of every change on the main loop and hands it to the parts. Nothing is told to the service while a function of
/// the platform runs: what is found at the start was there before, and what ends with the stack is nobody's news.
class Stack final : private TreeListener, private DaemonListener
{
public:
    static Stack& Shared();

    Stack();

    /// Finds the daemon and the adapter, as far as they are there; what is not may come later.
    void Init();
    /// Lets go of all but the adapter's power.
    void Deinit();
    [[nodiscard]] bool IsInitialised() const
    {
        return m_isInitialised;
    }

    /// The adapter that is used; null while there is none. It belongs to the tree.
    [[nodiscard]] const Adapter* TheAdapter() const;
    /// The kernel's number of it, -1 while there is none.
    [[nodiscard]] int Index() const;
    /// The device of our adapter with this address, in any letters; null when there is none.
    [[nodiscard]] const Device* FindDevice(const char* address) const;
    /// Whether the service may be told things now.
    [[nodiscard]] bool MayTell() const
    {
        return !m_isQuiet;
    }
    /// Whether the kernel tells of links and bonds; otherwise what the daemon says has to do.
    [[nodiscard]] bool KernelTells() const
    {
        return m_kernelTells;
    }

    /// The address of the device whose connection woke the box last; empty when it was something else.
    [[nodiscard]] std::string WakeDevice() const;

    /// Told of each change of a device of our adapter, after the parts; null stands for "is not there".
    std::function<void(const Device* before, const Device* now)> onDeviceChanged;

    /// Told of each adapter that is pulled, with its address, before its devices go; not of those of a daemon that
    /// ends.
    std::function<void(const std::string& address)> onAdapterWent;

    // The parts.
    Daemon daemon;
    mgmt::Client kernel;
    Power power;
    Advertiser advertiser;
    Headless headless;
    Links links;
    Bonds bonds;
    Audio audio;
    Broker broker;
    Profiles profiles;

private:
    void AdapterChanged(const Adapter* before, const Adapter* now) override;
    void DeviceChanged(const Device* before, const Device* now) override;
    void TransportChanged(const Transport* before, const Transport* now) override;
    void ManagerCame(std::string_view interface) override;
    void DaemonWent() override;
    void OnKernelEvent(mgmt::Event event, std::span<const std::uint8_t> parameters);

    void Choose();
    void ListenToKernel();
    void BusWent();

    bool m_isInitialised = false;
    bool m_isQuiet = false;
    bool m_kernelTells = false;
    std::string m_preferred; ///< the adapter that the owner of the box wants, "hci1"; empty: the first
    std::string m_chosen;    ///< path; empty while there is none
    std::set<std::string, std::less<>> m_managers; ///< those of the daemon's present life that we have met
};

} // namespace bluez
