#include "bluez/Tree.h"

#include "bluez/Address.h"
#include "bus/Handles.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <memory>
#include <system_error>
#include <utility>

namespace bluez {

namespace {

using bus::VariantPtr;

constexpr std::string_view kAdvertisingInterface = "org.bluez.LEAdvertisingManager1";
constexpr std::string_view kControlInterface = "org.bluez.MediaControl1";
constexpr std::string_view kBatteryInterface = "org.bluez.Battery1";
constexpr std::array<std::string_view, 2> kManagerInterfaces = {"org.bluez.AgentManager1", "org.bluez.ProfileManager1"};

void Read(GVariant* value, bool& out)
{
    if (g_variant_is_of_type(value, G_VARIANT_TYPE_BOOLEAN)) {
        out = g_variant_get_boolean(value) != FALSE;
    }
}

void Read(GVariant* value, std::optional<bool>& out)
{
    if (g_variant_is_of_type(value, G_VARIANT_TYPE_BOOLEAN)) {
        out = g_variant_get_boolean(value) != FALSE;
    }
}

void Read(GVariant* value, std::string& out)
{
    if (g_variant_is_of_type(value, G_VARIANT_TYPE_STRING) || g_variant_is_of_type(value, G_VARIANT_TYPE_OBJECT_PATH)) {
        out = g_variant_get_string(value, nullptr);
    }
}

void Read(GVariant* value, std::optional<std::uint32_t>& out)
{
    if (g_variant_is_of_type(value, G_VARIANT_TYPE_UINT32)) {
        out = g_variant_get_uint32(value);
    }
}

void Read(GVariant* value, std::optional<std::uint16_t>& out)
{
    if (g_variant_is_of_type(value, G_VARIANT_TYPE_UINT16)) {
        out = g_variant_get_uint16(value);
    }
}

void Read(GVariant* value, std::optional<std::uint8_t>& out)
{
    if (g_variant_is_of_type(value, G_VARIANT_TYPE_BYTE)) {
        out = g_variant_get_byte(value);
    }
}

std::string Lower(std::string text)
{
    std::ranges::transform(text, text.begin(), g_ascii_tolower);
    return text;
}

void Read(GVariant* value, std::vector<std::string>& out)
{
    if (!g_variant_is_of_type(value, G_VARIANT_TYPE_STRING_ARRAY)) {
        return;
    }
    out.clear();
    GVariantIter items;
    g_variant_iter_init(&items, value);
    const char* text = nullptr;
    while (g_variant_iter_next(&items, "&s", &text) != FALSE) {
        out.push_back(Lower(text));
    }
}

void Set(Adapter& adapter, std::string_view name, GVariant* value)
{
    if (name == "Address") {
        Read(value, adapter.address);
    } else if (name == "Alias") {
        Read(value, adapter.alias);
    } else if (name == "Powered") {
        Read(value, adapter.powered);
    } else if (name == "Discoverable") {
        Read(value, adapter.discoverable);
    } else if (name == "UUIDs") {
        Read(value, adapter.uuids);
    }
}

void SetAddress(Device& device, GVariant* value)
{
    std::string address;
    Read(value, address);
    if (IsAddress(address)) {
        device.address = Normalised(address);
    }
}

void SetLinkProperty(Device& device, std::string_view name, GVariant* value)
{
    if (name == "Paired") {
        Read(value, device.paired);
    } else if (name == "Bonded") {
        Read(value, device.bonded);
    } else if (name == "Connected") {
        Read(value, device.connected);
    } else if (name == "Trusted") {
        Read(value, device.trusted);
    } else if (name == "WakeAllowed") {
        Read(value, device.wakeAllowed);
    }
}

void Set(Device& device, std::string_view name, GVariant* value)
{
    if (name == "Address") {
        SetAddress(device, value);
    } else if (name == "AddressType") {
        std::string type;
        Read(value, type);
        device.random = type == "random";
    } else if (name == "Name") {
        Read(value, device.name);
    } else if (name == "Modalias") {
        Read(value, device.modalias);
    } else if (name == "Class") {
        Read(value, device.deviceClass);
    } else if (name == "UUIDs") {
        Read(value, device.uuids);
    } else {
        SetLinkProperty(device, name, value);
    }
}

void Set(Transport& transport, std::string_view name, GVariant* value)
{
    if (name == "Device") {
        Read(value, transport.device);
    } else if (name == "UUID") {
        Read(value, transport.uuid);
        transport.uuid = Lower(std::move(transport.uuid));
    } else if (name == "Volume") {
        Read(value, transport.volume);
    }
}

/// What is invalidated is not known any more; of all that is read here only these may go.
void Forget(Device& device, std::string_view name)
{
    if (name == "Class") {
        device.deviceClass.reset();
    } else if (name == "WakeAllowed") {
        device.wakeAllowed.reset();
    }
}

template <typename Deed>
void ForEachProperty(GVariant* properties, Deed deed)
{
    GVariantIter items;
    g_variant_iter_init(&items, properties);
    const char* name = nullptr;
    GVariant* value = nullptr;
    while (g_variant_iter_next(&items, "{&sv}", &name, &value) != FALSE) {
        const VariantPtr owned(value);
        deed(std::string_view(name), value);
    }
}

/// Puts the properties into the object, which is made when it is new.
/// \return the object as it was before, if it was there
template <typename Object>
std::optional<Object> Merge(std::map<std::string, Object, std::less<>>& objects, const std::string& path,
                            GVariant* properties)
{
    const auto found = objects.find(path);
    std::optional<Object> before = found != objects.end() ? std::optional(found->second) : std::nullopt;
    Object& object = found != objects.end() ? found->second : objects[path];
    object.path = path;
    ForEachProperty(properties, [&](std::string_view name, GVariant* value) { Set(object, name, value); });
    return before;
}

template <typename Object>
const Object* OrNull(const std::optional<Object>& object)
{
    return object ? &*object : nullptr;
}

bool IsUnder(std::string_view path, std::string_view parent)
{
    return path.size() > parent.size() && path.starts_with(parent) && path[parent.size()] == '/';
}

} // namespace

int Adapter::Index() const
{
    const std::string_view kPrefix = "/hci";
    const std::size_t at = path.rfind(kPrefix);
    int index = -1;
    if (at == std::string::npos) {
        return index;
    }
    const char* end = path.data() + path.size();
    const auto [rest, error] = std::from_chars(path.data() + at + kPrefix.size(), end, index);
    return error == std::errc() && rest == end && index >= 0 ? index : -1;
}

bool IsUuid(std::string_view uuid, std::string_view uuid16)
{
    constexpr std::string_view kRest = "-0000-1000-8000-00805f9b34fb";
    return uuid.starts_with("0000") && uuid.substr(4, 4) == uuid16 && uuid.substr(8) == kRest;
}

bool Device::Offers(std::string_view uuid16) const
{
    return std::ranges::any_of(uuids, [&](const std::string& uuid) { return IsUuid(uuid, uuid16); });
}

const Device* Tree::DeviceAt(std::string_view path) const
{
    const auto found = m_devices.find(path);
    return found != m_devices.end() ? &found->second : nullptr;
}

const Device* Tree::DeviceWith(std::string_view adapter, std::string_view address) const
{
    for (auto found = m_devices.lower_bound(adapter); found != m_devices.end(); ++found) {
        if (!found->first.starts_with(adapter)) {
            break;
        }
        if (found->second.address == address && IsUnder(found->first, adapter)) {
            return &found->second;
        }
    }
    return nullptr;
}

void Tree::Load(GVariant* objects)
{
    // By path: an adapter comes before its devices, a device before its streams, and of several adapters the first.
    std::map<std::string, VariantPtr, std::less<>> there;
    GVariantIter items;
    g_variant_iter_init(&items, objects);
    const char* objectPath = nullptr;
    GVariant* objectInterfaces = nullptr;
    while (g_variant_iter_next(&items, "{&o@a{sa{sv}}}", &objectPath, &objectInterfaces) != FALSE) {
        there.insert_or_assign(objectPath, VariantPtr(objectInterfaces));
    }
    for (const auto& [path, interfaces] : there) {
        AddInterfaces(path, interfaces.get());
    }
    const auto leavesOut = [&](const auto& known, auto&& remove) {
        std::vector<std::string> gone;
        for (const auto& [path, object] : known) {
            if (!there.contains(path)) {
                gone.push_back(path);
            }
        }
        std::ranges::for_each(gone, remove);
    };
    leavesOut(m_transports, [this](const std::string& gone) { RemoveInterface(gone, kTransportInterface); });
    leavesOut(m_adapters, [this](const std::string& gone) { RemoveInterface(gone, kAdapterInterface); });
    leavesOut(m_devices, [this](const std::string& gone) { RemoveInterface(gone, kDeviceInterface); });
}

void Tree::Added(GVariant* arguments)
{
    if (!g_variant_is_of_type(arguments, G_VARIANT_TYPE("(oa{sa{sv}})"))) {
        return;
    }
    const char* path = nullptr;
    GVariant* interfaces = nullptr;
    g_variant_get(arguments, "(&o@a{sa{sv}})", &path, &interfaces);
    const VariantPtr owned(interfaces);
    AddInterfaces(path, interfaces);
}

void Tree::AddInterfaces(const std::string& path, GVariant* interfaces)
{
    GVariantIter items;
    g_variant_iter_init(&items, interfaces);
    const char* interface = nullptr;
    GVariant* properties = nullptr;
    // The device itself goes before what hangs on it.
    const VariantPtr device(g_variant_lookup_value(interfaces, kDeviceInterface, G_VARIANT_TYPE_VARDICT));
    if (device) {
        Apply(path, kDeviceInterface, device.get(), nullptr);
    }
    const VariantPtr adapter(g_variant_lookup_value(interfaces, kAdapterInterface, G_VARIANT_TYPE_VARDICT));
    if (adapter) {
        Apply(path, kAdapterInterface, adapter.get(), nullptr);
    }
    while (g_variant_iter_next(&items, "{&s@a{sv}}", &interface, &properties) != FALSE) {
        const VariantPtr owned(properties);
        const std::string_view name = interface;
        if (std::ranges::find(kManagerInterfaces, name) != kManagerInterfaces.end()) {
            m_listener.ManagerCame(name);
        } else if (name != kDeviceInterface && name != kAdapterInterface) {
            Apply(path, name, properties, nullptr);
        }
    }
}

void Tree::Changed(std::string_view path, GVariant* arguments)
{
    if (!g_variant_is_of_type(arguments, G_VARIANT_TYPE("(sa{sv}as)"))) {
        return;
    }
    const char* interface = nullptr;
    GVariant* properties = nullptr;
    GVariant* invalidated = nullptr;
    g_variant_get(arguments, "(&s@a{sv}@as)", &interface, &properties, &invalidated);
    const VariantPtr ownedProperties(properties);
    const VariantPtr ownedInvalidated(invalidated);
    // An object that nobody announced, or that is gone again, is not made by its changes.
    const std::string_view name = interface;
    if ((name == kAdapterInterface && !m_adapters.contains(path)) ||
        (name == kDeviceInterface && !m_devices.contains(path)) ||
        (name == kTransportInterface && !m_transports.contains(path))) {
        return;
    }
    Apply(std::string(path), name, properties, invalidated);
}

void Tree::Apply(const std::string& path, std::string_view interface, GVariant* properties, GVariant* invalidated)
{
    if (interface == kAdapterInterface) {
        const std::optional<Adapter> before = Merge(m_adapters, path, properties);
        const Adapter now = m_adapters.at(path);
        if (before != now) {
            m_listener.AdapterChanged(OrNull(before), &now);
        }
        return;
    }
    if (interface == kTransportInterface) {
        const std::optional<Transport> before = Merge(m_transports, path, properties);
        const Transport now = m_transports.at(path);
        if (before != now) {
            m_listener.TransportChanged(OrNull(before), &now);
        }
        return;
    }
    if (interface == kAdvertisingInterface) {
        if (const auto found = m_adapters.find(path); found != m_adapters.end() && !found->second.advertises) {
            const Adapter before = found->second;
            found->second.advertises = true;
            const Adapter now = found->second;
            m_listener.AdapterChanged(&before, &now);
        }
        return;
    }
    std::optional<Device> before;
    if (interface == kDeviceInterface) {
        before = Merge(m_devices, path, properties);
        Device& device = m_devices.at(path);
        // Without an address a device cannot be spoken of.
        if (device.address.empty()) {
            device.address = AddressInPath(path);
        }
        if (device.address.empty()) {
            m_devices.erase(path);
            return;
        }
        if (invalidated != nullptr) {
            GVariantIter names;
            g_variant_iter_init(&names, invalidated);
            const char* name = nullptr;
            while (g_variant_iter_next(&names, "&s", &name) != FALSE) {
                Forget(device, name);
            }
        }
    } else {
        const auto found = m_devices.find(path);
        if (found == m_devices.end()) {
            return;
        }
        before = found->second;
        ForEachProperty(properties, [&](std::string_view name, GVariant* value) {
            if (interface == kControlInterface && name == "Connected") {
                Read(value, found->second.remoteControl);
            } else if (interface == kBatteryInterface && name == "Percentage") {
                Read(value, found->second.battery);
            }
        });
    }
    const Device now = m_devices.at(path);
    if (before != now) {
        m_listener.DeviceChanged(OrNull(before), &now);
    }
}

void Tree::Removed(GVariant* arguments)
{
    if (!g_variant_is_of_type(arguments, G_VARIANT_TYPE("(oas)"))) {
        return;
    }
    const char* path = nullptr;
    GVariantIter* interfaces = nullptr;
    g_variant_get(arguments, "(&oas)", &path, &interfaces);
    const std::unique_ptr<GVariantIter, bus::ReleaseWith<g_variant_iter_free>> owned(interfaces);
    const char* interface = nullptr;
    while (g_variant_iter_next(interfaces, "&s", &interface) != FALSE) {
        RemoveInterface(path, interface);
    }
}

void Tree::RemoveInterface(const std::string& path, std::string_view interface)
{
    if (interface == kTransportInterface) {
        if (const auto node = m_transports.extract(path); node) {
            m_listener.TransportChanged(&node.mapped(), nullptr);
        }
    } else if (interface == kDeviceInterface) {
        if (const auto node = m_devices.extract(path); node) {
            m_listener.DeviceChanged(&node.mapped(), nullptr);
        }
    } else if (interface == kAdapterInterface) {
        if (const auto node = m_adapters.extract(path); node) {
            // The adapter goes first, so that whoever hears of its devices sees why they go: a pulled adapter takes
            // them along, and the daemon does not say so.
            m_listener.AdapterChanged(&node.mapped(), nullptr);
            RemoveUnder(path);
        }
    } else if (const auto found = m_devices.find(path); found != m_devices.end()) {
        const Device before = found->second;
        if (interface == kControlInterface) {
            found->second.remoteControl = false;
        } else if (interface == kBatteryInterface) {
            found->second.battery.reset();
        }
        const Device now = found->second;
        if (before != now) {
            m_listener.DeviceChanged(&before, &now);
        }
    }
}

void Tree::RemoveUnder(const std::string& adapter)
{
    const auto pathsUnder = [&](const auto& objects) {
        std::vector<std::string> paths;
        for (const auto& [path, object] : objects) {
            if (IsUnder(path, adapter)) {
                paths.push_back(path);
            }
        }
        return paths;
    };
    for (const std::string& path : pathsUnder(m_transports)) {
        RemoveInterface(path, kTransportInterface);
    }
    for (const std::string& path : pathsUnder(m_devices)) {
        RemoveInterface(path, kDeviceInterface);
    }
}

void Tree::Clear()
{
    while (!m_adapters.empty()) {
        RemoveInterface(std::string(m_adapters.begin()->first), kAdapterInterface);
    }
    while (!m_transports.empty()) {
        RemoveInterface(std::string(m_transports.begin()->first), kTransportInterface);
    }
    while (!m_devices.empty()) {
        RemoveInterface(std::string(m_devices.begin()->first), kDeviceInterface);
    }
}

} // namespace bluez
