#include "overview/Overview.h"

#include "Log.h"
#include "features/KeyFiles.h"
#include "hid/Host.h"
#include "hid/Protocol.h"
#include "hid/Remote.h"
#include "hid/Roster.h"

#include <glib-object.h>

#include <list>
#include <optional>
#include <string>

namespace overview {

namespace {

using Call = GDBusMethodInvocation;

constexpr int kUnknown = -1;
constexpr unsigned kLevelMask = 0x07;
constexpr unsigned kReadingShift = 3;

gboolean OnListRemotes(VantorOverview1* object, Call* call, gpointer)
{
    GVariantBuilder list;
    g_variant_builder_init(&list, G_VARIANT_TYPE("a(ssbbiixiu)"));
    const gint64 now = hid::Roster::Now();
    for (const hid::RosterEntry& entry : hid::Host::OfProcess().KnownRemotes()) {
        const std::optional<unsigned> battery = entry.battery;
        g_variant_builder_add(
            &list, "(ssbbiixiu)", entry.address.c_str(), entry.role == hid::Role::Wheel ? "wheel" : "smart-remote",
            entry.isConnected ? TRUE : FALSE, entry.speaks ? TRUE : FALSE,
            battery ? static_cast<int>(*battery & kLevelMask) : kUnknown,
            battery ? static_cast<int>(*battery >> kReadingShift) : kUnknown,
            battery ? now - entry.batteryTime : gint64{kUnknown},
            entry.identity ? int{entry.identity->deviceType} : kUnknown, entry.identity ? entry.identity->firmware : 0);
    }
    vantor_overview1_complete_list_remotes(object, call, g_variant_builder_end(&list));
    return TRUE;
}

gboolean OnListFeatures(VantorOverview1* object, Call* call, gpointer)
{
    GVariantBuilder list;
    g_variant_builder_init(&list, G_VARIANT_TYPE("a(sss)"));
    features::KeyFiles::OfBox().ForEach([&](const char* group, const char* key, const char* value) {
        g_variant_builder_add(&list, "(sss)", group, key, value);
    });
    vantor_overview1_complete_list_features(object, call, g_variant_builder_end(&list));
    return TRUE;
}

} // namespace

Overview& Overview::OfProcess()
{
    static Overview overview;
    return overview;
}

Overview::Overview()
{
    // Made before this object, and so there until it has gone.
    bus::SystemBus::Shared();
}

Overview::~Overview()
{
    Close();
}

void Overview::Open()
{
    bus::SystemBus::Shared().Enter(*this);
}

void Overview::Close()
{
    bus::SystemBus::Shared().Leave(*this);
}

void Overview::BusSettled(GDBusConnection* connection)
{
    m_object.reset(vantor_overview1_skeleton_new());
    g_signal_connect(m_object.get(), "handle-list-remotes", G_CALLBACK(OnListRemotes), nullptr);
    g_signal_connect(m_object.get(), "handle-list-features", G_CALLBACK(OnListFeatures), nullptr);
    GError* failure = nullptr;
    if (g_dbus_interface_skeleton_export(G_DBUS_INTERFACE_SKELETON(m_object.get()), connection, bus::kOwnPath,
                                         &failure) == FALSE) {
        const bus::ErrorPtr error(failure);
        PLATFORM_LOG(DLOG_ERROR, "the overview is not on the bus: %s", error->message);
        m_object.reset();
    }
}

void Overview::BusWent(GDBusConnection*)
{
    if (m_object) {
        g_dbus_interface_skeleton_unexport(G_DBUS_INTERFACE_SKELETON(m_object.get()));
        m_object.reset();
    }
}

} // namespace overview
