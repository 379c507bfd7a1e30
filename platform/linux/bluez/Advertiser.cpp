#include "bluez/Advertiser.h"

#include "Log.h"
#include "NotSupported.h"
#include "bluez/Daemon.h"
#include "bluez/Proxy.h"
#include "bluez/Result.h"
#include "bluez/Stack.h"
#include "bus/Remote.h"
#include "hci/Controller.h"

#include <gio/gio.h>

#include <bluez_dbus.h>
#include <bt_error.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <string>

namespace bluez {

namespace {

constexpr const char* kPath = "/org/vantor/platform/advertisement";
constexpr int kCompanySize = 2;
constexpr int kMostBytes = 238; // what an inquiry response holds beside the length and the type

// An advertisement has 31 bytes: length, type and company take four of them, the flags of a visible box three.
constexpr std::size_t kAdvertisedBytes = 24;

// Several changes come at once when the adapter goes on.
constexpr guint kSoonMs = 250;
// The main loop waits for the controller then, which answers within a few milliseconds.
constexpr int kControllerPatienceMs = 250;

gboolean OnRelease(BluezLEAdvertisement1* advertisement, GDBusMethodInvocation* invocation, gpointer)
{
    bluez_leadvertisement1_complete_release(advertisement, invocation);
    return TRUE;
}

} // namespace

Advertiser::~Advertiser()
{
    BusWent();
}

int Advertiser::Set(const char* data, int length)
{
    if (length < kCompanySize || length > kMostBytes) {
        return BT_ERROR_INVALID_PARAMETER;
    }
    m_data.assign(data, data + length);
    const Adapter* adapter = m_stack.TheAdapter();
    if (adapter == nullptr) {
        return BT_ERROR_NOT_INITIALIZED;
    }
    if (!adapter->powered) {
        return BT_ERROR_NONE; // applied when it is on
    }
    const bool isWritten = WriteResponse(bus::Deadline());
    if (adapter->advertises) {
        Withdraw();
        Register(*adapter);
        return BT_ERROR_NONE;
    }
    return isWritten ? BT_ERROR_NONE
                     : NotSupported("bt_adapter_set_eir_manufacturer_data", "CAP_NET_RAW is missing, or the controller "
                                                                            "has no extended inquiry response");
}

bool Advertiser::WriteResponse(const bus::Deadline& deadline) const
{
    hci::Controller controller(m_stack.Index());
    const bool isWritten = controller.IsOpen() && controller.SetManufacturerData(m_data, deadline);
    if (!isWritten) {
        NotSupported("the extended inquiry response's manufacturer data", "no raw channel, or the controller refuses");
    }
    return isWritten;
}

GVariant* Advertiser::Data() const
{
    const auto company = static_cast<guint16>(m_data[0] | m_data[1] << 8U);
    auto end =
        std::find_if(m_data.rbegin(), m_data.rend() - kCompanySize, [](std::uint8_t byte) { return byte != 0; }).base();
    const auto size = std::min(static_cast<std::size_t>(end - m_data.begin()) - kCompanySize, kAdvertisedBytes);
    GVariantBuilder builder;
    g_variant_builder_init(&builder, G_VARIANT_TYPE("a{qv}"));
    g_variant_builder_add(&builder, "{qv}", company,
                          g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, m_data.data() + kCompanySize, size, 1));
    return g_variant_builder_end(&builder);
}

void Advertiser::Register(const Adapter& adapter)
{
    const bus::Remote& remote = m_stack.daemon.Remote();
    const auto manager = MakeProxy<bluez_leadvertising_manager1_proxy_new_sync>(remote, adapter.path);
    if (m_data.empty() || !manager || !adapter.advertises) {
        return;
    }
    if (!m_advertisement) {
        m_advertisement.reset(bluez_leadvertisement1_skeleton_new());
        g_signal_connect(m_advertisement.get(), "handle-release", G_CALLBACK(OnRelease), nullptr);
    }
    bluez_leadvertisement1_set_type_(m_advertisement.get(), "peripheral");
    bluez_leadvertisement1_set_manufacturer_data(m_advertisement.get(), Data());
    auto* skeleton = G_DBUS_INTERFACE_SKELETON(m_advertisement.get());
    if (g_dbus_interface_skeleton_get_connection(skeleton) == nullptr) {
        g_dbus_interface_skeleton_export(skeleton, remote.connection, kPath, nullptr);
    }
    m_isRegistered = true;
    GVariantBuilder options;
    g_variant_builder_init(&options, G_VARIANT_TYPE_VARDICT);
    bluez_leadvertising_manager1_call_register_advertisement(
        manager.get(), kPath, g_variant_builder_end(&options), G_DBUS_CALL_FLAGS_NONE, -1, nullptr, bus::OnDone,
        bus::Done([](GObject* source, GAsyncResult* result) {
            GError* failure = nullptr;
            if (bluez_leadvertising_manager1_call_register_advertisement_finish(BLUEZ_LEADVERTISING_MANAGER1(source),
                                                                                result, &failure) == FALSE) {
                const bus::ErrorPtr error(failure);
                PLATFORM_LOG(DLOG_ERROR, "cannot advertise the manufacturer data: %s", error->message);
            }
        }));
}

void Advertiser::Withdraw()
{
    const Adapter* adapter = m_stack.TheAdapter();
    if (!m_isRegistered || adapter == nullptr) {
        return;
    }
    m_isRegistered = false;
    const auto manager = MakeProxy<bluez_leadvertising_manager1_proxy_new_sync>(m_stack.daemon.Remote(), adapter->path);
    if (manager) {
        bluez_leadvertising_manager1_call_unregister_advertisement(manager.get(), kPath, G_DBUS_CALL_FLAGS_NONE, -1,
                                                                   nullptr, nullptr, nullptr);
    }
}

void Advertiser::AdapterChanged(const Adapter* before, const Adapter* now)
{
    if (m_data.empty()) {
        return;
    }
    const bool was = before != nullptr && before->powered;
    if (!now->powered) {
        // The kernel drops it with the power; the daemon goes on thinking that it is there.
        Withdraw();
        return;
    }
    if (now->advertises && !m_isRegistered) {
        Register(*now);
    }
    if (!was || before->uuids != now->uuids) {
        ResponseChanged();
    }
}

void Advertiser::AdapterWent()
{
    m_isRegistered = false;
    m_soon.Stop();
}

void Advertiser::ResponseChanged()
{
    if (m_data.empty()) {
        return;
    }
    m_soon.Start(kSoonMs, [this] {
        const Adapter* adapter = m_stack.TheAdapter();
        if (adapter != nullptr && adapter->powered) {
            (void)WriteResponse(bus::Deadline(kControllerPatienceMs));
        }
    });
}

void Advertiser::BusWent()
{
    m_isRegistered = false;
    if (m_advertisement) {
        g_dbus_interface_skeleton_unexport(G_DBUS_INTERFACE_SKELETON(m_advertisement.get()));
        m_advertisement.reset();
    }
}

void Advertiser::Forget()
{
    Withdraw();
    m_soon.Stop();
    m_data.clear();
}

} // namespace bluez
