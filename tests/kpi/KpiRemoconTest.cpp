#include "KpiRemocon.h"

#include "GlibPointers.h"
#include "kpi/KpiTest.h"
#include "sim/Adapter.h"
#include "sim/Features.h"
#include "sim/Remotes.h"
#include "sim/Settings.h"
#include "sim/Tape.h"
#include "sim/Television.h"

#include <glib.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <initializer_list>
#include <limits>
#include <optional>
#include <string>
#include <vector>

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

constexpr const char* kPairCount = "db/vyrel/RC_PairCount";
constexpr const char* kReconnectCount = "db/vyrel/RC_ReConnectCount";
constexpr const char* kRssi = "db/vyrel/RC_RSSIValue";
constexpr const char* kResetCount = "db/vyrel/RC_ModuleResetCount";
constexpr const char* kLastAddress = "db/vyrel/last_smartrc_address";
constexpr const char* kConnectedAddress = "db/bluetooth_smartrc/conn_dev_addr";

constexpr const char* kRemote = "AA:BB:CC:00:00:01";
constexpr const char* kOtherRemote = "AA:BB:CC:00:00:02";

constexpr int kConnected = 0;
constexpr int kTimeout = 1;
constexpr int kModuleReset = 2;

/// An event that sends nothing and shows its input type.
class InputTypeEvent : public KpiRemocon
{
public:
    InputTypeEvent() : KpiRemocon("IDLE", "", nullptr) {}
    using KpiRemocon::m_inputType;
};

struct InputTypeRow
{
    unsigned char deviceType;
    const char* inputType;
};

class KpiRemoconTest : public KpiTest
{
protected:
    KpiRemoconTest()
    {
        tv.features.modelName = "M";
        tv.adapter.chipVersion = 0x1A2B;
        tv.smartRemote.IsConnected(kRemote);
        tv.smartRemote.fwVersion = 0xB0000C1D;
        tv.settings.Writes(kConnectedAddress, kRemote);
        tv.tape.Clear();
    }

    static void Send(const char* name, const char* code, GVariant* payload)
    {
        const Util::VariantPtr owned = Util::TakeBody(payload);
        KpiRemocon(name, code, owned.get()).SendKPIEvent();
    }

    static void Reports(const char* address, int rssi, int type)
    {
        Send("BTCONNECT", "EV006", g_variant_new("(sii)", address, rssi, type));
    }

    /// An event that sends nothing, to ask its operations.
    static KpiRemocon Idle()
    {
        return KpiRemocon("IDLE", "", nullptr);
    }
};

} // namespace

TEST_F(KpiRemoconTest, ABatteryEventTellsModelAndLevel)
{
    Send("BATTERY", "EV005", g_variant_new("(i)", 87));

    EXPECT_THAT(Events(), ElementsAre("25_remocon BATTERY EV005 {product=M;batlev=87}"));
    EXPECT_THAT(Logs(), ElementsAre("I ModelName is M", "I description = {product=M;batlev=87}"));
}

TEST_F(KpiRemoconTest, ABatteryEventOfAnUnknownModelHasAnEmptyProduct)
{
    tv.Fails("system_info_get_value_string", -1);
    Send("BATTERY", "EV005", g_variant_new("(i)", -1));

    EXPECT_THAT(Events(), ElementsAre("25_remocon BATTERY EV005 {product=;batlev=-1}"));
    EXPECT_THAT(Logs(), ElementsAre("E Failed to get model", "I description = {product=;batlev=-1}"));
}

TEST_F(KpiRemoconTest, AnAmbientLightEventGivesItsTextsAsTheyAre)
{
    Send("AMBILIGHT", "EV015", g_variant_new("(ssss)", "1|2", "30%s|", "2026-01-02 03:04:05", ""));

    EXPECT_THAT(Events(),
                ElementsAre("25_remocon AMBILIGHT EV015 {lux=1|2;cct=30%s|;loctime=2026-01-02 03:04:05;status=}"));
    EXPECT_THAT(Logs(), ElementsAre("I description = {lux=1|2;cct=30%s|;loctime=2026-01-02 03:04:05;status=}"));
}

