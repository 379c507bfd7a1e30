// Requests to pair and to connect. They are passed on to the connection manager, which asks the user. Only a request
// for audio is refused here, when the connection manager does not run: otherwise the device would wait for an answer in
// vain.

#include "Bluetooth/BluetoothEventSubscriber.h"
#include "Bluetooth/BluetoothUtil.h"
#include "DbusClient/DbusClient.h"
#include "DbusClient/Sibling.h"
#include "Guard.h"
#include "LiteDebug.h"
#include "Utf8.h"

#include <glib.h>

#include <bt_adapter.h>
#include <bt_device.h>

#include <functional>
#include <memory>
#include <string>

namespace {

bool IsConnectionManagerAlive(CDbusClient* client)
{
    return client != nullptr && client->IsServiceAlive(kConnectionManager.name, kConnectionManager.path,
                                                       kConnectionManager.interface, "Hello", kAnswerTimeout);
}

} // namespace

void CBluetoothEventSubscriber::OnAuthorizationRequest(int result, char* address, char* name,
                                                       bt_profile_service_id_e service, void* userData)
{
    RETURN_IF_NULL(userData, "userData is NULL");
    RETURN_IF_NULL(address, "address is NULL");
    RETURN_IF_NULL(name, "name is NULL");
    static_cast<CBluetoothEventSubscriber*>(userData)->HandleAuthorizationRequest(result, address, name, service);
}

void CBluetoothEventSubscriber::OnAuthenticaionRequest(int result, bt_authentication_type_info_e type, char* name,
                                                       char* address, char* passKey, void* userData)
{
    RETURN_IF_NULL(userData, "userData is NULL");
    RETURN_IF_NULL(address, "address is NULL");
    RETURN_IF_NULL(name, "name is NULL");
    // There is no pass key where the user only has to consent.
    static_cast<CBluetoothEventSubscriber*>(userData)->HandleAuthenticaionRequest(result, type, name, address,
                                                                                  passKey != nullptr ? passKey : "");
}

void CBluetoothEventSubscriber::OnSspConcentRequest(int result, char* name, char* address, void* userData)
{
    RETURN_IF_NULL(userData, "userData is NULL");
    RETURN_IF_NULL(address, "address is NULL");
    RETURN_IF_NULL(name, "deviceName is NULL");
    static_cast<CBluetoothEventSubscriber*>(userData)->HandleSspConcentRequest(result, name, address);
}

void CBluetoothEventSubscriber::HandleAuthorizationRequest(int result, const std::string& address,
                                                           const std::string& name, bt_profile_service_id_e service)
{
    // Before anything else: the call below may take seconds, in which the reconnection would come in between.
    if (m_authorizationCallback) {
        m_authorizationCallback();
    }
    LOGI("enter: result[%d], address[%s], name[%s], serviceid[%d]", result, address.c_str(), name.c_str(), service);
    if (!BluetoothUtil::isA2dpDeviceConnected() && service == BT_PROFILE_SERVICE_AUDIO &&
        !IsConnectionManagerAlive(m_dbusClient.get())) {
        LOGE("connection manager is not working. reject");
        bt_device_reject_authorization(address.c_str(), BT_PROFILE_SERVICE_AUDIO);
        return;
    }
    Ask(m_dbusClient.get(), kConnectionManager, "AuthorizationRequest",
        g_variant_new("(ssii)", Util::ToValidUtf8(address).c_str(), Util::ToValidUtf8(name).c_str(), service, result));
}

void CBluetoothEventSubscriber::HandleAuthenticaionRequest(int result, bt_authentication_type_info_e type,
                                                           const std::string& name, const std::string& address,
                                                           const std::string& passKey)
{
    Ask(m_dbusClient.get(), kConnectionManager, "AuthenticaionRequest",
        g_variant_new("(sssii)", Util::ToValidUtf8(address).c_str(), Util::ToValidUtf8(name).c_str(),
                      Util::ToValidUtf8(passKey).c_str(), type, result));
}

void CBluetoothEventSubscriber::HandleSspConcentRequest(int result, const std::string& name, const std::string& address)
{
    Ask(m_dbusClient.get(), kConnectionManager, "SspConcentRequest",
        g_variant_new("(ssi)", Util::ToValidUtf8(address).c_str(), Util::ToValidUtf8(name).c_str(), result));
}
