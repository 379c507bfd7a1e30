#include "bluez/Stack.h"

#include <bt_error.h>
#include <bt_product.h>

int bt_product_init(void)
{
    bluez::Stack::Shared().Init();
    return BT_ERROR_NONE;
}

int bt_product_deinit(void)
{
    bluez::Stack::Shared().Deinit();
    return BT_ERROR_NONE;
}
