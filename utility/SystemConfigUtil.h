#pragma once

namespace Util {

/// What kind of set this is. Every query asks the platform's feature registry anew, but for the two that are marked as
/// kept, and falls back to its default when the platform does not know; both are logged.
class SystemConfigUtil
{
public:
    // One feature key each.
    static bool isA2dpSinkSupport();
    static bool isA2dpSourceSupport();
    static bool isHfpSupport();
    static bool isSupportGripSensor();
    static bool IsAuracastSupport();
    static bool IsSupportQuorixAudioCompatibilityFMS();
    static int GetNumOfSimultaneousHdmiRx();
    static bool IsHalvo();
    static int GetEasyPairingThreshold(); ///< signal strength in dBm
    static bool IsSupportRotator();
    static bool IsInternalSpeakerSupported();
    static int GetNumOfView();
    static bool IsNfcSupport();
    static int GetDeviceType();
    static int GetIconType();
    static bool IsMledSupport();
    static bool IsSmartMonitor();
    static bool IsProjector();
    static bool IsOutdoorTv();
    static bool IsChinaAiServiceSupport();
    static bool IsBLESupport();
    static bool IsAmbientSupport();
    static bool IsMultiviewDualSoundSupport();
    static bool IsMultiviewSupport();
    static bool IsSoundMirroringSupport();
    static bool IsKrestor();
    static bool IsArtModeOnly(); ///< kept after the first answer
    static bool IsVellonTV();    ///< kept after the first answer
    static bool IsDravikTV();
    static bool IsPontelTV();
    static bool IsFlipSupport();

    // Made of others, or of settings.
    static bool isA2dpSupport();
    static bool IsBluetoothDiscoverable();
    static bool IsLfdProduct();
    static bool IsSupportQuorixAudioCompatibilityVconf();
    static bool IsSupportQuorixAudioCompatibility();
    static bool isLastBtAudioAutoConnectionEnable();
    static bool IsHmsModeEnable();   ///< never
    static bool IsB2BOptionEnable(); ///< never

    /// The IR key code that the factory gave this set.
    /// \param keyCode the low byte of the platform's number; left alone on failure
    /// \return false when the platform has none
    static bool GetIrKeyCode(unsigned char& keyCode);
};

} // namespace Util
