#include "KpiRemocon.h"

#include "DlogUtil.h"
#include "GlibPointers.h"
#include "KpiBuilder.h"
#include "KpiDescription.h"
#include "KpiPayload.h"
#include "VconfKeyId.h"
#include "VconfUtil.h"

#include <bt_adapter.h>
#include <bt_error.h>
#include <bt_hid.h>
#include <system_info.h>

#include <array>
#include <cstdio>
#include <string_view>

namespace {

constexpr const char* kRemoconCategory = "25_remocon";
constexpr const char* kDefaultInputType = "0xcb";

std::string Hexadecimal(unsigned int number)
{
    std::array<char, 2 * sizeof number + 1> digits{};
    (void)std::snprintf(digits.data(), digits.size(), "%x", number);
    return digits.data();
}

} // namespace

KpiRemocon::KpiRemocon(const std::string& eventName, const std::string& eventCode, GVariant* payload)
    : CKpiBase(kRemoconCategory, eventName, eventCode),
      m_inputType(kDefaultInputType)
{
    static constexpr std::array<KpiBuilder<KpiRemocon>, 4> kBuilders = {{
        {"EV005", &KpiRemocon::BuildBatteryDescription},
        {"EV006", &KpiRemocon::BuildBtConnectDescription},
        {"EV015", &KpiRemocon::BuildAmbientLightDescription},
        {"EV016", &KpiRemocon::BuildSolarChargeDescription},
    }};
    const auto* builder = FindBuilder(kBuilders, eventCode);
    if (builder == nullptr) {
        LOGI("Type doesn't matched cancel sending kpi");
        return;
    }
    (this->*builder->build)(payload);
}

KpiRemocon::~KpiRemocon() = default;

void KpiRemocon::BuildBatteryDescription(GVariant* payload)
{
    if (!IsPayload(payload, "(i)")) {
        LOGE("payload is not a battery level");
        return;
    }
    const int level = IntegerOf(payload, 0);
    std::string model;
    GetModelName(model);
    m_description = KpiDescription().Add("product", model).Add("batlev", level).Text();
    LOGI("description = %s", m_description.c_str());
}

void KpiRemocon::BuildBtConnectDescription(GVariant* payload)
{
    if (!IsPayload(payload, "(sii)")) {
        LOGI("failed to get address");
        return;
    }
    const gchar* text = nullptr;
    gint32 rssi = 0;
    gint32 type = 0;
    g_variant_get(payload, "(&sii)", &text, &rssi, &type);
    const std::string address(text);

    SetSmartRcRssi(rssi);
    std::string model;
    GetModelName(model);
    SetBtConnectDescription(static_cast<KpiRemoconEventType>(type), address);
    const std::string chipVersion = GetBtChipFwVersion();
    const std::string remoteVersion = GetSmartRcFwVersion();
    m_description = KpiDescription()
                        .Add("product", model)
                        .Add("input", m_inputType)
                        .Add("btfw", chipVersion)
                        .Add("scfw", remoteVersion)
                        .Add("scmac", address)
                        .Add("reconcnt", GetReconnectCount())
                        .Add("btresetcnt", GetBtChipResetCount())
                        .Add("pairingcnt", GetSmartRcPairingCount())
                        .Add("scdisconrsn", GetDisconnectReason())
                        .Add("rssi", GetSmartRcRssi())
                        .Text();
    LOGI("description = %s", m_description.c_str());
    SetLastConnectedAddress(address);
}

void KpiRemocon::BuildAmbientLightDescription(GVariant* payload)
{
    if (!IsPayload(payload, "(ssss)")) {
        LOGE("payload is not a set of ambient light samples");
        return;
    }
    const gchar* lux = nullptr;
    const gchar* colourTemperature = nullptr;
    const gchar* localTime = nullptr;
    const gchar* status = nullptr;
    g_variant_get(payload, "(&s&s&s&s)", &lux, &colourTemperature, &localTime, &status);
    m_description = KpiDescription()
                        .Add("lux", lux)
                        .Add("cct", colourTemperature)
                        .Add("loctime", localTime)
                        .Add("status", status)
                        .Text();
    LOGI("description = %s", m_description.c_str());
}

void KpiRemocon::BuildSolarChargeDescription(GVariant* payload)
{
    if (!IsPayload(payload, "(iiii)")) {
        LOGE("payload is not a solar charge");
        return;
    }
    m_description = KpiDescription()
                        .Add("adc", IntegerOf(payload, 0))
                        .Add("lux", IntegerOf(payload, 1))
                        .Add("status", IntegerOf(payload, 2))
                        .Add("harvtime", IntegerOf(payload, 3))
                        .Text();
    LOGI("description = %s", m_description.c_str());
}

void KpiRemocon::GetSmartRcAddress(std::string& address) const
{
    Util::VconfUtil::GetVconf(VconfKey::DB_BLUETOOTH_SMARTRC_CONN_DEV_ADDR, address);
}

void KpiRemocon::GetModelName(std::string& name) const
{
    char* text = nullptr;
    const int result = system_info_get_value_string(SYSTEM_INFO_MODEL_NAME, &text);
    const Util::MallocString model(text);
    if (result != 0 || !model) {
        LOGE("Failed to get model");
        return;
    }
    name = model.get();
    LOGI("ModelName is %s", name.c_str());
}

std::string KpiRemocon::GetBtChipFwVersion() const
{
    int version = 0;
    if (bt_adapter_get_chip_version(&version) != BT_ERROR_NONE) {
        LOGE("failed to get bt_adapter_get_chip_version");
        return {};
    }
    return Hexadecimal(static_cast<unsigned int>(version));
}

std::string KpiRemocon::GetSmartRcFwVersion() const
{
    std::string address;
    GetSmartRcAddress(address);
    unsigned int version = 0;
    if (bt_hid_get_smart_rc_fw_version(address.c_str(), &version) != BT_ERROR_NONE) {
        LOGE("failed to get bt_hid_get_smart_rc_fw_version");
        return "InvalidFW";
    }
    return Hexadecimal(version);
}

int KpiRemocon::GetSmartRcDeviceType() const
{
    unsigned char type = 0;
    if (bt_hid_get_smart_rc_device_type(&type) != BT_ERROR_NONE) {
        LOGI("failed to get bt_hid_get_smart_rc_device_type");
        return 0;
    }
    return type;
}

void KpiRemocon::SetSmartRcInputType()
{
    const int type = GetSmartRcDeviceType();
    if (type >= 33 && type <= 35) {
        m_inputType = "0xca";
    } else if (type == 17 || type == 18) {
        m_inputType = "0xc9";
    }
}
