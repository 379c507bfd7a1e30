/* Results of the Bluetooth functions.
 *
 * Every bt_* function answers BT_ERROR_NONE or one of the codes below, as an int. The rules that hold for all platform
 * functions stand in README.md beside this header. */
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

enum
{
    BT_ERROR_NONE = 0,                                /* done, or started where a callback reports the end */
    BT_ERROR_OUT_OF_MEMORY = -12,                     /* the stack could not allocate what it needs */
    BT_ERROR_RESOURCE_BUSY = -16,                     /* the radio or the stack is taken; may be tried again */
    BT_ERROR_INVALID_PARAMETER = -22,                 /* a null pointer, a malformed address, a value out of range */
    BT_ERROR_NOT_SUPPORTED = -95,                     /* this platform can never do it */
    BT_ERROR_NOW_IN_PROGRESS = -115,                  /* an earlier request of the same kind is still under way */
    BT_ERROR_CANCELLED = -125,                        /* given up on request */
    BT_ERROR_TIMED_OUT = -1073741823,                 /* 0xC0000001: no answer in time */
    BT_ERROR_NOT_INITIALIZED = -29359871,             /* 0xFE400101: also unset without a set before it */
    BT_ERROR_NOT_ENABLED = -29359870,                 /* 0xFE400102: the adapter is off */
    BT_ERROR_ALREADY_DONE = -29359869,                /* 0xFE400103: in the asked state already; no callback follows */
    BT_ERROR_OPERATION_FAILED = -29359868,            /* 0xFE400104: possible in principle, but not this time */
    BT_ERROR_NOT_IN_PROGRESS = -29359867,             /* 0xFE400105: nothing is pending that could be answered */
    BT_ERROR_REMOTE_DEVICE_NOT_BONDED = -29359866,    /* 0xFE400106 */
    BT_ERROR_AUTH_REJECTED = -29359865,               /* 0xFE400107: the other side or the user said no */
    BT_ERROR_AUTH_FAILED = -29359864,                 /* 0xFE400108: wrong key */
    BT_ERROR_REMOTE_DEVICE_NOT_FOUND = -29359863,     /* 0xFE400109: unknown to the stack */
    BT_ERROR_SERVICE_SEARCH_FAILED = -29359862,       /* 0xFE40010A */
    BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED = -29359861, /* 0xFE40010B: also "no such accessory is connected" */
};

#ifdef __cplusplus
}
#endif
