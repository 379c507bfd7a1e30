#include "SystemConfigUtil.h"

#include "sim/Features.h"
#include "sim/Settings.h"
#include "sim/Tape.h"
#include "sim/Television.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <initializer_list>
#include <optional>
#include <string>
#include <vector>

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Features = Util::SystemConfigUtil;

namespace {

/// A log text with its value in place of the mark.
std::string WithValue(std::string text, const std::string& mark, int value)
{
    return text.replace(text.find(mark), mark.size(), std::to_string(value));
}

constexpr const char* kMark = "@";

struct BoolFeature
{
    bool (*query)();
    const char* name;
    const char* key;
    bool fallback;
    const char* success;
    const char* failure;
};

struct NumberFeature
{
    int (*query)();
    const char* name;
    const char* key;
    int fallback;
    bool asBool;
    const char* success;
    const char* failure;
};

// A row stays one line, so that the columns can be read.
// clang-format off
const BoolFeature kBoolFeatures[] = {
    {&Features::isA2dpSinkSupport, "isA2dpSinkSupport", "sound_mirroring_supported", false, "support : [@]", "fail to get com.quorix/featureconf/sound_mirroring_supported"},
    {&Features::isA2dpSourceSupport, "isA2dpSourceSupport", "bluetooth.audio_support", false, "support : [@]", "fail to get com.quorix/featureconf/bluetooth.audio_support"},
    {&Features::isHfpSupport, "isHfpSupport", "bluetooth.hfp_support", false, "support : [@]", "fail to get com.quorix/featureconf/bluetooth.hfp_support"},
    {&Features::isSupportGripSensor, "isSupportGripSensor", "setting.menuitem.remote_grib_support", false, "support : [@]", "fail to get com.quorix/featureconf/setting.menuitem.remote_grib_support"},
    {&Features::IsAuracastSupport, "IsAuracastSupport", "bluetooth.le_audio_support", false, "support : [@]", "fail to get com.quorix/featureconf/bluetooth.le_audio_support"},
    {&Features::IsSupportQuorixAudioCompatibilityFMS, "IsSupportQuorixAudioCompatibilityFMS", "bluetooth.quorix_audio_compatibility_support", false, "isSupportQuorixAudioCompatibility FMS = @", "Fail to get com.quorix/featureconf/bluetooth.quorix_audio_compatibility_support"},
    {&Features::IsHalvo, "IsHalvo", "product.is_game_screen_monitor", false, "isHalvo = @", "Fail to get com.quorix/featureconf/product.is_game_screen_monitor"},
    {&Features::IsSupportRotator, "IsSupportRotator", "product.rotation_accessory_support", false, "isSupportRotator = @", "Fail to get com.quorix/featureconf/product.rotation_accessory_support"},
    {&Features::IsInternalSpeakerSupported, "IsInternalSpeakerSupported", "internal_speaker_supported", true, "nfcSupport = @", "Fail to get com.quorix/featureconf/internal_speaker_supported"},
    {&Features::IsNfcSupport, "IsNfcSupport", "nfcdaemon.is_nfc_support", false, "nfcSupport = @", "Fail to get com.quorix/featureconf/nfcdaemon.is_nfc_support"},
    {&Features::IsMledSupport, "IsMledSupport", "4hdmi_multiview.support", false, "dualsound support : [@]", "fail to get com.quorix/featureconf/4hdmi_multiview.support"},
    {&Features::IsSmartMonitor, "IsSmartMonitor", "product.smart_monitor_feature_support", false, "isSmartMonitor : [@]", "fail to get com.quorix/featureconf/product.smart_monitor_feature_support"},
    {&Features::IsProjector, "IsProjector", "projector_feature_support", false, "isProjector : [@]", "fail to get com.quorix/featureconf/projector_feature_support"},
    {&Features::IsOutdoorTv, "IsOutdoorTv", "outdoor_tv_product_image_support", false, "dualsound support : [@]", "fail to get com.quorix/featureconf/multiview.dualsound"},
    {&Features::IsChinaAiServiceSupport, "IsChinaAiServiceSupport", "cn_ai_service_supported", false, "ChinaAiServiceSupport = @", "Fail to get com.quorix/featureconf/cn_ai_service_supported"},
    {&Features::IsAmbientSupport, "IsAmbientSupport", "ambient_screen_support", false, "speacial feature for SWA support : [@]", "fail to com.quorix/featureconf/ambient_screen_support"},
    {&Features::IsMultiviewDualSoundSupport, "IsMultiviewDualSoundSupport", "multiview.dualsound", false, "dualsound support : [@]", "fail to get com.quorix/featureconf/multiview.dualsound"},
    {&Features::IsMultiviewSupport, "IsMultiviewSupport", "multiview.support", false, "MultiView support : [@]", "fail to get com.quorix/featureconf/multiview.support"},
    {&Features::IsSoundMirroringSupport, "IsSoundMirroringSupport", "sound_mirroring_supported", false, "soundmirroring support : @", "Failed to get com.quorix/featureconf/sound_mirroring_supported"},
    {&Features::IsDravikTV, "IsDravikTV", "dravik_tv", false, "Is DravikTV :@", "Failed to get com.quorix/featureconf/dravik_tv"},
    {&Features::IsPontelTV, "IsPontelTV", "display_rotator_supported", false, "Is isPONTEL :@", "Failed to get com.quorix/featureconf/display_rotator_supported"},
    {&Features::IsFlipSupport, "IsFlipSupport", "iwb_support", false, "flipSupport :@", "Failed to get com.quorix/featureconf/iwb_support"},
};

const NumberFeature kNumberFeatures[] = {
    {&Features::GetNumOfSimultaneousHdmiRx, "GetNumOfSimultaneousHdmiRx", "soc.num_of_simultaneous_supported_hdmi_rx", 1, false, "numOfHdmiRx = @", "Fail to get com.quorix/featureconf/soc.num_of_simultaneous_supported_hdmi_rx"},
    {&Features::GetEasyPairingThreshold, "GetEasyPairingThreshold", "bluetooth.pemble_easy_pairing_threshold", -88, false, "threshold = @", "Fail to get com.quorix/featureconf/bluetooth.pemble_easy_pairing_threshold"},
    {&Features::GetNumOfView, "GetNumOfView", "multiview.num_of_views", 0, false, "numOfView = @", "Fail to get com.quorix/featureconf/multiview.num_of_views"},
    {&Features::GetDeviceType, "GetDeviceType", "devicename.device_type_index", 1, false, "DeviceType : [@]", "Fail to get com.quorix/featureconf/devicename.device_type_index"},
    {&Features::GetIconType, "GetIconType", "devicename.icon_index", 6, false, "IconType : [@]", "Fail to get com.quorix/featureconf/devicename.icon_index"},
    {[] { return static_cast<int>(Features::IsBLESupport()); }, "IsBLESupport", "ble_support", 0, true, "BLE support : [@]", "Fail to get com.quorix/featureconf/ble_support"},
    {[] { return static_cast<int>(Features::IsKrestor()); }, "IsKrestor", "the_krestor_version", 0, true, "Is VellonTV :@", "fail to get com.quorix/featureconf/the_krestor_version"},
};
// clang-format on

class BoolQuery : public ::testing::TestWithParam<BoolFeature>
{};

TEST_P(BoolQuery, GivesAndLogsWhatThePlatformSays)
{
    const BoolFeature& feature = GetParam();
    for (const bool value : {true, false}) {
        sim::Television tv;
        tv.features.Has(feature.key, value);
        EXPECT_EQ(feature.query(), value);
        ASSERT_EQ(tv.tape.Entries().size(), 2U);
        EXPECT_EQ(tv.tape.All()[0], std::string("system_info_get_custom_bool(\"com.quorix/featureconf/") + feature.key +
                                        "\") = 0 -> " + (value ? "true" : "false"));
        EXPECT_THAT(tv.tape.Messages(), ElementsAre("I " + WithValue(feature.success, kMark, value)));
        EXPECT_EQ(tv.tape.Entries()[1].function, feature.name);
        EXPECT_EQ(tv.tape.Entries()[1].tag, "VYREL_UTIL");
    }
}

TEST_P(BoolQuery, FallsBackToItsDefault)
{
    const BoolFeature& feature = GetParam();
    sim::Television tv;
    EXPECT_EQ(feature.query(), feature.fallback);
    EXPECT_THAT(tv.tape.Messages(), ElementsAre(std::string("E ") + feature.failure));
    tv.features.Has(feature.key, !feature.fallback);
    EXPECT_EQ(feature.query(), !feature.fallback) << "asked anew each time";
}

INSTANTIATE_TEST_SUITE_P(All, BoolQuery, ::testing::ValuesIn(kBoolFeatures),
                         [](const auto& tested) { return std::string(tested.param.name); });

class NumberQuery : public ::testing::TestWithParam<NumberFeature>
{};

TEST_P(NumberQuery, GivesAndLogsWhatThePlatformSays)
{
    const NumberFeature& feature = GetParam();
    for (const int value : {0, 1, 4, -70}) {
        sim::Television tv;
        tv.features.HasNumber(feature.key, value);
        EXPECT_EQ(feature.query(), feature.asBool ? value != 0 : value);
        EXPECT_THAT(tv.tape.Calls(), ElementsAre(std::string("system_info_get_custom_int(\"com.quorix/featureconf/") +
                                                 feature.key + "\") = 0 -> " + std::to_string(value)));
        EXPECT_THAT(tv.tape.Messages(), ElementsAre("I " + WithValue(feature.success, kMark, value)));
        EXPECT_EQ(tv.tape.Entries()[1].function, feature.name);
    }
}

TEST_P(NumberQuery, FallsBackToItsDefault)
{
    sim::Television tv;
    EXPECT_EQ(GetParam().query(), GetParam().fallback);
    EXPECT_THAT(tv.tape.Messages(), ElementsAre(std::string("E ") + GetParam().failure));
}

INSTANTIATE_TEST_SUITE_P(All, NumberQuery, ::testing::ValuesIn(kNumberFeatures),
                         [](const auto& tested) { return std::string(tested.param.name); });

TEST(CachedQuery, AsksUntilThePlatformAnswersAndThenNoMore)
{
    sim::Television tv;
    EXPECT_FALSE(Features::IsVellonTV());
    EXPECT_FALSE(Features::IsArtModeOnly());
    EXPECT_THAT(tv.tape.Messages(), ElementsAre("E fail to get com.quorix/featureconf/multiview.dualsound",
                                                "E fail to get com.quorix/featureconf/multiview.dualsound"));
    tv.features.Has("vellon_tv");
    tv.features.Has("artapp.artmode_only_support");
    EXPECT_TRUE(Features::IsVellonTV());
    EXPECT_TRUE(Features::IsArtModeOnly());
    tv.features.Has("vellon_tv", false);
    tv.features.Forgets("artapp.artmode_only_support");
    tv.tape.Clear();
    EXPECT_TRUE(Features::IsVellonTV());
    EXPECT_TRUE(Features::IsArtModeOnly());
    EXPECT_THAT(tv.tape.Calls(), IsEmpty());
    EXPECT_THAT(tv.tape.Messages(), ElementsAre("I Is VellonTV :1", "I Is ArtModeOnly :1"));
}

TEST(CachedQuery, KeepsANoToo)
{
    sim::Television tv;
    tv.features.Has("vellon_tv", false);
    EXPECT_FALSE(Features::IsVellonTV());
    tv.features.Has("vellon_tv");
    EXPECT_FALSE(Features::IsVellonTV());
}

TEST(A2dp, IsSourceOrSink)
{
    for (const bool source : {false, true}) {
        for (const bool sink : {false, true}) {
            sim::Television tv;
            tv.features.Has("bluetooth.audio_support", source);
            tv.features.Has("sound_mirroring_supported", sink);
            EXPECT_EQ(Features::isA2dpSupport(), source || sink);
            EXPECT_EQ(tv.tape.Calls().size(), source ? 1U : 2U) << "the sink is asked for only without a source";
        }
    }
}

TEST(Discoverable, ByDefault)
{
    sim::Television tv;
    EXPECT_TRUE(Features::IsBluetoothDiscoverable());
    EXPECT_THAT(tv.tape.Messages(),
                ElementsAre("E fail to get com.quorix/featureconf/bluetooth.discoverable",
                            "I general discoverable : [1]",
                            "E fail to get com.quorix/featureconf/bluetooth.always_classic_discoverable",
                            "I classic discoverable : [1]"));
}

TEST(Discoverable, NotWithoutTheGeneralFeature)
{
    sim::Television tv;
    tv.features.Has("bluetooth.discoverable", false);
    tv.features.Has("bluetooth.always_classic_discoverable");
    EXPECT_FALSE(Features::IsBluetoothDiscoverable());
    EXPECT_THAT(tv.tape.Messages(), ElementsAre("I general discoverable : [0]"));
}

TEST(Discoverable, NotWithoutTheClassicFeature)
{
    sim::Television tv;
    tv.features.Has("bluetooth.discoverable");
    tv.features.Has("bluetooth.always_classic_discoverable", false);
    EXPECT_FALSE(Features::IsBluetoothDiscoverable());
    EXPECT_THAT(tv.tape.Messages(), ElementsAre("I general discoverable : [1]", "I classic discoverable : [0]"));
}

TEST(Lfd, IsProductTypeFourWithoutFlip)
{
    sim::Television tv;
    tv.features.HasNumber("product.product_type", 4);
    EXPECT_TRUE(Features::IsLfdProduct());
    tv.features.Has("iwb_support");
    EXPECT_FALSE(Features::IsLfdProduct());
    tv.features.Has("iwb_support", false);
    tv.tape.Clear();
    EXPECT_TRUE(Features::IsLfdProduct());
    EXPECT_THAT(tv.tape.Messages(), ElementsAre("I product type : 4", "I flipSupport :0"));
    for (const int type : {0, 3, 5}) {
        tv.features.HasNumber("product.product_type", type);
        EXPECT_FALSE(Features::IsLfdProduct());
    }
}

TEST(Lfd, IsNotWhenTheTypeIsNotKnown)
{
    sim::Television tv;
    EXPECT_FALSE(Features::IsLfdProduct());
    EXPECT_THAT(tv.tape.Messages(), ElementsAre("E com.quorix/featureconf/product.product_type"));
}

TEST(AudioCompatibility, NeedsTheFeatureAndTheSetting)
{
    sim::Television tv;
    EXPECT_FALSE(Features::IsSupportQuorixAudioCompatibilityVconf());
    EXPECT_THAT(tv.tape.Messages(), Contains("I isSupportQuorixAudioCompatibility vconf = 0"));

    tv.settings.Writes("db/vyrel/quorix_audio_compatibility", true);
    EXPECT_TRUE(Features::IsSupportQuorixAudioCompatibilityVconf());
    EXPECT_FALSE(Features::IsSupportQuorixAudioCompatibility());
    tv.features.Has("bluetooth.quorix_audio_compatibility_support");
    tv.tape.Clear();
    EXPECT_TRUE(Features::IsSupportQuorixAudioCompatibility());
    EXPECT_THAT(tv.tape.Messages(), ElementsAre("I isSupportQuorixAudioCompatibility FMS = 1",
                                                "I isSupportQuorixAudioCompatibility vconf = 1"));
    tv.settings.Writes("db/vyrel/quorix_audio_compatibility", false);
    EXPECT_FALSE(Features::IsSupportQuorixAudioCompatibility());
}

TEST(AudioCompatibility, TheSettingIsNotReadWithoutTheFeature)
{
    sim::Television tv;
    tv.features.Has("bluetooth.quorix_audio_compatibility_support", false);
    EXPECT_FALSE(Features::IsSupportQuorixAudioCompatibility());
    EXPECT_THAT(tv.tape.Calls({"vconf"}), IsEmpty());
}

TEST(LastAudioAutoConnection, IsItsSetting)
{
    sim::Television tv;
    EXPECT_FALSE(Features::isLastBtAudioAutoConnectionEnable());
    tv.settings.Writes("db/vyrel/last_audio_auto_connection", true);
    tv.tape.Clear();
    EXPECT_TRUE(Features::isLastBtAudioAutoConnectionEnable());
    EXPECT_THAT(tv.tape.Messages(), ElementsAre("I isSupportLastBtAudioAutoConnection vconf = 1"));
}

TEST(IrKeyCode, IsTheLowByteOfTheFactorysNumber)
{
    sim::Television tv;
    tv.features.irKeyCode = 0x1A2B;
    unsigned char code = 0;
    EXPECT_TRUE(Features::GetIrKeyCode(code));
    EXPECT_EQ(code, 0x2B);
    EXPECT_THAT(tv.tape.All(), ElementsAre("system_info_get_value_int(1200) = 0 -> 6699"));
}

TEST(IrKeyCode, IsLeftAloneInSilenceWhenThereIsNone)
{
    sim::Television tv;
    tv.features.irKeyCode = std::nullopt;
    unsigned char code = 0x77;
    EXPECT_FALSE(Features::GetIrKeyCode(code));
    EXPECT_EQ(code, 0x77);
    EXPECT_THAT(tv.tape.Messages(true), IsEmpty());
}

TEST(Modes, ThatNoSetHas)
{
    sim::Television tv;
    EXPECT_FALSE(Features::IsHmsModeEnable());
    EXPECT_FALSE(Features::IsB2BOptionEnable());
    EXPECT_THAT(tv.tape.All(), IsEmpty());
}

} // namespace
