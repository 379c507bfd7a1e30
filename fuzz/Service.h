#pragma once

#include "Bluetooth/BluetoothEventHandler.h"
#include "DbusClient/DbusClient.h"
#include "SmartRcEventHandler/SmartRcEventHandler.h"
#include "TvStatusEventHandler/TvStatusEventHandler.h"
#include "VconfChangedHandler/VconfChangedHandler.h"
#include "sim/Television.h"
#include "sim/VirtualClock.h"

#include <chrono>
#include <memory>

namespace fuzz {

/// The service on a television of its own, started, for one input. There is no bus: what it tells its siblings is put
/// together and dropped.
class Service
{
public:
    Service();
    ~Service();
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;

    /// Serves what is due.
    void Settles();
    void TimePasses(std::chrono::milliseconds time);

    sim::VirtualClock clock{true};
    sim::Television tv;
    std::shared_ptr<CDbusClient> dbus = std::make_shared<CDbusClient>();
    std::shared_ptr<CSmartRcEventHandler> remotes = std::make_shared<CSmartRcEventHandler>();

private:
    CBluetoothEventHandler m_bluetooth;
    CTvStatusEventHandler m_tvStatus;
    CVconfChangedHandler m_settings;
};

} // namespace fuzz
