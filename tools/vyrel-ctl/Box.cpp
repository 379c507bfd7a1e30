#include "vyrel-ctl/Box.h"

#include "bus/Handles.h"
#include "people/Failure.h"
#include "people/NoListener.h"

#include <map>
#include <string_view>
#include <utility>

namespace control {

namespace {

/// Calls \p take with each element of the array that a call gives, which is of the type \p type.
template <typename Take>
void ForEach(const people::Bus& bus, const char* interface, const char* method, const char* type, Take take)
{
    const bus::VariantPtr reply = bus.CallPlatform(interface, method, nullptr, type);
    const bus::VariantPtr list(g_variant_get_child_value(reply.get(), 0));
    for (gsize index = 0; index < g_variant_n_children(list.get()); ++index) {
        take(bus::VariantPtr(g_variant_get_child_value(list.get(), index)).get());
    }
}

} // namespace

Bluetooth AskBluetooth(const people::Bus& bus)
{
    if (!bus.Has(people::kBluez)) {
        throw people::Failure(people::kNoService, "the Bluetooth daemon does not run");
    }
    people::NoListener nobody;
    bluez::Tree tree(nobody);
    tree.Load(bus.BluezObjects().get());
    Bluetooth bluetooth;
    for (const auto& [path, adapter] : tree.Adapters()) {
        bluetooth.adapters.push_back(adapter);
    }
    for (const auto& [path, device] : tree.Devices()) {
        bluetooth.devices.push_back(device);
    }
    return bluetooth;
}

PowerNow AskPower(const people::Bus& bus, std::vector<Wake>& wakes)
{
    const bus::VariantPtr properties = bus.PlatformProperties(people::kPower);
    PowerNow now;
    gboolean isLocked = FALSE;
    g_variant_lookup(properties.get(), "State", "i", &now.state);
    g_variant_lookup(properties.get(), "AmbientMode", "i", &now.ambientMode);
    g_variant_lookup(properties.get(), "WakeupReason", "i", &now.wakeupReason);
    g_variant_lookup(properties.get(), "Locked", "b", &isLocked);
    now.isLocked = isLocked != FALSE;
    const bus::VariantPtr records(g_variant_lookup_value(properties.get(), "Wakes", G_VARIANT_TYPE("a(sxiii)")));
    for (gsize index = 0; records && index < g_variant_n_children(records.get()); ++index) {
        const char* cause = nullptr;
        Wake wake;
        g_variant_get_child(records.get(), index, "(&sxiii)", &cause, &wake.time, &wake.adapterMs, &wake.remoteMs,
                            &wake.speakerMs);
        wake.cause = cause;
        wakes.push_back(std::move(wake));
    }
    return now;
}

std::vector<RemoteNow> AskRemotes(const people::Bus& bus)
{
    std::vector<RemoteNow> remotes;
    ForEach(bus, people::kOverview, "ListRemotes", "(a(ssbbiixiu))", [&](GVariant* entry) {
        const char* address = nullptr;
        const char* kind = nullptr;
        gboolean isConnected = FALSE;
        gboolean speaks = FALSE;
        RemoteNow remote;
        g_variant_get(entry, "(&s&sbbiixiu)", &address, &kind, &isConnected, &speaks, &remote.level, &remote.reading,
                      &remote.ageMs, &remote.type, &remote.firmware);
        remote.address = address;
        remote.kind = kind;
        remote.isConnected = isConnected != FALSE;
        remote.speaks = speaks != FALSE;
        remotes.push_back(std::move(remote));
    });
    return remotes;
}

std::vector<people::Request> AskRequests(const people::Bus& bus)
{
    return people::RequestsIn(bus.CallPlatform(people::kPairing, "ListPending", nullptr, people::kRequestsType).get());
}

std::vector<Feature> AskFeatures(const people::Bus& bus)
{
    std::vector<Feature> features;
    ForEach(bus, people::kOverview, "ListFeatures", "(a(sss))", [&](GVariant* entry) {
        const char* group = nullptr;
        const char* key = nullptr;
        const char* value = nullptr;
        g_variant_get(entry, "(&s&s&s)", &group, &key, &value);
        features.push_back({group, key, value});
    });
    return features;
}

std::string KindOf(const bluez::Device& device)
{
    constexpr std::pair<std::string_view, const char*> kKinds[] = {
        {"110b", "speaker"},    {"110a", "player"}, {"111e", "hands-free"},
        {"111f", "hands-free"}, {"1124", "input"},  {"1812", "input"},
    };
    for (const auto& [uuid16, kind] : kKinds) {
        if (device.Offers(uuid16)) {
            return kind;
        }
    }
    return {};
}

} // namespace control