TEST_F(KpiRemoconTest, ASolarChargeEventGivesItsFourIntegersInOrder)
{
    Send("SOLARCHARGE", "EV016",
         g_variant_new("(iiii)", 31, -1, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()));

    EXPECT_THAT(Events(),
                ElementsAre("25_remocon SOLARCHARGE EV016 {adc=31;lux=-1;status=2147483647;harvtime=-2147483648}"));
    EXPECT_THAT(Logs(), ElementsAre("I description = {adc=31;lux=-1;status=2147483647;harvtime=-2147483648}"));
}

TEST_F(KpiRemoconTest, TheFirstConnectionIsANewPairing)
{
    Reports(kRemote, -55, kConnected);

    EXPECT_THAT(Events(), ElementsAre("25_remocon BTCONNECT EV006 {product=M;input=0xcb;btfw=1a2b;scfw=b0000c1d;"
                                      "scmac=AA:BB:CC:00:00:01;reconcnt=0;btresetcnt=0;pairingcnt=1;scdisconrsn=0;"
                                      "rssi=-55}"));
    EXPECT_EQ(Int(kPairCount), 1);
    EXPECT_EQ(Int(kReconnectCount), 0);
    EXPECT_EQ(Int(kRssi), -55);
    EXPECT_EQ(Text(kLastAddress), kRemote);
}

TEST_F(KpiRemoconTest, AConnectionEventDoesItsStepsInOrder)
{
    Reports(kRemote, -55, kConnected);

    EXPECT_THAT(Platform(),
                ElementsAre("vconf_set_int(\"db/vyrel/RC_RSSIValue\", -55)", "system_info_get_value_string(0)",
                            "vconf_get_str(\"db/vyrel/last_smartrc_address\")",
                            "vconf_set_int(\"db/vyrel/RC_ReConnectCount\", 0)",
                            "vconf_get_int(\"db/vyrel/RC_PairCount\")", "vconf_set_int(\"db/vyrel/RC_PairCount\", 1)",
                            "bt_adapter_get_chip_version()", "vconf_get_str(\"db/bluetooth_smartrc/conn_dev_addr\")",
                            "bt_hid_get_smart_rc_fw_version(\"AA:BB:CC:00:00:01\")",
                            "vconf_get_int(\"db/vyrel/RC_ReConnectCount\")",
                            "vconf_get_int(\"db/vyrel/RC_ModuleResetCount\")",
                            "vconf_get_int(\"db/vyrel/RC_PairCount\")", "vconf_get_int(\"db/vyrel/RC_RSSIValue\")",
                            "vconf_set_str(\"db/vyrel/last_smartrc_address\", \"AA:BB:CC:00:00:01\")"));
}

TEST_F(KpiRemoconTest, AConnectionEventLogsItsSignalStrengthAndItsText)
{
    Reports(kRemote, -55, kConnected);

    EXPECT_THAT(Logs(), Contains("I rssi = -55"));
    EXPECT_THAT(Logs(), Contains(HasSubstr("I description = {product=M;input=0xcb;")));
    EXPECT_THAT(Logs(), Not(Contains("E not connected event")));
}

TEST_F(KpiRemoconTest, TheSameRemoteAgainIsAReconnection)
{
    Reports(kRemote, -55, kConnected);
    Reports(kRemote, -56, kConnected);

    EXPECT_EQ(Int(kReconnectCount), 1);
    EXPECT_EQ(Int(kPairCount), 1);
    EXPECT_THAT(Events().back(), HasSubstr(";reconcnt=1;btresetcnt=0;pairingcnt=1;scdisconrsn=0;rssi=-56}"));
}

TEST_F(KpiRemoconTest, AnotherRemoteIsANewPairingAndStartsItsReconnectionsAnew)
{
    Reports(kRemote, -55, kConnected);
    Reports(kRemote, -55, kConnected);
    Reports(kOtherRemote, -55, kConnected);

    EXPECT_EQ(Int(kReconnectCount), 0);
    EXPECT_EQ(Int(kPairCount), 2);
    EXPECT_EQ(Text(kLastAddress), kOtherRemote);
    EXPECT_THAT(Events().back(), HasSubstr("scmac=AA:BB:CC:00:00:02;reconcnt=0;btresetcnt=0;pairingcnt=2;"));
}

