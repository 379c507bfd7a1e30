#include "SystemConfigUtil.h"

#include "DlogUtil.h"
#include "VconfKeyId.h"
#include "VconfUtil.h"

#include <system_info.h>

namespace Util {

namespace {

constexpr int kLfdProductType = 4;

} // namespace

// One row, one query. The rows are functions of their own, because each log line carries its query's name. Some texts
// speak of another feature than their query; whoever reads the logs knows them so.

// A row stays one line, so that the columns can be read.
// clang-format off
#define FEATURE "com.quorix/featureconf/"

#define FEATURE_QUERY(Result, name, Value, read, key, fallback, success, failure)                                      \
    Result SystemConfigUtil::name()                                                                                    \
    {                                                                                                                  \
        Value value = fallback;                                                                                        \
        if (read(FEATURE key, &value) != 0) {                                                                          \
            LOGE(failure);                                                                                             \
        } else {                                                                                                       \
            LOGI(success, value);                                                                                      \
        }                                                                                                              \
        return static_cast<Result>(value);                                                                             \
    }
#define BOOL_FEATURE(name, key, fallback, success, failure)                                                            \
    FEATURE_QUERY(bool, name, bool, system_info_get_custom_bool, key, fallback, success, failure)
#define INT_FEATURE(name, key, fallback, success, failure)                                                             \
    FEATURE_QUERY(int, name, int, system_info_get_custom_int, key, fallback, success, failure)
#define NUMBER_AS_BOOL_FEATURE(name, key, success, failure)                                                            \
    FEATURE_QUERY(bool, name, int, system_info_get_custom_int, key, 0, success, failure)
#define CACHED_FEATURE(name, key, success, failure)                                                                    \
    bool SystemConfigUtil::name()                                                                                      \
    {                                                                                                                  \
        static bool value = false;                                                                                     \
        static bool called = false;                                                                                    \
        if (!called && system_info_get_custom_bool(FEATURE key, &value) != 0) {                                        \
            LOGE(failure);                                                                                             \
            return value;                                                                                              \
        }                                                                                                              \
        called = true;                                                                                                 \
        LOGI(success, value);                                                                                          \
        return value;                                                                                                  \
    }

BOOL_FEATURE(isA2dpSinkSupport, "sound_mirroring_supported", false, "support : [%d]", "fail to get " FEATURE "sound_mirroring_supported")
BOOL_FEATURE(isA2dpSourceSupport, "bluetooth.audio_support", false, "support : [%d]", "fail to get " FEATURE "bluetooth.audio_support")
BOOL_FEATURE(isHfpSupport, "bluetooth.hfp_support", false, "support : [%d]", "fail to get " FEATURE "bluetooth.hfp_support")
BOOL_FEATURE(isSupportGripSensor, "setting.menuitem.remote_grib_support", false, "support : [%d]", "fail to get " FEATURE "setting.menuitem.remote_grib_support")
BOOL_FEATURE(IsAuracastSupport, "bluetooth.le_audio_support", false, "support : [%d]", "fail to get " FEATURE "bluetooth.le_audio_support")
BOOL_FEATURE(IsSupportQuorixAudioCompatibilityFMS, "bluetooth.quorix_audio_compatibility_support", false, "isSupportQuorixAudioCompatibility FMS = %d", "Fail to get " FEATURE "bluetooth.quorix_audio_compatibility_support")
INT_FEATURE(GetNumOfSimultaneousHdmiRx, "soc.num_of_simultaneous_supported_hdmi_rx", 1, "numOfHdmiRx = %d", "Fail to get " FEATURE "soc.num_of_simultaneous_supported_hdmi_rx")
BOOL_FEATURE(IsHalvo, "product.is_game_screen_monitor", false, "isHalvo = %d", "Fail to get " FEATURE "product.is_game_screen_monitor")
INT_FEATURE(GetEasyPairingThreshold, "bluetooth.pemble_easy_pairing_threshold", -88, "threshold = %d", "Fail to get " FEATURE "bluetooth.pemble_easy_pairing_threshold")
BOOL_FEATURE(IsSupportRotator, "product.rotation_accessory_support", false, "isSupportRotator = %d", "Fail to get " FEATURE "product.rotation_accessory_support")
BOOL_FEATURE(IsInternalSpeakerSupported, "internal_speaker_supported", true, "nfcSupport = %d", "Fail to get " FEATURE "internal_speaker_supported")
INT_FEATURE(GetNumOfView, "multiview.num_of_views", 0, "numOfView = %d", "Fail to get " FEATURE "multiview.num_of_views")
BOOL_FEATURE(IsNfcSupport, "nfcdaemon.is_nfc_support", false, "nfcSupport = %d", "Fail to get " FEATURE "nfcdaemon.is_nfc_support")
INT_FEATURE(GetDeviceType, "devicename.device_type_index", 1, "DeviceType : [%d]", "Fail to get " FEATURE "devicename.device_type_index")
INT_FEATURE(GetIconType, "devicename.icon_index", 6, "IconType : [%d]", "Fail to get " FEATURE "devicename.icon_index")
BOOL_FEATURE(IsMledSupport, "4hdmi_multiview.support", false, "dualsound support : [%d]", "fail to get " FEATURE "4hdmi_multiview.support")
BOOL_FEATURE(IsSmartMonitor, "product.smart_monitor_feature_support", false, "isSmartMonitor : [%d]", "fail to get " FEATURE "product.smart_monitor_feature_support")
BOOL_FEATURE(IsProjector, "projector_feature_support", false, "isProjector : [%d]", "fail to get " FEATURE "projector_feature_support")
BOOL_FEATURE(IsOutdoorTv, "outdoor_tv_product_image_support", false, "dualsound support : [%d]", "fail to get " FEATURE "multiview.dualsound")
BOOL_FEATURE(IsChinaAiServiceSupport, "cn_ai_service_supported", false, "ChinaAiServiceSupport = %d", "Fail to get " FEATURE "cn_ai_service_supported")
NUMBER_AS_BOOL_FEATURE(IsBLESupport, "ble_support", "BLE support : [%d]", "Fail to get " FEATURE "ble_support")
BOOL_FEATURE(IsAmbientSupport, "ambient_screen_support", false, "speacial feature for SWA support : [%d]", "fail to " FEATURE "ambient_screen_support")
BOOL_FEATURE(IsMultiviewDualSoundSupport, "multiview.dualsound", false, "dualsound support : [%d]", "fail to get " FEATURE "multiview.dualsound")
BOOL_FEATURE(IsMultiviewSupport, "multiview.support", false, "MultiView support : [%d]", "fail to get " FEATURE "multiview.support")
BOOL_FEATURE(IsSoundMirroringSupport, "sound_mirroring_supported", false, "soundmirroring support : %d", "Failed to get " FEATURE "sound_mirroring_supported")
NUMBER_AS_BOOL_FEATURE(IsKrestor, "the_krestor_version", "Is VellonTV :%d", "fail to get " FEATURE "the_krestor_version")
CACHED_FEATURE(IsArtModeOnly, "artapp.artmode_only_support", "Is ArtModeOnly :%d", "fail to get " FEATURE "multiview.dualsound")
CACHED_FEATURE(IsVellonTV, "vellon_tv", "Is VellonTV :%d", "fail to get " FEATURE "multiview.dualsound")
BOOL_FEATURE(IsDravikTV, "dravik_tv", false, "Is DravikTV :%d", "Failed to get " FEATURE "dravik_tv")
BOOL_FEATURE(IsPontelTV, "display_rotator_supported", false, "Is isPONTEL :%d", "Failed to get " FEATURE "display_rotator_supported")
BOOL_FEATURE(IsFlipSupport, "iwb_support", false, "flipSupport :%d", "Failed to get " FEATURE "iwb_support")

#undef CACHED_FEATURE
#undef NUMBER_AS_BOOL_FEATURE
#undef INT_FEATURE
#undef BOOL_FEATURE
#undef FEATURE_QUERY
// clang-format on

bool SystemConfigUtil::isA2dpSupport()
{
    return isA2dpSourceSupport() || isA2dpSinkSupport();
}

bool SystemConfigUtil::IsBluetoothDiscoverable()
{
    bool discoverable = true;
    if (system_info_get_custom_bool(FEATURE "bluetooth.discoverable", &discoverable) != 0) {
        LOGE("fail to get " FEATURE "bluetooth.discoverable");
    }
    LOGI("general discoverable : [%d]", discoverable);
    if (!discoverable) {
        return false;
    }
    if (system_info_get_custom_bool(FEATURE "bluetooth.always_classic_discoverable", &discoverable) != 0) {
        LOGE("fail to get " FEATURE "bluetooth.always_classic_discoverable");
    }
    LOGI("classic discoverable : [%d]", discoverable);
    return discoverable;
}

bool SystemConfigUtil::IsLfdProduct()
{
    int productType = 0;
    if (system_info_get_custom_int(FEATURE "product.product_type", &productType) != 0) {
        LOGE(FEATURE "product.product_type");
    } else {
        LOGI("product type : %d", productType);
    }
    return productType == kLfdProductType && !IsFlipSupport();
}

bool SystemConfigUtil::IsSupportQuorixAudioCompatibilityVconf()
{
    bool supported = false;
    VconfUtil::GetVconf(VconfKey::DB_VYREL_QUORIX_AUDIO_COMPATIBILITY, supported);
    LOGI("isSupportQuorixAudioCompatibility vconf = %d", supported);
    return supported;
}

bool SystemConfigUtil::IsSupportQuorixAudioCompatibility()
{
    return IsSupportQuorixAudioCompatibilityFMS() && IsSupportQuorixAudioCompatibilityVconf();
}

bool SystemConfigUtil::isLastBtAudioAutoConnectionEnable()
{
    bool enabled = false;
    VconfUtil::GetVconf(VconfKey::DB_VYREL_LAST_AUDIO_AUTO_CONNECTION, enabled);
    LOGI("isSupportLastBtAudioAutoConnection vconf = %d", enabled);
    return enabled;
}

bool SystemConfigUtil::IsHmsModeEnable()
{
    return false;
}

bool SystemConfigUtil::IsB2BOptionEnable()
{
    return IsHmsModeEnable();
}

bool SystemConfigUtil::GetIrKeyCode(unsigned char& keyCode)
{
    int value = 0;
    if (system_info_get_value_int(SYSTEM_INFO_IR_KEY_CODE, &value) != 0) {
        return false;
    }
    keyCode = static_cast<unsigned char>(value & 0xFF);
    return true;
}

} // namespace Util
