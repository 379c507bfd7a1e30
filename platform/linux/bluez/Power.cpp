#include "bluez/Power.h"

#include "Log.h"
#include "NotSupported.h"
#include "bluez/Bonds.h"
#include "bluez/Daemon.h"
#include "bluez/Headless.h"
#include "bluez/Result.h"
#include "bluez/Stack.h"
#include "bus/Handles.h"
#include "bus/Remote.h"
#include "files/Root.h"
#include "hci/Controller.h"
#include "mgmt/Bytes.h"
#include "mgmt/Client.h"
#include "mgmt/Protocol.h"
#include "power/Wake.h"
#include "settings/FileDescriptor.h"

#include <glib.h>

#include <bt_adapter.h>
#include <bt_error.h>
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

namespace bluez {

namespace {

constexpr std::size_t kLongestName = 248;

// A daemon that ends switches its adapters off first. Who sees an adapter go off knows only a moment later whether
// somebody switched it off or the daemon is being started anew.
constexpr guint kMindMs = 3000;

/// Takes away a block that a switch or a desktop has put on all Bluetooth radios. Without the right to, it stays.
void Unblock()
{
    // The kernel's rfkill event: index, type 2 = Bluetooth, operation 3 = change all, not blocked by software, and the
    // hardware's part, which cannot be written.
    constexpr std::array<unsigned char, 8> kUnblockAll = {0, 0, 0, 0, 2, 3, 0, 0};
    const std::string path = files::UnderRoot("/dev/rfkill");
    const settings::FileDescriptor rfkill(open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
    if (rfkill.IsOpen() && write(rfkill.Get(), kUnblockAll.data(), kUnblockAll.size()) < 0) {
        PLATFORM_LOG(DLOG_WARN, "cannot unblock Bluetooth: %s", strerror(errno));
    }
}

} // namespace

int Power::ReadPowered(bool& powered, const bus::Deadline& deadline) const
{
    const Adapter* adapter = m_stack.TheAdapter();
    if (adapter == nullptr) {
        return BT_ERROR_NOT_INITIALIZED;
    }
    bus::ErrorPtr error;
    const bus::VariantPtr value =
        bus::GetProperty(m_stack.daemon.Remote(), adapter->path, kAdapterInterface, "Powered", deadline, error);
    if (!value) {
        return ResultOf(error.get());
    }
    if (!g_variant_is_of_type(value.get(), G_VARIANT_TYPE_BOOLEAN)) {
        return BT_ERROR_OPERATION_FAILED;
    }
    powered = g_variant_get_boolean(value.get()) != FALSE;
    return BT_ERROR_NONE;
}

int Power::Enable()
{
    m_isWanted = true;
    m_changesItsMind.Stop();
    if (m_switching == true) {
        return BT_ERROR_NONE; // the callback of the first request is the answer to both
    }
    // A daemon that is asked to switch on what is on says yes, and nothing ever changes.
    bool powered = false;
    if (const int result = ReadPowered(powered, bus::Deadline()); result != BT_ERROR_NONE) {
        return result;
    }
    if (powered) {
        m_told = true;
        return BT_ERROR_ALREADY_DONE;
    }
    SwitchLater(true);
    return BT_ERROR_NONE;
}

int Power::Disable()
{
    m_isWanted = false;
    if (m_switching == false) {
        return BT_ERROR_NONE;
    }
    bool powered = false;
    if (const int result = ReadPowered(powered, bus::Deadline()); result != BT_ERROR_NONE) {
        return result;
    }
    if (!powered && !m_switching) {
        m_told = false;
        return BT_ERROR_NOT_ENABLED;
    }
    SwitchLater(false);
    return BT_ERROR_NONE;
}

int Power::GetState(bt_adapter_state_e& state) const
{
    bool powered = false;
    const int result = ReadPowered(powered, bus::Deadline());
    if (result == BT_ERROR_NONE) {
        state = powered ? BT_ADAPTER_ENABLED : BT_ADAPTER_DISABLED;
    }
    return result;
}

void Power::SwitchLater(bool on)
{
    const Adapter* adapter = m_stack.TheAdapter();
    if (adapter == nullptr) {
        return;
    }
    if (on) {
        Unblock();
    }
    m_switching = on;
    bus::SetPropertyLater(m_stack.daemon.Remote(), adapter->path, kAdapterInterface, "Powered",
                          g_variant_new_boolean(on), [this, request = ++m_request](GVariant*, const GError* error) {
                              if (request != m_request || !m_switching) {
                                  return;
                              }
                              // While the daemon is at it already, its own end is to be waited for.
                              if (error != nullptr && !IsBusy(error)) {
                                  PLATFORM_LOG(DLOG_ERROR, "cannot switch Bluetooth %s: %s",
                                               *m_switching ? "on" : "off", error->message);
                                  Failed(ResultOf(error));
                              }
                          });
}

void Power::Failed(int result)
{
    m_switching.reset();
    if (m_stack.MayTell()) {
        onStateChanged.Tell(result, m_told ? BT_ADAPTER_ENABLED : BT_ADAPTER_DISABLED);
    }
}

void Power::Follow(bool powered)
{
    if (m_switching == powered) {
        m_switching.reset();
    }
    if (powered) {
        power::Wakes::OfProcess().Reached(power::Milestone::AdapterOn);
    }
    if (m_told == powered) {
        return;
    }
    m_told = powered;
    if (m_stack.MayTell()) {
        onStateChanged.Tell(BT_ERROR_NONE, powered ? BT_ADAPTER_ENABLED : BT_ADAPTER_DISABLED);
    }
}

void Power::AdapterCame(const Adapter& adapter)
{
    ApplyName(adapter);
    if (adapter.powered) {
        ApplyVisibility();
    } else if (m_isWanted && m_stack.MayTell()) {
        SwitchLater(true);
    }
    Follow(adapter.powered);
}

void Power::AdapterChanged(const Adapter& adapter)
{
    const bool wasTold = m_told;
    if (adapter.powered && !wasTold) {
        ApplyVisibility();
    }
    if (!adapter.powered && wasTold && m_isWanted) {
        m_changesItsMind.Start(kMindMs, [this] {
            // A daemon that takes longer to end answers no more.
            bool powered = true;
            if (ReadPowered(powered, bus::Deadline()) == BT_ERROR_NONE && !powered) {
                m_isWanted = false;
            }
        });
    }
    Follow(adapter.powered);
}

void Power::AdapterWent()
{
    m_changesItsMind.Stop();
    m_switching.reset();
    Follow(false);
}

void Power::Forget()
{
    m_changesItsMind.Stop();
    m_switching.reset();
    m_told = false;
    m_isWanted = false;
    m_name.reset();
    m_visibility.reset();
}

int Power::SetName(const char* name)
{
    const std::size_t length = strlen(name);
    if (length > kLongestName || g_utf8_validate(name, static_cast<gssize>(length), nullptr) == FALSE) {
        return BT_ERROR_INVALID_PARAMETER;
    }
    m_name = name;
    const Adapter* adapter = m_stack.TheAdapter();
    if (adapter == nullptr) {
        return BT_ERROR_NOT_INITIALIZED;
    }
    bus::ErrorPtr error;
    return bus::SetProperty(m_stack.daemon.Remote(), adapter->path, kAdapterInterface, "Alias",
                            g_variant_new_string(name), bus::Deadline(), error)
               ? BT_ERROR_NONE
               : ResultOf(error.get());
}

void Power::ApplyName(const Adapter& adapter)
{
    if (m_name && *m_name != adapter.alias) {
        bus::SetPropertyLater(m_stack.daemon.Remote(), adapter.path, kAdapterInterface, "Alias",
                              g_variant_new_string(m_name->c_str()));
    }
}

int Power::SetVisibility(bool visible, int timeoutS)
{
    if (timeoutS < 0) {
        return BT_ERROR_INVALID_PARAMETER;
    }
    m_visibility = {visible, static_cast<unsigned>(timeoutS)};
    const Adapter* adapter = m_stack.TheAdapter();
    if (adapter == nullptr || !adapter->powered) {
        return BT_ERROR_NONE; // applied when it is on; the daemon refuses it before
    }
    const bus::Deadline deadline;
    bus::ErrorPtr error;
    const bus::Remote& remote = m_stack.daemon.Remote();
    const bool isDone = bus::SetProperty(remote, adapter->path, kAdapterInterface, "DiscoverableTimeout",
                                         g_variant_new_uint32(m_visibility->timeoutS), deadline, error) &&
                        bus::SetProperty(remote, adapter->path, kAdapterInterface, "Discoverable",
                                         g_variant_new_boolean(visible), deadline, error);
    return isDone ? BT_ERROR_NONE : ResultOf(error.get());
}

void Power::ApplyVisibility()
{
    const Adapter* adapter = m_stack.TheAdapter();
    if (!m_visibility || adapter == nullptr) {
        return;
    }
    const bus::Remote& remote = m_stack.daemon.Remote();
    bus::SetPropertyLater(remote, adapter->path, kAdapterInterface, "DiscoverableTimeout",
                          g_variant_new_uint32(m_visibility->timeoutS));
    bus::SetPropertyLater(remote, adapter->path, kAdapterInterface, "Discoverable",
                          g_variant_new_boolean(m_visibility->on), [](GVariant*, const GError* error) {
                              if (error != nullptr) {
                                  PLATFORM_LOG(DLOG_ERROR, "cannot set the visibility: %s", error->message);
                              }
                          });
}

int Power::SetConnectable(bool connectable)
{
    if (m_stack.TheAdapter() == nullptr) {
        return BT_ERROR_NOT_INITIALIZED;
    }
    const std::array<std::uint8_t, 1> parameters = {static_cast<std::uint8_t>(connectable ? 1 : 0)};
    if (!m_stack.kernel.IsOpen()) {
        return NotSupported("bt_adapter_set_connectable", "no management channel");
    }
    const auto reply = m_stack.kernel.SendAndWait(mgmt::Command::SetConnectable, parameters, bus::Deadline());
    if (!reply) {
        return BT_ERROR_TIMED_OUT;
    }
    switch (reply->status) {
    case mgmt::kSuccess:
        return BT_ERROR_NONE;
    case mgmt::kPermissionDenied:
        return NotSupported("bt_adapter_set_connectable", "CAP_NET_ADMIN is missing");
    default:
        return BT_ERROR_OPERATION_FAILED;
    }
}

int Power::SetReachable(bool discoverable, bool pairable, const bus::Deadline& deadline)
{
    const Adapter* adapter = m_stack.TheAdapter();
    if (adapter == nullptr) {
        return BT_ERROR_NOT_INITIALIZED;
    }
    bus::ErrorPtr error;
    const bus::Remote& remote = m_stack.daemon.Remote();
    const bool isDone = bus::SetProperty(remote, adapter->path, kAdapterInterface, "Discoverable",
                                         g_variant_new_boolean(discoverable), deadline, error) &&
                        bus::SetProperty(remote, adapter->path, kAdapterInterface, "Pairable",
                                         g_variant_new_boolean(pairable), deadline, error);
    return isDone ? BT_ERROR_NONE : ResultOf(error.get());
}

int Power::ChipVersion(int& version)
{
    const int index = m_stack.Index();
    if (index < 0) {
        return BT_ERROR_NOT_INITIALIZED;
    }
    const bus::Deadline deadline;
    if (const auto found = hci::Controller(index).Version(deadline)) {
        version = static_cast<int>(*found);
        return BT_ERROR_NONE;
    }
    const auto reply = m_stack.kernel.SendAndWait(mgmt::Command::ReadControllerInformation, {}, deadline);
    if (!reply) {
        // An adapter that was just pulled answers nothing, and the next one may.
        return m_stack.kernel.IsOpen()
                   ? int{BT_ERROR_TIMED_OUT}
                   : NotSupported("bt_adapter_get_chip_version", "no raw and no management channel");
    }
    mgmt::Reader reader(reply->parameters);
    reader.Address();
    const auto found = reader.Byte();
    if (reply->status != mgmt::kSuccess || !found) {
        return BT_ERROR_OPERATION_FAILED;
    }
    version = *found;
    return BT_ERROR_NONE;
}

int Power::Reset()
{
    const Adapter* adapter = m_stack.TheAdapter();
    if (adapter == nullptr) {
        return BT_ERROR_NOT_INITIALIZED;
    }
    const bus::Deadline deadline;
    const std::string path = adapter->path;
    int result = m_stack.bonds.RemoveAll(path, deadline);
    m_name.reset();
    m_visibility.reset();
    m_stack.headless.Clear();
    const bus::Remote& remote = m_stack.daemon.Remote();
    const auto set = [&](const char* property, GVariant* value) {
        bus::ErrorPtr error;
        if (!bus::SetProperty(remote, path, kAdapterInterface, property, value, deadline, error) &&
            result == BT_ERROR_NONE) {
            result = ResultOf(error.get());
        }
    };
    set("Alias", g_variant_new_string(""));
    set("Pairable", g_variant_new_boolean(TRUE));
    if (m_told) {
        set("Discoverable", g_variant_new_boolean(FALSE));
    }
    return result;
}

} // namespace bluez
