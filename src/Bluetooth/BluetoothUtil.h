#pragma once

#include <string>
#include <vector>

/// Questions about bonded devices and audio connections. Nothing is kept and nothing is changed.
class BluetoothUtil
{
public:
    static bool isSmartRc(const std::string& address);
    static bool isHalvo(const std::string& address);
    /// \param minorClass the minor device class as the platform gives it, not shifted
    static bool isAudioMinorCOD(int minorClass);
    /// \param name left alone when the answer is false
    static bool getDeviceName(const std::string& address, std::string& name);
    /// \param type an audio profile type
    static bool isA2dpDeviceConnected(int type);
    /// Either of the two kinds of A2DP.
    static bool isA2dpDeviceConnected();
    /// \param address the connected device's, left alone when the answer is false
    static bool isHfpDeviceConnected(int type, std::string& address);
    static void getConnectedAudioDevices(std::vector<std::string>& addresses);
    static void getConnectedDevices(std::vector<std::string>& addresses);
    static int getNumberOfBtdevice();
    /// True with exactly two connected audio devices.
    static bool isDualAudio();
};