TEST_F(KpiRemoconTest, ADisconnectionCountsNothingAndKeepsTheLastRemote)
{
    Reports(kRemote, -55, kConnected);
    Reports(kOtherRemote, 0, kTimeout);

    EXPECT_EQ(Int(kPairCount), 1);
    EXPECT_EQ(Int(kReconnectCount), 0);
    EXPECT_EQ(Int(kResetCount), -1) << "never written";
    EXPECT_EQ(Text(kLastAddress), kRemote);
    EXPECT_THAT(Logs(), Contains("E not connected event"));
    EXPECT_THAT(Events().back(), HasSubstr("scmac=AA:BB:CC:00:00:02;reconcnt=0;btresetcnt=0;pairingcnt=1;"
                                           "scdisconrsn=1;rssi=0}"));
}

TEST_F(KpiRemoconTest, AReconnectionIsJudgedAgainstTheRemoteThatConnectedLast)
{
    Reports(kRemote, -55, kConnected);
    Reports(kOtherRemote, 0, kTimeout);
    Reports(kRemote, -55, kConnected);

    EXPECT_EQ(Int(kReconnectCount), 1);
    EXPECT_EQ(Int(kPairCount), 1);
}

TEST_F(KpiRemoconTest, AModuleResetIsCountedAndIsNoConnection)
{
    Reports(kRemote, 0, kModuleReset);
    Reports(kRemote, 0, kModuleReset);

    EXPECT_EQ(Int(kResetCount), 2);
    EXPECT_EQ(Int(kPairCount), -1) << "never written";
    EXPECT_EQ(Int(kReconnectCount), -1) << "never written";
    EXPECT_EQ(Text(kLastAddress), "(none)");
    EXPECT_THAT(Logs(), Contains("E not connected event"));
    EXPECT_THAT(Events().back(), HasSubstr("reconcnt=0;btresetcnt=2;pairingcnt=0;scdisconrsn=2;rssi=0}"));
}

TEST_F(KpiRemoconTest, AnyOtherTypeIsPassedThroughAsAReason)
{
    for (const int reason : {3, 99, -1, std::numeric_limits<int>::max()}) {
        Reports(kRemote, 0, reason);
        EXPECT_THAT(Events().back(), HasSubstr(";scdisconrsn=" + std::to_string(reason) + ";"));
    }
    EXPECT_EQ(Int(kPairCount), -1) << "never written";
    EXPECT_EQ(Int(kResetCount), -1) << "never written";
}

TEST_F(KpiRemoconTest, AnEmptyAddressIsAnAddress)
{
    Reports("", 0, kConnected);

    EXPECT_THAT(Events().back(), HasSubstr(";scmac=;reconcnt=1;"));
    EXPECT_EQ(Int(kReconnectCount), 1) << "no remote connected before, and none did now";
}

TEST_F(KpiRemoconTest, AConnectionEventWithoutAnAddressIsNotSentAndCountsNothing)
{
    Send("BTCONNECT", "EV006", nullptr);

    EXPECT_THAT(Events(), IsEmpty());
    EXPECT_THAT(Platform(), IsEmpty());
    EXPECT_THAT(Logs(), ElementsAre("I failed to get address",
                                    "E Invalid kpi info is saved so do not send kpi data to server"));
}

TEST_F(KpiRemoconTest, UnreadableFirmwareVersionsStillGiveAConnectionEvent)
{
    tv.Fails("bt_adapter_get_chip_version", -12);
    tv.Fails("bt_hid_get_smart_rc_fw_version", -12);
    Reports(kRemote, -55, kConnected);

    EXPECT_THAT(Events().back(), HasSubstr(";btfw=;scfw=InvalidFW;"));
    EXPECT_THAT(Logs(), Contains("E failed to get bt_adapter_get_chip_version"));
    EXPECT_THAT(Logs(), Contains("E failed to get bt_hid_get_smart_rc_fw_version"));
}

TEST_F(KpiRemoconTest, VersionsAreLowerCaseHexadecimalWithoutAPrefix)
{
    tv.adapter.chipVersion = static_cast<int>(0xFFEE0001);
    EXPECT_EQ(Idle().GetBtChipFwVersion(), "ffee0001");
    tv.adapter.chipVersion = 0;
    EXPECT_EQ(Idle().GetBtChipFwVersion(), "0");
    tv.smartRemote.fwVersion = 0xFFFFFFFF;
    EXPECT_EQ(Idle().GetSmartRcFwVersion(), "ffffffff");
}

