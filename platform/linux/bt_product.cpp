#include "bluez/Stack.h"
#include "bus/SystemBus.h"
#include "overview/Overview.h"
#include "power/ResetCounters.h"

#include <bt_error.h>
#include <bt_product.h>

int bt_product_init(void)
{
    // The settings are opened meanwhile.
    bus::SystemBus::Shared().Prepare();
    power::BeginToCountResets();
    bluez::Stack::Shared().Init();
    overview::Overview::OfProcess().Open();
    return BT_ERROR_NONE;
}

int bt_product_deinit(void)
{
    overview::Overview::OfProcess().Close();
    bluez::Stack::Shared().Deinit();
    return BT_ERROR_NONE;
}
