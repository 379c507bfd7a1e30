#pragma once

#include "CKpiBase.h"

#include <glib.h>

#include <string>

/// A usage event of Bluetooth devices and Bluetooth sound.
///
/// code  | payload    | what it holds
/// ------|------------|-------------------------------------------------------------------------------------------
/// EV003 | "(sssiib)" | service id, device name, address, signal strength in dBm, number of devices, two speakers
/// EV007 | "(ssiib)"  | device name, signal strength, number of drop-outs, number of devices, two speakers
///
/// An unknown code, or a payload of another type, leaves the event without its text, and so unsent.
class KpiWireless : public CKpiBase
{
public:
    /// \param payload stays the caller's, and is not needed any more once the event is made
    KpiWireless(const std::string& eventName, const std::string& eventCode, GVariant* payload);
    ~KpiWireless() override;

    void BuildBtDeviceDescription(GVariant* payload);
    void BuildAudioDripDescription(GVariant* payload);
};
