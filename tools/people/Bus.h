#pragma once

#include "bus/Handles.h"
#include "people/Failure.h"

#include <gio/gio.h>

#include <string>

namespace people {

/// The Bluetooth daemon.
inline constexpr const char* kBluez = "org.bluez";
/// The service's own name.
inline constexpr const char* kService = "org.vantor.vyrel.lite";

/// How long anybody is waited for, in milliseconds: as long as the service itself may be held up by a sibling, and a
/// little.
inline constexpr int kPatienceMs = 6000;

/// An interface of the platform, which is at its own name and object.
inline constexpr const char* kPower = "org.vantor.platform.Power1";
inline constexpr const char* kPairing = "org.vantor.platform.Pairing1";
inline constexpr const char* kOverview = "org.vantor.platform.Overview1";

/// What a failed call means, in words. \p whom is what the user knows the other program by.
Failure FailureOf(const std::string& whom, const GError* error);

/// The system bus, for a program that asks something and ends. What fails is thrown as a Failure.
class Bus
{
public:
    /// Connects, for kPatienceMs at most.
    Bus();

    [[nodiscard]] GDBusConnection* Connection() const
    {
        return m_connection.get();
    }

    /// Whether anybody owns this name.
    [[nodiscard]] bool Has(const char* name) const;

    /// Calls a method of the platform and waits. \p arguments are consumed, null for none.
    bus::VariantPtr CallPlatform(const char* interface, const char* method, GVariant* arguments,
                                 const char* replyType) const;

    /// All properties of one of the platform's interfaces, a{sv}.
    [[nodiscard]] bus::VariantPtr PlatformProperties(const char* interface) const;

    /// The daemon's objects, a{oa{sa{sv}}}.
    [[nodiscard]] bus::VariantPtr BluezObjects() const;

    /// Has the daemon trust a device, by its object: it asks nobody any more when that one connects.
    void TrustDevice(const std::string& path) const;

private:
    [[nodiscard]] bus::VariantPtr Call(const std::string& whom, const char* name, const char* path,
                                       const char* interface, const char* method, GVariant* arguments,
                                       const char* replyType) const;

    bus::ObjectPtr<GDBusConnection> m_connection;
};

} // namespace people
