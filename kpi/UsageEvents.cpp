#include "UsageEvents.h"

#include "GlibPointers.h"
#include "KpiPayload.h"
#include "KpiWireless.h"
#include "Utf8.h"

#include <glib.h>

namespace {

/// \param payload floating; ends with the event
template <typename Event>
void Send(const char* name, const char* code, GVariant* payload)
{
    const Util::VariantPtr owned = Util::TakeBody(payload);
    Event(name, code, owned.get()).SendKPIEvent();
}

} // namespace

void Kpi::SendRemoteBattery(int level)
{
    Send<KpiRemocon>("BATTERY", "EV005", PayloadOf(level));
}

void Kpi::SendRemoteConnection(std::string_view address, int rssi, KpiRemoconEventType type)
{
    Send<KpiRemocon>("BTCONNECT", "EV006",
                     g_variant_new("(sii)", Util::ToValidUtf8(address).c_str(), rssi, static_cast<gint32>(type)));
}

void Kpi::SendAmbientLight(const KpiAmbientLight& samples)
{
    Send<KpiRemocon>("AMBILIGHT", "EV015",
                     g_variant_new("(ssss)", samples.lux.c_str(), samples.colourTemperature.c_str(),
                                   samples.localTime.c_str(), samples.status.c_str()));
}

void Kpi::SendSolarCharge(const KpiSolarCharge& charge)
{
    Send<KpiRemocon>("SOLARCHARGE", "EV016", PayloadOf(charge.adc, charge.lux, charge.status, charge.detail));
}

void Kpi::SendDeviceConnection(const KpiDeviceConnection& device)
{
    Send<KpiWireless>("BT_DEV", "EV003",
                      g_variant_new("(sssiib)", Util::ToValidUtf8(device.service).c_str(),
                                    Util::ToValidUtf8(device.name).c_str(), Util::ToValidUtf8(device.address).c_str(),
                                    device.rssi, device.deviceCount, device.isDualAudio ? TRUE : FALSE));
}
