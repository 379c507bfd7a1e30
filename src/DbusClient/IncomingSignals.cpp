// Signals that the service listens to: the key router's combinations, and easy pairing.

#include "DbusClient/DbusClient.h"
#include "Guard.h"
#include "LiteDebug.h"
#include "Living.h"
#include "VconfKeyId.h"

#include <gio/gio.h>

#include <bt_adapter.h>
#include <vconf.h>

#include <exception>
#include <functional>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace {

constexpr const char* kKeyRouterInterface = "keyrouter.dbus.Signal";
constexpr const char* kKeyRouterPath = "/com/tarnwick/dbus/ping";
constexpr const char* kKeyCombination = "KEY_COMBINATION";
constexpr const char* kEasyPairingPath = "/org/vantor/vyrel/lite";

constexpr int kSwitchAdapterOff = 51;
constexpr int kSwitchAdapterOn = 52;

/// The integer of an "(i)" body, 0 for any other body.
int ReadInt(GVariant* parameters)
{
    gint32 value = 0;
    if (parameters != nullptr && g_variant_is_of_type(parameters, G_VARIANT_TYPE("(i)")) != FALSE) {
        g_variant_get(parameters, "(i)", &value);
    }
    return value;
}

void ForwardKeyCombination(GDBusConnection* connection, const gchar*, const gchar*, const gchar*,
                           const gchar* signalName, GVariant* parameters, gpointer userData)
{
    auto* client = Living<CDbusClient>::Find(userData);
    RETURN_IF_NULL(client, "user_data is nullptr");
    client->OnSiganl(connection, signalName, parameters);
}

void ForwardEasyPairing(GDBusConnection* connection, const gchar*, const gchar*, const gchar*, const gchar* signalName,
                        GVariant* parameters, gpointer userData)
{
    auto* client = Living<CDbusClient>::Find(userData);
    RETURN_IF_NULL(client, "user_data is nullptr");
    LOGI("signal callback called");
    client->OnEasyPairingSiganl(connection, signalName, parameters);
}

} // namespace

void CDbusClient::AddSignalHandler()
{
    GDBusConnection* connection = GetSystemConnection();
    if (connection == nullptr) {
        return;
    }
    g_dbus_connection_signal_subscribe(connection, nullptr, kKeyRouterInterface, kKeyCombination, kKeyRouterPath,
                                       nullptr, G_DBUS_SIGNAL_FLAGS_NONE, ForwardKeyCombination, this, nullptr);
}

void CDbusClient::OnSiganl(GDBusConnection*, const gchar* signalName, GVariant* parameters)
{
    try {
        if (signalName == nullptr) {
            throw std::invalid_argument("signal_name is nullptr");
        }
        LOGI("%s recieved", signalName);
        if (std::string_view(signalName) == kKeyCombination) {
            OnCombinationKeyRecived(parameters);
        }
    } catch (const std::exception& exception) {
        LOGE("Exception : %s", exception.what());
    }
}

void CDbusClient::OnCombinationKeyRecived(GVariant* parameters)
{
    const int code = ReadInt(parameters);
    LOGI("KeyCombination : %d", code);
    // Switching off writes false and switching on writes true; who reads the setting expects it so.
    if (code == kSwitchAdapterOff) {
        const int result = bt_adapter_disable();
        LOGE("<Not Error> bt_adapter_disable, ret = [%d]", result);
        vconf_set_bool(VconfKey::kBtDisable, 0);
    } else if (code == kSwitchAdapterOn) {
        const int result = bt_adapter_enable();
        LOGE("<Not Error> bt_adapter_enable, ret = [%d]", result);
        vconf_set_bool(VconfKey::kBtDisable, 1);
    } else {
        LOGI("KEY_COMBINATION Signal NOT for VYREL");
    }
}

void CDbusClient::AddEasyPairingSignalHandler(std::function<void(int)> callback)
{
    m_easyPairingCallback = std::move(callback);
    GDBusConnection* connection = GetSystemConnection();
    if (connection == nullptr) {
        return;
    }
    g_dbus_connection_signal_subscribe(connection, nullptr, nullptr, nullptr, kEasyPairingPath, nullptr,
                                       G_DBUS_SIGNAL_FLAGS_NONE, ForwardEasyPairing, this, nullptr);
}

void CDbusClient::OnEasyPairingSiganl(GDBusConnection*, const gchar*, GVariant* parameters)
{
    RETURN_IF_NULL(parameters, "parameters is nullptr");
    if (!m_easyPairingCallback) {
        LOGE("callback is nullptr");
        return;
    }
    try {
        m_easyPairingCallback(ReadInt(parameters));
    } catch (const std::exception& exception) {
        LOGE("Exception : %s", exception.what());
    }
}
