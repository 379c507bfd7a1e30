#include "bt_product.h"

#include "bt_error.h"

int bt_product_init(void)
{
    return BT_ERROR_NONE;
}

int bt_product_deinit(void)
{
    return BT_ERROR_NONE;
}
