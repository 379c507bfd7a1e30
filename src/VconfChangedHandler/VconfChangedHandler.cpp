#include "VconfChangedHandler/VconfChangedHandler.h"

#include "DbusClient/DbusClient.h"
#include "DbusClient/Sibling.h"
#include "Guard.h"
#include "LiteDebug.h"
#include "Utf8.h"

#include <glib.h>

#include <vconf.h>

#include <array>
#include <string>
#include <utility>

namespace {

/// Deinit names functions of its own, which were never registered, so the watches last as long as the process. A notice
/// that comes when the handler is gone is logged and dropped.
enum class WatchesNamedBy
{
    Init,
    Deinit
};

template <WatchesNamedBy, auto Handler>
void Forward(keynode_t* keyNode, void* userData)
{
    const CVconfChangedHandler* handler = Living<CVconfChangedHandler>::Find(userData);
    RETURN_IF_NULL(handler, "userData is NULL");
    (handler->*Handler)(keyNode);
}

struct Watch
{
    const char* key;
    vconf_callback_fn forwarder;
};

template <WatchesNamedBy By>
constexpr std::array<Watch, 5> kWatches = {{
    {"db/org.vantor.bleapp/added_mobile_keylist",
     Forward<By, &CVconfChangedHandler::OnAutoOnOffMobileListVconfKeyChanged>},
    {"db/vyrel/musictv_paired1", Forward<By, &CVconfChangedHandler::OnSMDeviceListVconfKeyChanged>},
    {"db/vyrel/audio_multi_output_on_off", Forward<By, &CVconfChangedHandler::OnAudioMultiOutputChanged>},
    {"memory/iot/thing/accessory/operation", Forward<By, &CVconfChangedHandler::OnConnectionShiftControlChanged>},
    {"memory/vyrel/last_btspk_connecting_status",
     Forward<By, &CVconfChangedHandler::OnLastBtspkConnectingStatusVconfChanged>},
}};

} // namespace

void CVconfChangedHandler::Init(std::shared_ptr<CDbusClient> dbusClient)
{
    m_dbusClient = std::move(dbusClient);
    for (const Watch& watch : kWatches<WatchesNamedBy::Init>) {
        vconf_notify_key_changed(watch.key, watch.forwarder, this);
    }
}

void CVconfChangedHandler::Deinit()
{
    for (const Watch& watch : kWatches<WatchesNamedBy::Deinit>) {
        vconf_ignore_key_changed(watch.key, watch.forwarder);
    }
}

void CVconfChangedHandler::OnAutoOnOffMobileListVconfKeyChanged(keynode_t*) const {}

void CVconfChangedHandler::OnSMDeviceListVconfKeyChanged(keynode_t*) const {}

void CVconfChangedHandler::OnAudioMultiOutputChanged(keynode_t* keyNode) const
{
    RETURN_IF_NULL(keyNode, "keyNode is NULL");
    Ask(m_dbusClient.get(), kConnectionManager, "AudioMultiOutputChanged",
        g_variant_new("(i)", vconf_keynode_get_int(keyNode)));
}

void CVconfChangedHandler::OnConnectionShiftControlChanged(keynode_t* keyNode) const
{
    RETURN_IF_NULL(keyNode, "keyNode is NULL");
    const char* text = vconf_keynode_get_str(keyNode);
    Ask(m_dbusClient.get(), kConnectionShift, "ConnectionShiftControl",
        g_variant_new("(s)", Util::ToValidUtf8(text != nullptr ? text : "").c_str()));
}

void CVconfChangedHandler::OnLastBtspkConnectingStatusVconfChanged(keynode_t* keyNode) const
{
    RETURN_IF_NULL(keyNode, "keyNode is NULL");
    Ask(m_dbusClient.get(), kConnectionManager, "LastBtSpkConnectingStatusVconfChanged",
        g_variant_new("(i)", vconf_keynode_get_int(keyNode)));
}
