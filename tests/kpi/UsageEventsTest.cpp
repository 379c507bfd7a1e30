#include "UsageEvents.h"

#include "KpiRemocon.h"
#include "kpi/KpiTest.h"
#include "sim/Adapter.h"
#include "sim/Features.h"
#include "sim/Tape.h"
#include "sim/Television.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>

using testing::ElementsAre;

namespace {

class UsageEventsTest : public KpiTest
{
protected:
    UsageEventsTest()
    {
        tv.features.modelName = "M";
        tv.adapter.chipVersion = 0x1A;
    }
};

} // namespace

TEST_F(UsageEventsTest, TheRemotesBattery)
{
    Kpi::SendRemoteBattery(5);
    EXPECT_THAT(Events(), ElementsAre("25_remocon BATTERY EV005 {product=M;batlev=5}"));
}

TEST_F(UsageEventsTest, TheRemotesConnectionIsCountedAndSent)
{
    Kpi::SendRemoteConnection("AA:BB:CC:00:00:01", -60, KPI_REMOCON_CONNECTED);
    EXPECT_THAT(Events(), ElementsAre("25_remocon BTCONNECT EV006 {product=M;input=0xcb;btfw=1a;scfw=InvalidFW;"
                                      "scmac=AA:BB:CC:00:00:01;reconcnt=0;btresetcnt=0;pairingcnt=1;scdisconrsn=0;"
                                      "rssi=-60}"));
    tv.tape.Clear();
    Kpi::SendRemoteConnection("AA:BB:CC:00:00:01", 0, KPI_REMOCON_DISCONNECTED);
    Kpi::SendRemoteConnection("AA:BB:CC:00:00:01", 0, KPI_REMOCON_MODULE_RESET);
    EXPECT_THAT(Events(), ElementsAre(testing::EndsWith("reconcnt=0;btresetcnt=0;pairingcnt=1;scdisconrsn=1;rssi=0}"),
                                      testing::EndsWith("reconcnt=0;btresetcnt=1;pairingcnt=1;scdisconrsn=2;rssi=0}")));
}

TEST_F(UsageEventsTest, TheLightInTheRoom)
{
    Kpi::SendAmbientLight({.lux = "1|2", .colourTemperature = "3|4", .localTime = "5|6", .status = "2|2"});
    EXPECT_THAT(Events(), ElementsAre("25_remocon AMBILIGHT EV015 {lux=1|2;cct=3|4;loctime=5|6;status=2|2}"));
}

TEST_F(UsageEventsTest, AChargeBySun)
{
    Kpi::SendSolarCharge({.adc = 31, .lux = 450, .status = KPI_SOLAR_GRIPPED, .detail = 66});
    Kpi::SendSolarCharge({.adc = 0, .lux = 0, .status = 2, .detail = 0});
    EXPECT_THAT(Events(), ElementsAre("25_remocon SOLARCHARGE EV016 {adc=31;lux=450;status=5;harvtime=66}",
                                      "25_remocon SOLARCHARGE EV016 {adc=0;lux=0;status=2;harvtime=0}"));
}

TEST_F(UsageEventsTest, ADevicesConnection)
{
    tv.features.HasNumber("ble_support", 1);
    Kpi::SendDeviceConnection({.service = "0x02",
                               .name = "Speaker",
                               .address = "AA:BB:CC:00:00:01",
                               .rssi = -70,
                               .deviceCount = 3,
                               .isDualAudio = true});
    EXPECT_THAT(
        Events(),
        ElementsAre("25_wireless BT_DEV EV003 {type=0x02;name=Speaker;ble=1;btrssi=-70;numdevices=3;dualaudio=1}"));
}

// A GLib critical, which ends the test, is what becomes of other bytes in a text.
TEST_F(UsageEventsTest, TextsFromTheAirMayHoldAnyBytes)
{
    Kpi::SendRemoteConnection("A\xFF", -60, KPI_REMOCON_CONNECTED);
    EXPECT_THAT(Events(), ElementsAre(testing::HasSubstr("scmac=A\xEF\xBF\xBD;")));
    tv.tape.Clear();
    Kpi::SendDeviceConnection(
        {.service = "0x08", .name = "B\xC3", .address = "\x80", .rssi = 0, .deviceCount = 0, .isDualAudio = false});
    EXPECT_THAT(Events(), ElementsAre(testing::HasSubstr("name=B\xEF\xBF\xBD;")));
}