TEST_F(KpiRemoconTest, TheFirmwareAskedForIsTheConnectedRemotesWhateverTheEventSays)
{
    tv.settings.Writes(kConnectedAddress, kOtherRemote);
    Reports(kRemote, -55, kConnected);

    EXPECT_THAT(Platform(), Contains("bt_hid_get_smart_rc_fw_version(\"AA:BB:CC:00:00:02\")"));
    EXPECT_THAT(Events().back(), HasSubstr(";scfw=InvalidFW;scmac=AA:BB:CC:00:00:01;"));
}

TEST_F(KpiRemoconTest, AnUnknownCodeIsNotSent)
{
    Send("BATTERY", "EV004", g_variant_new("(i)", 1));

    EXPECT_THAT(Events(), IsEmpty());
    EXPECT_THAT(Logs(), ElementsAre("I Type doesn't matched cancel sending kpi",
                                    "E Invalid kpi info is saved so do not send kpi data to server"));
}

TEST_F(KpiRemoconTest, APayloadOfAnotherTypeIsNotSent)
{
    Send("BATTERY", "EV005", g_variant_new("(s)", "87"));
    Send("BATTERY", "EV005", nullptr);
    Send("BTCONNECT", "EV006", g_variant_new("(sss)", kRemote, "1", "2"));
    Send("AMBILIGHT", "EV015", g_variant_new("(iiii)", 1, 2, 3, 4));
    Send("SOLARCHARGE", "EV016", g_variant_new("(iii)", 1, 2, 3));
    Send("SOLARCHARGE", "EV016", g_variant_new_int32(1));

    EXPECT_THAT(Events(), IsEmpty());
    EXPECT_THAT(Platform(), IsEmpty());
}

TEST_F(KpiRemoconTest, TheCallerKeepsItsPayload)
{
    const Util::VariantPtr payload = Util::TakeBody(g_variant_new("(i)", 5));
    KpiRemocon("BATTERY", "EV005", payload.get()).SendKPIEvent();
    KpiRemocon("BATTERY", "EV005", payload.get()).SendKPIEvent();

    EXPECT_THAT(Events(), ElementsAre("25_remocon BATTERY EV005 {product=M;batlev=5}",
                                      "25_remocon BATTERY EV005 {product=M;batlev=5}"));
}

TEST_F(KpiRemoconTest, TheCountersReadZeroBeforeTheyWereWrittenAndWithAnotherType)
{
    tv.settings.Writes(kResetCount, "7");

    EXPECT_EQ(Idle().GetSmartRcPairingCount(), 0);
    EXPECT_EQ(Idle().GetReconnectCount(), 0);
    EXPECT_EQ(Idle().GetBtChipResetCount(), 0);
    EXPECT_EQ(Idle().GetSmartRcRssi(), 0);
}

TEST_F(KpiRemoconTest, EachCounterAddsOneToItsOwnSetting)
{
    Idle().SetSmartRcPairingCount();
    Idle().SetReconnectCount();
    Idle().SetReconnectCount();
    Idle().SetBtChipResetCount();
    Idle().SetBtChipResetCount();
    Idle().SetBtChipResetCount();
    Idle().SetSmartRcRssi(-90);

    EXPECT_EQ(Idle().GetSmartRcPairingCount(), 1);
    EXPECT_EQ(Idle().GetReconnectCount(), 2);
    EXPECT_EQ(Idle().GetBtChipResetCount(), 3);
    EXPECT_EQ(Idle().GetSmartRcRssi(), -90);
    EXPECT_EQ(Int(kPairCount), 1);
    EXPECT_EQ(Int(kReconnectCount), 2);
    EXPECT_EQ(Int(kResetCount), 3);
    EXPECT_EQ(Int(kRssi), -90);
}

TEST_F(KpiRemoconTest, ACounterAtItsEndStaysThere)
{
    tv.settings.Writes(kPairCount, std::numeric_limits<int>::max());
    Idle().SetSmartRcPairingCount();

    EXPECT_EQ(Int(kPairCount), std::numeric_limits<int>::max());
}

