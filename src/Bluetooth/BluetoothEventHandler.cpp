// The adapter: bringing it up, keeping it as the settings want it, following its changes.

#include "Bluetooth/BluetoothEventHandler.h"

#include "CommonUtil.h"
#include "DbusClient/DbusClient.h"
#include "DbusClient/Sibling.h"
#include "GlibPointers.h"
#include "Guard.h"
#include "KernelLog.h"
#include "KpiRemocon.h"
#include "LiteDebug.h"
#include "SmartRcEventHandler/SmartRcEventHandler.h"
#include "TvStatusUtil.h"
#include "UsageEvents.h"
#include "Utf8.h"
#include "VconfKeyId.h"
#include "VconfUtil.h"

#include <glib.h>

#include <bt_adapter.h>
#include <bt_audio.h>
#include <bt_device.h>
#include <bt_error.h>
#include <bt_product.h>
#include <device_power.h>
#include <vconf.h>

#include <utility>

namespace {

// How an empty text setting is written.
const char* const kBlank = " ";

void ForwardAdapterState(int result, bt_adapter_state_e state, void* userData)
{
    RETURN_IF_NULL(userData, "userData is NULL");
    static_cast<CBluetoothEventHandler*>(userData)->onAdapterStateChange(result, state);
}

void ForwardTvName(keynode_t* /*node*/, void* userData)
{
    RETURN_IF_NULL(userData, "userData is NULL");
    static_cast<CBluetoothEventHandler*>(userData)->setLocalAdapterName();
}

/// The adapter went down, and the connected remote with it.
void SendRemoteLostKpi()
{
    std::string address;
    Util::VconfUtil::GetVconf(VconfKey::DB_BLUETOOTH_SMARTRC_CONN_DEV_ADDR, address);
    Kpi::SendRemoteConnection(address, 0, KPI_REMOCON_MODULE_RESET);
}

} // namespace

CBluetoothEventHandler::~CBluetoothEventHandler()
{
    cancelReconnection();
}

void CBluetoothEventHandler::Init(std::shared_ptr<CDbusClient> dbusClient,
                                  std::shared_ptr<CSmartRcEventHandler> smartRcHandler)
{
    m_dbusClient = std::move(dbusClient);
    m_smartRcHandler = std::move(smartRcHandler);

    initializeAdapter();
    setLocalAdapterName();
    initBluetoothEventSubscriber();
    initVconfKeys();
    initVconfCallbacks();
    setEIRData();
    setQuorixTVCustomUuid();
    handleConnectedDevice();
    addTimerForLastConnectedBtSpeaker();
    bt_adapter_set_app_ready(1);
}

void CBluetoothEventHandler::Deinit()
{
    deinitVconfCallbacks();
    deInitBluetoothEventSubscriber();
    m_dbusClient.reset();
    m_smartRcHandler.reset();
    bt_adapter_unset_state_changed_cb();
    bt_product_deinit();
}

void CBluetoothEventHandler::initializeAdapter()
{
    bt_product_init();
    const int result = bt_adapter_set_state_changed_cb(ForwardAdapterState, this);
    if (result != BT_ERROR_NONE) {
        bt_product_deinit();
        LOGE("bt_adapter_set_state_changed_cb is failed: [%s]", Util::CommonUtil::ERR_STR(result));
        return;
    }
    if (isAdapterFactoryOptionEnable()) {
        handleAdapterFactoryOptionEnable();
    } else {
        handleAdapterFactoryOptionDisable();
    }
}

void CBluetoothEventHandler::onAdapterStateChange(int /*result*/, bt_adapter_state_e state)
{
    LOGI("Adapter state is changed = %d", state);
    if (state == BT_ADAPTER_ENABLED) {
        handleAdapterEnable();
    } else {
        handleAdapterDisable();
    }
}

void CBluetoothEventHandler::handleAdapterEnable()
{
    // On its way to standby or low power the set was locked there until Bluetooth is up, which it is now.
    const power_state_e powerState = Util::TvStatusUtil::GetPowerState();
    if (powerState == DEVICE_POWER_STATE_STANDBY) {
        LOGE("<Not Error> unlock standby power state");
        __print_kernel_log("VYREL", __func__, "adapter enabled, request standby unlock");
        Util::TvStatusUtil::UnSetStandbyPowerLock();
    } else if (powerState == DEVICE_POWER_STATE_LOW_POWER) {
        LOGE("<Not Error> unlock LPM state");
        __print_kernel_log("VYREL", __func__, "adapter enabled, request lpm unlock");
        Util::TvStatusUtil::UnlockLpmPowerState();
    }

    removeAllPairedDeviceToReset();
    setEIRData();
    setQuorixTVCustomUuid();
    setAdapterVisibility();
    if (bt_adapter_set_app_ready(1) != BT_ERROR_NONE) {
        LOGE("service app exit");
        return;
    }

    std::string address;
    if (isBtWakeUpReasonAndPowerState() && isA2dpPowerOn(address)) {
        Call(m_dbusClient.get(), kConnectionManager, "A2dpPowerOn",
             g_variant_new("(s)", Util::ToValidUtf8(address).c_str()));
    }
}

