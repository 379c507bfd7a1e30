// Firmware updates at a power-off: chip, smart remote, wheel, each step from the answer to the one before.

#include "DbusClient/DbusClient.h"
#include "DbusClient/Sibling.h"
#include "GlibPointers.h"
#include "LiteDebug.h"
#include "Living.h"
#include "TvStatusUtil.h"

#include <gio/gio.h>

namespace {

constexpr gint kWithoutLimit = G_MAXINT;

constexpr int kNoResult = -1;
constexpr int kGoOn = 1;
constexpr int kGoOnAlso = 8; // from the smart remote's update only

/// Sends one request; its handler is called once, later.
/// \return false when there is no bus: then no handler is called
bool Request(CDbusClient& client, const char* method, GAsyncReadyCallback handler)
{
    GDBusConnection* connection = client.GetSystemConnection();
    if (connection == nullptr) {
        return false;
    }
    const Util::MessagePtr message(
        g_dbus_message_new_method_call(kUpdateManager.name, kUpdateManager.path, kUpdateManager.interface, method));
    g_dbus_connection_send_message_with_reply(connection, message.get(), G_DBUS_SEND_MESSAGE_FLAGS_NONE, kWithoutLimit,
                                              nullptr, nullptr, handler, &client);
    return true;
}

/// Sends one request, or ends the chain where one without a reply ends.
void RequestOrGiveUp(CDbusClient& client, const char* method, GAsyncReadyCallback handler)
{
    if (!Request(client, method, handler)) {
        LOGE("No reply");
        Util::TvStatusUtil::UnSetStandbyPowerLock();
    }
}

/// The reply, an error that came as one too, or null: the request failed.
Util::MessagePtr Finish(GObject* source, GAsyncResult* result)
{
    GError* failure = nullptr;
    Util::MessagePtr reply(
        g_dbus_connection_send_message_with_reply_finish(G_DBUS_CONNECTION(source), result, &failure));
    const Util::ErrorPtr error(failure);
    return reply;
}

int ResultOf(GDBusMessage* reply)
{
    gint32 result = kNoResult;
    GVariant* body = g_dbus_message_get_body(reply);
    if (body != nullptr && g_variant_is_of_type(body, G_VARIANT_TYPE("(i)")) != FALSE) {
        g_variant_get(body, "(i)", &result);
    }
    return result;
}

/// Lets the manager go, if there is still somebody to do so.
void SendExit(CDbusClient* client)
{
    if (client != nullptr) {
        Call(client, kUpdateManager, "EXIT");
    }
}

} // namespace

void CDbusClient::RequestBTChipUpdate()
{
    RequestOrGiveUp(*this, "CHIP", ChipUpdateCb);
}

void CDbusClient::RequestSmartRcFWUpdate()
{
    RequestOrGiveUp(*this, "SCFW", SmartRcUpdateCb);
}

void CDbusClient::RequestHalvoFWUpdate()
{
    RequestOrGiveUp(*this, "HALVO", HalvoUpdateCb);
}

void CDbusClient::ChipUpdateCb(GObject* source, GAsyncResult* result, gpointer userData)
{
    LOGI("On ChipUpdateCb");
    const Util::MessagePtr reply = Finish(source, result);
    if (!reply) {
        // A manager that gives no reply is taken for gone, and is not told to exit.
        LOGE("No reply");
        Util::TvStatusUtil::UnSetStandbyPowerLock();
        return;
    }
    const int code = ResultOf(reply.get());
    LOGI("Result(%d)", code);
    CDbusClient* client = Living<CDbusClient>::Find(userData);
    if (client != nullptr && code == kGoOn) {
        client->RequestSmartRcFWUpdate();
        return;
    }
    SendExit(client);
    Util::TvStatusUtil::UnSetStandbyPowerLock();
}

void CDbusClient::SmartRcUpdateCb(GObject* source, GAsyncResult* result, gpointer userData)
{
    LOGI("On SmartRcUpdateCb");
    const Util::MessagePtr reply = Finish(source, result);
    if (!reply) {
        LOGE("No reply");
        Util::TvStatusUtil::UnSetStandbyPowerLock();
        return;
    }
    const int code = ResultOf(reply.get());
    LOGI("Result(%d)", code);
    CDbusClient* client = Living<CDbusClient>::Find(userData);
    if (client != nullptr && (code == kGoOn || code == kGoOnAlso)) {
        client->RequestHalvoFWUpdate();
        return;
    }
    SendExit(client);
    Util::TvStatusUtil::UnSetStandbyPowerLock();
}

void CDbusClient::HalvoUpdateCb(GObject* source, GAsyncResult* result, gpointer userData)
{
    LOGI("On HalvoUpdateCb");
    const Util::MessagePtr reply = Finish(source, result);
    // This was the last step: the manager may exit whatever came of it, and without a reply too.
    SendExit(Living<CDbusClient>::Find(userData));
    if (reply) {
        LOGI("Result(%d)", ResultOf(reply.get()));
    } else {
        LOGE("No reply");
    }
    Util::TvStatusUtil::UnSetStandbyPowerLock();
}
