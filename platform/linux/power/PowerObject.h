#pragma once

#include "bus/Handles.h"

#include <gio/gio.h>

#include <device_power.h>
#include <vantor_dbus.h>

namespace power {

class PowerManager;

/// The power manager for other programs: org.vantor.platform.Power1 at the platform's own name.
class PowerObject
{
public:
    explicit PowerObject(PowerManager& manager);
    ~PowerObject();
    PowerObject(const PowerObject&) = delete;
    PowerObject& operator=(const PowerObject&) = delete;

    void Export(GDBusConnection* connection);
    void Withdraw();

    void TellChange(const device_power_state_info& info) const;
    /// Brings the properties up to date.
    void Refresh() const;

private:
    PowerManager& m_manager;
    bus::ObjectPtr<VantorPower1> m_skeleton; ///< null while it is not on the bus
};

} // namespace power
