#pragma once

#include <vconf.h>

#include <memory>

class CDbusClient;

/// Tells the sibling services of settings that others write, so that they need not watch them. Every write is one
/// blocking call of at most 5 seconds, also a write of the value that was there.
class CVconfChangedHandler
{
public:
    void Init(std::shared_ptr<CDbusClient> dbusClient);
    void Deinit();

    void OnAutoOnOffMobileListVconfKeyChanged(keynode_t* keyNode);
    void OnSMDeviceListVconfKeyChanged(keynode_t* keyNode);
    void OnAudioMultiOutputChanged(keynode_t* keyNode);
    void OnConnectionShiftControlChanged(keynode_t* keyNode);
    void OnLastBtspkConnectingStatusVconfChanged(keynode_t* keyNode);

private:
    std::shared_ptr<CDbusClient> m_dbusClient;
};
