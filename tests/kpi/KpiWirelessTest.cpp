#include "KpiWireless.h"

#include "GlibPointers.h"
#include "kpi/KpiTest.h"
#include "sim/Features.h"
#include "sim/Television.h"

#include <glib.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr const char* kBleFeature = "ble_support";
constexpr const char* kUnknownCode = "I Type doesn't matched cancel sending kpi";
constexpr const char* kRefusedEvent = "E Invalid kpi info is saved so do not send kpi data to server";

class KpiWirelessTest : public KpiTest
{
protected:
    static void Send(const char* name, const char* code, GVariant* payload)
    {
        const Util::VariantPtr owned = Util::TakeBody(payload);
        KpiWireless(name, code, owned.get()).SendKPIEvent();
    }

    static GVariant* Device(const char* type, const char* name, int rssi, int count, bool isDual)
    {
        return g_variant_new("(sssiib)", type, name, "AA:BB:CC:00:00:01", rssi, count, isDual ? TRUE : FALSE);
    }
};

} // namespace

TEST_F(KpiWirelessTest, ADeviceEventOnASetWithLowEnergy)
{
    tv.features.HasNumber(kBleFeature, 1);
    Send("BT_DEV", "EV003", Device("A", "B", -60, 2, false));

    EXPECT_THAT(Events(),
                ElementsAre("25_wireless BT_DEV EV003 {type=A;name=B;ble=1;btrssi=-60;numdevices=2;dualaudio=0}"));
    EXPECT_THAT(Logs(), ElementsAre("I BLE support : [1]",
                                    "I description = {type=A;name=B;ble=1;btrssi=-60;numdevices=2;dualaudio=0}"));
}

TEST_F(KpiWirelessTest, ADeviceEventOnASetWithoutLowEnergyButTwoSpeakers)
{
    tv.features.HasNumber(kBleFeature, 0);
    Send("BT_DEV", "EV003", Device("0x02", "", 0, 0, true));

    EXPECT_THAT(Events(),
                ElementsAre("25_wireless BT_DEV EV003 {type=0x02;name=;ble=0;btrssi=0;numdevices=0;dualaudio=1}"));
}

TEST_F(KpiWirelessTest, ASetThatDoesNotSayHasNoLowEnergy)
{
    Send("BT_DEV", "EV003", Device("A", "B", 1, 1, false));

    EXPECT_THAT(Events(),
                ElementsAre("25_wireless BT_DEV EV003 {type=A;name=B;ble=0;btrssi=1;numdevices=1;dualaudio=0}"));
}

TEST_F(KpiWirelessTest, AnyNonZeroValueOfTheFeatureIsLowEnergy)
{
    tv.features.HasNumber(kBleFeature, 5);
    Send("BT_DEV", "EV003", Device("A", "B", 1, 1, false));

    EXPECT_THAT(Events(),
                ElementsAre("25_wireless BT_DEV EV003 {type=A;name=B;ble=1;btrssi=1;numdevices=1;dualaudio=0}"));
}

TEST_F(KpiWirelessTest, NamesGoInAsTheyAre)
{
    Send("BT_DEV", "EV003", Device("A", "%s;}\x01\u20AC", 1, 1, false));

    EXPECT_THAT(Events(), ElementsAre("25_wireless BT_DEV EV003 {type=A;name=%s;}\x01\u20AC;ble=0;btrssi=1;"
                                      "numdevices=1;dualaudio=0}"));
}

TEST_F(KpiWirelessTest, ADropEventTakesTheDevicesFromTheFourthValueAndTheDropsFromTheThird)
{
    Send("AUDIO", "EV007", g_variant_new("(ssiib)", "N", "-70", 3, 4, TRUE));
    Send("AUDIO", "EV007", g_variant_new("(ssiib)", "N", "-70", 3, 4, FALSE));

    EXPECT_THAT(
        Events(),
        ElementsAre("25_wireless AUDIO EV007 {name=N;btrssi=-70;numdevices=4;dropcount=3;dualaudio=1;blescan=0}",
                    "25_wireless AUDIO EV007 {name=N;btrssi=-70;numdevices=4;dropcount=3;dualaudio=0;blescan=0}"));
    EXPECT_THAT(Logs(),
                ElementsAre("I description = {name=N;btrssi=-70;numdevices=4;dropcount=3;dualaudio=1;blescan=0}",
                            "I description = {name=N;btrssi=-70;numdevices=4;dropcount=3;dualaudio=0;blescan=0}"));
}

TEST_F(KpiWirelessTest, AnUnknownCodeIsNotSent)
{
    Send("BT_DEV", "EV006", Device("A", "B", 1, 1, false));

    EXPECT_THAT(Events(), IsEmpty());
    EXPECT_THAT(Logs(), ElementsAre(kUnknownCode, kRefusedEvent));
}

TEST_F(KpiWirelessTest, APayloadOfAnotherTypeIsNotSent)
{
    Send("BT_DEV", "EV003", g_variant_new("(sssii)", "A", "B", "C", 1, 1));
    Send("BT_DEV", "EV003", nullptr);
    Send("AUDIO", "EV007", Device("A", "B", 1, 1, false));
    Send("AUDIO", "EV007", nullptr);

    EXPECT_THAT(Events(), IsEmpty());
}

TEST_F(KpiWirelessTest, TheBuildersAreOperationsOfTheirOwn)
{
    const Util::VariantPtr drops = Util::TakeBody(g_variant_new("(ssiib)", "N", "-70", 3, 4, TRUE));
    const Util::VariantPtr device = Util::TakeBody(Device("A", "B", 1, 1, false));
    KpiWireless event("BT_DEV", "EV003", device.get());
    event.BuildAudioDripDescription(drops.get());
    event.SendKPIEvent();
    event.BuildBtDeviceDescription(device.get());
    event.SendKPIEvent();

    EXPECT_THAT(
        Events(),
        ElementsAre("25_wireless BT_DEV EV003 {name=N;btrssi=-70;numdevices=4;dropcount=3;dualaudio=1;blescan=0}",
                    "25_wireless BT_DEV EV003 {type=A;name=B;ble=0;btrssi=1;numdevices=1;dualaudio=0}"));
}
