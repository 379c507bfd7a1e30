#include "VconfChangedHandler/VconfChangedHandler.h"

#include "DbusClient/DbusClient.h"
#include "DbusClient/Sibling.h"
#include "GlibPointers.h"
#include "LiteDebug.h"
#include "Utf8.h"

#include <array>
#include <utility>

namespace {

constexpr unsigned int kTimeoutMs = 5000;

/// Deinit names functions of its own, which were never registered, so the watches last as long as the process.
enum class NamedBy
{
    Init,
    Deinit
};

template <NamedBy, auto Handler>
void Forward(keynode_t* keyNode, void* userData)
{
    if (userData == nullptr) {
        LOGE("userData is NULL");
        return;
    }
    (static_cast<CVconfChangedHandler*>(userData)->*Handler)(keyNode);
}

struct Watch
{
    const char* key;
    vconf_callback_fn forwarder;
};

template <NamedBy By>
constexpr std::array<Watch, 5> kWatches = {{
    {"db/org.vantor.bleapp/added_mobile_keylist",
     Forward<By, &CVconfChangedHandler::OnAutoOnOffMobileListVconfKeyChanged>},
    {"db/vyrel/musictv_paired1", Forward<By, &CVconfChangedHandler::OnSMDeviceListVconfKeyChanged>},
    {"db/vyrel/audio_multi_output_on_off", Forward<By, &CVconfChangedHandler::OnAudioMultiOutputChanged>},
    {"memory/iot/thing/accessory/operation", Forward<By, &CVconfChangedHandler::OnConnectionShiftControlChanged>},
    {"memory/vyrel/last_btspk_connecting_status",
     Forward<By, &CVconfChangedHandler::OnLastBtspkConnectingStatusVconfChanged>},
}};

bool IsMissing(const keynode_t* keyNode)
{
    if (keyNode == nullptr) {
        LOGE("keyNode is NULL");
    }
    return keyNode == nullptr;
}

/// Calls and waits, so that the receiver has served one write before it hears of the next.
void Tell(CDbusClient* client, const Sibling& sibling, const char* method, GVariant* body)
{
    const Util::VariantPtr owned = Util::TakeBody(body);
    if (client != nullptr) {
        const Util::VariantPtr reply(
            client->SendDbusMethodSync(sibling.name, sibling.path, sibling.interface, method, owned.get(), kTimeoutMs));
    }
}

} // namespace

void CVconfChangedHandler::Init(std::shared_ptr<CDbusClient> dbusClient)
{
    m_dbusClient = std::move(dbusClient);
    for (const Watch& watch : kWatches<NamedBy::Init>) {
        vconf_notify_key_changed(watch.key, watch.forwarder, this);
    }
}

void CVconfChangedHandler::Deinit()
{
    for (const Watch& watch : kWatches<NamedBy::Deinit>) {
        vconf_ignore_key_changed(watch.key, watch.forwarder);
    }
}

void CVconfChangedHandler::OnAutoOnOffMobileListVconfKeyChanged(keynode_t*) {}

void CVconfChangedHandler::OnSMDeviceListVconfKeyChanged(keynode_t*) {}

void CVconfChangedHandler::OnAudioMultiOutputChanged(keynode_t* keyNode)
{
    if (IsMissing(keyNode)) {
        return;
    }
    Tell(m_dbusClient.get(), kConnectionManager, "AudioMultiOutputChanged",
         g_variant_new("(i)", vconf_keynode_get_int(keyNode)));
}

void CVconfChangedHandler::OnConnectionShiftControlChanged(keynode_t* keyNode)
{
    if (IsMissing(keyNode)) {
        return;
    }
    const char* text = vconf_keynode_get_str(keyNode);
    Tell(m_dbusClient.get(), kConnectionShift, "ConnectionShiftControl",
         g_variant_new("(s)", Util::ToValidUtf8(text != nullptr ? text : "").c_str()));
}

void CVconfChangedHandler::OnLastBtspkConnectingStatusVconfChanged(keynode_t* keyNode)
{
    if (IsMissing(keyNode)) {
        return;
    }
    Tell(m_dbusClient.get(), kConnectionManager, "LastBtSpkConnectingStatusVconfChanged",
         g_variant_new("(i)", vconf_keynode_get_int(keyNode)));
}
