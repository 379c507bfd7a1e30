/* Bluetooth: remote devices, their bonds, links and identity.
 *
 * An address is a text of six two-digit hexadecimal fields with colons, 17 characters. Names are bytes that came over
 * the air: up to 248, in practice UTF-8, which nobody guarantees.
 * The rules that hold for all platform functions (results, ownership, callbacks) stand in README.md beside this
 * header. */
#pragma once

#include <stdbool.h>

#ifdef __cplusplus
extern "C" {
#endif

/* A service of the television that a remote device asks for. */
typedef int bt_profile_service_id_e;
enum
{
    BT_PROFILE_SERVICE_AUDIO = 18 /* A2DP with AVRCP */
};

/* The link type that bt_device_get_rssi_strength takes for "whichever link there is". */
enum
{
    BT_DEVICE_LINK_BREDR = 0,
    BT_DEVICE_LINK_LE = 1,
    BT_DEVICE_LINK_ANY = 0xFF
};

/* Major device classes; other ones exist. */
enum
{
    BT_MAJOR_DEVICE_CLASS_AUDIO_VIDEO = 4
};

typedef struct
{
    unsigned int major_device_class; /* BT_MAJOR_DEVICE_CLASS_... */
    unsigned int minor_device_class; /* class of device AND 0xFC, not shifted: 0, 4, 8, ... */
} bt_class_s;

typedef struct
{
    char* remote_address;
    char* remote_name; /* NULL as long as the name is unknown */
    bt_class_s bt_class;
    bool is_bonded;
    bool is_connected;
} bt_device_info_s;

typedef struct
{
    char* remote_address;
    int link;              /* BT_DEVICE_LINK_BREDR or BT_DEVICE_LINK_LE */
    int disconnect_reason; /* 0 unknown (and on connection), 1 time-out, 2 reset, 3 and above: the stack's own */
} bt_device_connection_info_s;

/* A remote device asks to use a service; bt_device_reject_authorization is the answer no. Mind the order: the address
 * comes before the name. */
typedef void (*bt_device_auth_event_cb)(int result, char* address, char* name, bt_profile_service_id_e service,
                                        void* user_data);

/* A pairing ended: with a bond (result BT_ERROR_NONE) or without (any other result). */
typedef void (*bt_device_bond_created_cb)(int result, bt_device_info_s* info, void* user_data);

/* A bond is gone, whoever asked for it. */
typedef void (*bt_device_bond_destroyed_cb)(int result, char* address, void* user_data);

/* A link came up or went down, on either transport, whatever runs on it. */
typedef void (*bt_device_connection_state_changed_cb)(bool connected, bt_device_connection_info_s* info,
                                                      void* user_data);

/* The signal strength that was asked for: link_type as given with the question, rssi in dBm (-127 to 20). */
typedef void (*bt_device_rssi_strength_cb)(char* address, int link_type, int rssi, void* user_data);

/* Names the receiver of authorization requests; a later call replaces it. */
int bt_device_set_auth_event_cb(bt_device_auth_event_cb callback, void* user_data);
int bt_device_unset_auth_event_cb(void);

/* Refuses the pending request of this device for this service. BT_ERROR_NOT_IN_PROGRESS when none is pending. */
int bt_device_reject_authorization(const char* address, bt_profile_service_id_e service);

/* Names the receiver of new bonds; a later call replaces it. */
int bt_device_set_bond_created_cb(bt_device_bond_created_cb callback, void* user_data);
int bt_device_unset_bond_created_cb(void);

/* Names the receiver of removed bonds; a later call replaces it. */
int bt_device_set_bond_destroyed_cb(bt_device_bond_destroyed_cb callback, void* user_data);
int bt_device_unset_bond_destroyed_cb(void);

/* Names the receiver of link changes; a later call replaces it. Links that exist already are not reported. */
int bt_device_set_connection_state_changed_cb(bt_device_connection_state_changed_cb callback, void* user_data);
int bt_device_unset_connection_state_changed_cb(void);

/* Starts removing a bond; the bond-destroyed callback reports the end. Allowed while bonded devices are being listed.
 * BT_ERROR_REMOTE_DEVICE_NOT_BONDED when there is none: then no callback follows. */
int bt_device_destroy_bond(const char* address);

/* Vendor and product id, 0 to 0xFFFF each, of a bonded device. On failure both outputs keep what they held. */
int bt_device_get_remote_vid_pid(const char* address, unsigned int* vid, unsigned int* pid);

/* Asks for the signal strength of a connected device on the given link (BT_DEVICE_LINK_...). The callback comes once,
 * later, never from inside this call, and not at all when the call fails. */
int bt_device_get_rssi_strength(const char* address, int link_type, bt_device_rssi_strength_cb callback,
                                void* user_data);

#ifdef __cplusplus
}
#endif
