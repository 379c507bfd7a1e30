#pragma once

#include "bus/Handles.h"

#include <glib.h>

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace bluez {

inline constexpr const char* kAdapterInterface = "org.bluez.Adapter1";
inline constexpr const char* kDeviceInterface = "org.bluez.Device1";
inline constexpr const char* kTransportInterface = "org.bluez.MediaTransport1";

/// What the daemon says of an adapter. What it does not say, or says in another type, keeps its default.
struct Adapter
{
    std::string path;
    std::string address;
    std::string alias;
    bool powered = false;
    bool discoverable = false;
    std::vector<std::string> uuids;
    bool advertises = false; ///< takes advertisements

    bool operator==(const Adapter&) const = default;

    /// The kernel's number of the controller; -1 when the path has none.
    [[nodiscard]] int Index() const;
};

/// What the daemon says of a remote device.
struct Device
{
    std::string path;
    std::string address; ///< in capital letters
    std::string name;    ///< empty as long as it is unknown
    std::string modalias;
    std::optional<std::uint32_t> deviceClass; ///< absent on low energy
    bool random = false;                      ///< the address is no public one
    bool paired = false;
    bool bonded = false;
    bool connected = false;
    bool trusted = false;
    bool remoteControl = false;          ///< its media control is connected
    std::optional<bool> wakeAllowed;     ///< absent where the device cannot wake the box
    std::optional<std::uint8_t> battery; ///< percent
    std::vector<std::string> uuids;      ///< in small letters

    bool operator==(const Device&) const = default;

    /// \param uuid16 the four digits that stand for a service of the public list, in small letters
    [[nodiscard]] bool Offers(std::string_view uuid16) const;
};

/// A stream between an audio program and a device.
struct Transport
{
    std::string path;
    std::string device; ///< path
    std::string uuid;   ///< what this side of the stream is, in small letters
    std::optional<std::uint16_t> volume;

    bool operator==(const Transport&) const = default;
};

/// Whether \p uuid is the 16-bit service \p uuid16.
bool IsUuid(std::string_view uuid, std::string_view uuid16);

/// Is told of each difference after it has entered the tree. Null stands for "is not there".
class TreeListener
{
public:
    virtual void AdapterChanged(const Adapter* before, const Adapter* now) = 0;
    virtual void DeviceChanged(const Device* before, const Device* now) = 0;
    virtual void TransportChanged(const Transport* before, const Transport* now) = 0;
    /// An interface of the daemon itself has come.
    virtual void ManagerCame(std::string_view interface) = 0;

protected:
    ~TreeListener() = default;
};

/// The daemon's objects, as far as they matter here. What is told of an object in a wrong shape is left out, whatever
/// the rest of the message says.
class Tree
{
public:
    explicit Tree(TreeListener& listener) : m_listener(listener) {}

    /// What there is now, a{oa{sa{sv}}}; what it does not hold is gone.
    void Load(GVariant* objects);
    /// The arguments of the signals of the daemon's object manager, and of its objects' property changes. Arguments of
    /// other types change nothing.
    void Added(GVariant* arguments);
    void Removed(GVariant* arguments);
    void Changed(std::string_view path, GVariant* arguments);
    /// The daemon is gone, and with it each adapter and what was under it.
    void Clear();

    [[nodiscard]] const std::map<std::string, Adapter, std::less<>>& Adapters() const
    {
        return m_adapters;
    }
    [[nodiscard]] const std::map<std::string, Device, std::less<>>& Devices() const
    {
        return m_devices;
    }
    [[nodiscard]] const std::map<std::string, Transport, std::less<>>& Transports() const
    {
        return m_transports;
    }
    [[nodiscard]] const Device* DeviceAt(std::string_view path) const;
    /// \param address in capital letters
    [[nodiscard]] const Device* DeviceWith(std::string_view adapter, std::string_view address) const;

private:
    void AddInterfaces(const std::string& path, GVariant* interfaces);
    void Apply(const std::string& path, std::string_view interface, GVariant* properties, GVariant* invalidated);
    void RemoveInterface(const std::string& path, std::string_view interface);
    void RemoveUnder(const std::string& adapter);

    TreeListener& m_listener;
    std::map<std::string, Adapter, std::less<>> m_adapters;
    std::map<std::string, Device, std::less<>> m_devices;
    std::map<std::string, Transport, std::less<>> m_transports;
};

} // namespace bluez
