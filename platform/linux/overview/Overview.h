#pragma once

#include "bus/Handles.h"
#include "bus/SystemBus.h"

#include <gio/gio.h>

#include <vantor_dbus.h>

namespace overview {

/// What people are shown of the box and nobody else can tell them: org.vantor.platform.Overview1 at the platform's own
/// name. It is put together when somebody asks, and costs nothing else.
class Overview final : private bus::Guest
{
public:
    static Overview& OfProcess();

    Overview();
    ~Overview();
    Overview(const Overview&) = delete;
    Overview& operator=(const Overview&) = delete;

    void Open();
    void Close();

private:
    void BusCame(GDBusConnection* /*connection*/) override {}
    void BusSettled(GDBusConnection* connection) override;
    void BusWent(GDBusConnection* connection) override;

    bus::ObjectPtr<VantorOverview1> m_object;
};

} // namespace overview
