#include "KpiWireless.h"

#include "DlogUtil.h"
#include "KpiBuilder.h"
#include "KpiDescription.h"
#include "KpiPayload.h"
#include "SystemConfigUtil.h"

#include <array>
#include <string_view>

namespace {

constexpr const char* kWirelessCategory = "25_wireless";

} // namespace

KpiWireless::KpiWireless(const std::string& eventName, const std::string& eventCode, GVariant* payload)
    : CKpiBase(kWirelessCategory, eventName, eventCode)
{
    static constexpr std::array<KpiBuilder<KpiWireless>, 2> kBuilders = {{
        {"EV003", &KpiWireless::BuildBtDeviceDescription},
        {"EV007", &KpiWireless::BuildAudioDripDescription},
    }};
    const auto* builder = FindBuilder(kBuilders, eventCode);
    if (builder == nullptr) {
        LOGI("Type doesn't matched cancel sending kpi");
        return;
    }
    (this->*builder->build)(payload);
}

KpiWireless::~KpiWireless() = default;

void KpiWireless::BuildBtDeviceDescription(GVariant* payload)
{
    if (!IsPayload(payload, "(sssiib)")) {
        LOGE("payload is not a connected device");
        return;
    }
    const gchar* type = nullptr;
    const gchar* name = nullptr;
    const gchar* address = nullptr; // the collector is not told which device it was
    gint32 rssi = 0;
    gint32 deviceCount = 0;
    gboolean isDualAudio = FALSE;
    g_variant_get(payload, "(&s&s&siib)", &type, &name, &address, &rssi, &deviceCount, &isDualAudio);
    m_description = KpiDescription()
                        .Add("type", type)
                        .Add("name", name)
                        .Add("ble", Util::SystemConfigUtil::IsBLESupport() ? 1 : 0)
                        .Add("btrssi", rssi)
                        .Add("numdevices", deviceCount)
                        .Add("dualaudio", isDualAudio != FALSE ? 1 : 0)
                        .Text();
    LOGI("description = %s", m_description.c_str());
}

void KpiWireless::BuildAudioDripDescription(GVariant* payload)
{
    if (!IsPayload(payload, "(ssiib)")) {
        LOGE("payload is not a count of drop-outs");
        return;
    }
    const gchar* name = nullptr;
    const gchar* rssi = nullptr;
    gint32 dropCount = 0;
    gint32 deviceCount = 0;
    gboolean isDualAudio = FALSE;
    g_variant_get(payload, "(&s&siib)", &name, &rssi, &dropCount, &deviceCount, &isDualAudio);
    m_description = KpiDescription()
                        .Add("name", name)
                        .Add("btrssi", rssi)
                        .Add("numdevices", deviceCount)
                        .Add("dropcount", dropCount)
                        .Add("dualaudio", isDualAudio != FALSE ? 1 : 0)
                        .Add("blescan", 0)
                        .Text();
    LOGI("description = %s", m_description.c_str());
}