TEST_F(KpiRemoconTest, AReconnectionIsTheStoredAddressExactly)
{
    EXPECT_TRUE(Idle().IsReconnectCase("")) << "nothing stored, nothing given";
    EXPECT_FALSE(Idle().IsReconnectCase(kRemote));
    tv.settings.Writes(kLastAddress, kRemote);
    EXPECT_TRUE(Idle().IsReconnectCase(kRemote));
    EXPECT_FALSE(Idle().IsReconnectCase("aa:bb:cc:00:00:01"));
    EXPECT_FALSE(Idle().IsReconnectCase(""));
}

TEST_F(KpiRemoconTest, TheLastAddressIsKeptOnlyForAConnection)
{
    KpiRemocon event("IDLE", "", nullptr);
    EXPECT_EQ(event.GetDisconnectReason(), 0);
    event.SetSmartRcDisconnectReason(static_cast<KpiRemoconEventType>(3));
    EXPECT_EQ(event.GetDisconnectReason(), 3);
    event.SetLastConnectedAddress(kRemote);
    EXPECT_EQ(Text(kLastAddress), "(none)");
    EXPECT_THAT(Logs(), Contains("E not connected event"));

    event.SetSmartRcDisconnectReason(KPI_REMOCON_CONNECTED);
    event.SetLastConnectedAddress(kRemote);
    EXPECT_EQ(Text(kLastAddress), kRemote);
}

TEST_F(KpiRemoconTest, TheConnectedRemotesAddressIsReadAndOtherwiseLeftAlone)
{
    std::string address = "before";
    Idle().GetSmartRcAddress(address);
    EXPECT_EQ(address, kRemote);
    tv.settings.Writes(kConnectedAddress, 1);
    Idle().GetSmartRcAddress(address);
    EXPECT_EQ(address, kRemote);
}

TEST_F(KpiRemoconTest, AnUnreadableModelLeavesTheNameAlone)
{
    tv.Fails("system_info_get_value_string", -1);
    std::string name = "before";
    Idle().GetModelName(name);

    EXPECT_EQ(name, "before");
}

TEST_F(KpiRemoconTest, AnUnreadableDeviceTypeIsZero)
{
    tv.Fails("bt_hid_get_smart_rc_device_type", -12);

    EXPECT_EQ(Idle().GetSmartRcDeviceType(), 0);
    EXPECT_THAT(Logs(), Contains("I failed to get bt_hid_get_smart_rc_device_type"));
}

TEST_F(KpiRemoconTest, ConnectionEventsNeverAskForTheDeviceType)
{
    tv.smartRemote.deviceType = 33;
    Reports(kRemote, -55, kConnected);

    EXPECT_THAT(Events().back(), HasSubstr(";input=0xcb;"));
    EXPECT_THAT(Platform(), Not(Contains(HasSubstr("bt_hid_get_smart_rc_device_type"))));
}

TEST_F(KpiRemoconTest, TheInputTypeFollowsTheDeviceType)
{
    for (const InputTypeRow& row : {InputTypeRow{0, "0xcb"},
                                    {16, "0xcb"},
                                    {17, "0xc9"},
                                    {18, "0xc9"},
                                    {19, "0xcb"},
                                    {32, "0xcb"},
                                    {33, "0xca"},
                                    {34, "0xca"},
                                    {35, "0xca"},
                                    {36, "0xcb"},
                                    {255, "0xcb"}}) {
        InputTypeEvent event;
        tv.smartRemote.deviceType = row.deviceType;
        event.SetSmartRcInputType();
        EXPECT_EQ(event.m_inputType, row.inputType) << static_cast<int>(row.deviceType);
    }
}

TEST_F(KpiRemoconTest, AnUnknownDeviceTypeLeavesTheInputTypeAsItIs)
{
    InputTypeEvent event;
    tv.smartRemote.deviceType = 33;
    event.SetSmartRcInputType();
    tv.smartRemote.deviceType = 36;
    event.SetSmartRcInputType();
    EXPECT_EQ(event.m_inputType, "0xca");
    tv.Fails("bt_hid_get_smart_rc_device_type", -12);
    event.SetSmartRcInputType();
    EXPECT_EQ(event.m_inputType, "0xca");
}
