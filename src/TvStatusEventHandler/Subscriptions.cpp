// From the power manager's notices to the handlers.

#include "Guard.h"
#include "LiteDebug.h"
#include "Living.h"
#include "TvStatusEventHandler/TvStatusEventHandler.h"

#include <glib.h>

#include <device_power.h>

#include <memory>
#include <utility>

namespace {

/// Deinit names functions of its own, which were never subscribed, so the subscriptions last as long as the process. A
/// notice that comes when the handler is gone is logged and dropped.
enum class SubscriptionsNamedBy
{
    Init,
    Deinit
};

template <SubscriptionsNamedBy, auto Handler, typename Argument>
int Forward(Argument argument, void* userData)
{
    CTvStatusEventHandler* handler = Living<CTvStatusEventHandler>::Find(userData);
    RETURN_IF_NULL(handler, "userData is NULL", 0);
    return (handler->*Handler)(argument);
}

template <SubscriptionsNamedBy By>
struct Forwarders
{
    static constexpr device_power_poweroff_cb kAmbientPowerOff =
        Forward<By, &CTvStatusEventHandler::OnAmbientPowerOff, device_poweroff_info*>;
    static constexpr device_power_poweroff_cb kPowerOff =
        Forward<By, &CTvStatusEventHandler::OnPowerOffEvent, device_poweroff_info*>;
    static constexpr device_power_poweroff_cb kPostPowerOff =
        Forward<By, &CTvStatusEventHandler::OnPostPowerOffEvent, device_poweroff_info*>;
    static constexpr device_power_wakeup_cb kWakeUp = Forward<By, &CTvStatusEventHandler::OnWakeUp, int>;
    static constexpr device_power_state_changed_cb kStateChanged =
        Forward<By, &CTvStatusEventHandler::HandlePowerStateChanged, device_power_state_info*>;
    static constexpr device_power_standby_cb kStandby = Forward<By, &CTvStatusEventHandler::OnPowerStandbyCb, int>;
};

} // namespace

CTvStatusEventHandler::~CTvStatusEventHandler()
{
    // Speaker timers may still be pending, several of them together, and are found by the object that they would call.
    while (g_source_remove_by_user_data(this) != FALSE) {
    }
}

void CTvStatusEventHandler::Init(std::shared_ptr<CDbusClient> dbusClient,
                                 std::shared_ptr<CSmartRcEventHandler> smartRcHandler)
{
    LOGI("Register Tv Status Event callbacks");
    m_dbusClient = std::move(dbusClient);
    m_smartRcHandler = std::move(smartRcHandler);

    using Mine = Forwarders<SubscriptionsNamedBy::Init>;
    device_power_subscribe_ambient_poweroff(Mine::kAmbientPowerOff, this);
    device_power_subscribe_poweroff_event(Mine::kPowerOff, this);
    device_power_subscribe_post_poweroff_event(Mine::kPostPowerOff, this);
    device_power_subscribe_wakeup(Mine::kWakeUp, this);
    device_power_subscribe_state_changed_event(Mine::kStateChanged, this);
    device_power_subscribe_standby(Mine::kStandby, this);

    if (WasReset()) {
        LOGE("<<Not Error>> Reset Case");
        FinishReset();
    }
}

void CTvStatusEventHandler::Deinit()
{
    LOGI("Unregister Tv Status Event callbacks");
    using Mine = Forwarders<SubscriptionsNamedBy::Deinit>;
    device_power_unsubscribe_ambient_poweroff(Mine::kAmbientPowerOff);
    device_power_unsubscribe_poweroff_event(Mine::kPowerOff);
    device_power_unsubscribe_post_poweroff_event(Mine::kPostPowerOff);
    device_power_unsubscribe_wakeup(Mine::kWakeUp);
    device_power_unsubscribe_state_changed_event(Mine::kStateChanged);
    device_power_unsubscribe_standby(Mine::kStandby);
}