void CBluetoothEventHandler::handleAdapterDisable()
{
    Call(m_dbusClient.get(), kConnectionManager, "AdapterDisabled");
    if (m_smartRcHandler) {
        m_smartRcHandler->SetHsmVconf("Reset");
    } else {
        LOGE("no remote handler, the loss is not recorded");
    }
    SendRemoteLostKpi();
}

bool CBluetoothEventHandler::isAdapterFactoryOptionEnable() const
{
    bool isDisabled = false;
    Util::VconfUtil::GetVconf(VconfKey::DB_LOW_POWER_SUPPORT_BT_DISABLE, isDisabled);
    return !isDisabled;
}

void CBluetoothEventHandler::handleAdapterFactoryOptionEnable()
{
    const int result = bt_adapter_enable();
    LOGE("<Not Error> bt_adapter_enable, ret = [%s]", Util::CommonUtil::ERR_STR(result));
    // The setting keeps what was wanted, not what came of it.
    Util::VconfUtil::SetVconf(VconfKey::DB_LOW_POWER_SUPPORT_BT_DISABLE, false);
    if (result == BT_ERROR_ALREADY_DONE) {
        // It was on, so no change will be reported whose handling would do this.
        setAdapterVisibility();
        removeAllPairedDeviceToReset();
    } else if (result != BT_ERROR_NONE) {
        LOGE("bt_adapter_enable is failed: [%s]", Util::CommonUtil::ERR_STR(result));
    }
}

void CBluetoothEventHandler::handleAdapterFactoryOptionDisable()
{
    const int result = bt_adapter_disable();
    LOGE("<Not Error> bt_adapter_disable, ret = [%s]", Util::CommonUtil::ERR_STR(result));
    Util::VconfUtil::SetVconf(VconfKey::DB_LOW_POWER_SUPPORT_BT_DISABLE, true);
    if (result != BT_ERROR_NONE) {
        LOGE("%s failed: [%s]", "bt_adapter_disable()", Util::CommonUtil::ERR_STR(result));
    }
}

void CBluetoothEventHandler::initVconfKeys()
{
    Util::VconfUtil::SetVconf(VconfKey::DB_VYREL_MICOMRESET, 0);
    Util::VconfUtil::SetVconf(VconfKey::DB_VYREL_SOUNDSHAREDEVICE_SS_USE, 1);
    Util::VconfUtil::SetVconf(VconfKey::MEMORY_ORG_VANTOR_VYREL_EXT_BT_SPK_NAME, std::string(kBlank));
    Util::VconfUtil::SetVconf(VconfKey::MEMORY_ORG_VANTOR_VYREL_INPUT_WINDOW_ID, std::string(kBlank));
    Util::VconfUtil::SetVconf(VconfKey::DB_MENU_SOUND_SPEAKERSETTINGS_SOUNDSHARESETTINGS_AUDIO_MULTI_OUTPUT, 0);
    Util::VconfUtil::SetVconf(VconfKey::DB_MENU_SOUND_SPEAKERSETTINGS_SOUNDMIRRORING, 0);
}

void CBluetoothEventHandler::initVconfCallbacks()
{
    vconf_notify_key_changed(VconfKey::kTvName, ForwardTvName, this);
}

void CBluetoothEventHandler::deinitVconfCallbacks()
{
    vconf_ignore_key_changed(VconfKey::kTvName, ForwardTvName);
}

void CBluetoothEventHandler::initBluetoothEventSubscriber()
{
    m_subscriber = std::make_unique<CBluetoothEventSubscriber>();
    m_subscriber->setAuthorizationCallback([this] { onAuthorizationRequest(); });
    m_subscriber->setAclConnectionStateChangedCallback(
        [this](bool connected, bt_device_connection_info_s* info) { onDeviceConnectionStateChanged(connected, info); });
    m_subscriber->setAudioConnectedCallback(
        [this](const std::string& address, bt_audio_profile_type_e type) { onAudioConnected(address, type); });
    m_subscriber->setHidConnetedCallback([this](const std::string& address) { onHidConnected(address); });
    m_subscriber->setGattConnectedCallback([this](const std::string& address) { onGattConnected(address); });
    m_subscriber->init(m_dbusClient);
}

void CBluetoothEventHandler::deInitBluetoothEventSubscriber()
{
    if (m_subscriber) {
        m_subscriber->deinit();
        m_subscriber.reset();
    }
}

void CBluetoothEventHandler::onAuthorizationRequest()
{
    cancelReconnection();
}

void CBluetoothEventHandler::cancelReconnection()
{
    if (m_reconnectionTimer != 0) {
        g_source_remove(m_reconnectionTimer);
        m_reconnectionTimer = 0;
    }
}
