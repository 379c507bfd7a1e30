#include "bluez/Result.h"

#include "bus/Handles.h"

#include <gio/gio.h>

#include <bt_error.h>

#include <array>
#include <string>
#include <string_view>
#include <utility>

namespace bluez {

namespace {

constexpr std::string_view kErrors = "org.bluez.Error.";
constexpr auto kResults = std::to_array<std::pair<std::string_view, int>>({
    {"NotReady", BT_ERROR_NOT_ENABLED},
    {"NotSupported", BT_ERROR_NOT_SUPPORTED},
    {"InvalidArguments", BT_ERROR_INVALID_PARAMETER},
    {"InProgress", BT_ERROR_NOW_IN_PROGRESS},
    {"Busy", BT_ERROR_RESOURCE_BUSY},
    {"NotConnected", BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED},
    {"DoesNotExist", BT_ERROR_REMOTE_DEVICE_NOT_FOUND},
});

/// What follows "org.bluez.Error."; empty for the errors of others.
std::string DaemonError(const GError* error)
{
    const bus::TextPtr name(error != nullptr ? g_dbus_error_get_remote_error(error) : nullptr);
    const std::string_view text = name ? name.get() : "";
    return text.starts_with(kErrors) ? std::string(text.substr(kErrors.size())) : "";
}

} // namespace

int ResultOf(const GError* error)
{
    if (g_error_matches(error, G_IO_ERROR, G_IO_ERROR_TIMED_OUT) ||
        g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_TIMEOUT)) {
        return BT_ERROR_TIMED_OUT;
    }
    if (g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_SERVICE_UNKNOWN) ||
        g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_NAME_HAS_NO_OWNER) ||
        g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_UNKNOWN_OBJECT)) {
        return BT_ERROR_NOT_INITIALIZED;
    }
    const std::string name = DaemonError(error);
    for (const auto& [daemonName, result] : kResults) {
        if (name == daemonName) {
            return result;
        }
    }
    return BT_ERROR_OPERATION_FAILED;
}

bool IsBusy(const GError* error)
{
    const std::string name = DaemonError(error);
    return name == "InProgress" || name == "Busy";
}

} // namespace bluez
