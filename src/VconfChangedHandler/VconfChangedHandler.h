#pragma once

#include "Living.h"

#include <vconf.h>

#include <memory>

class CDbusClient;

/// Tells the sibling services of settings that others write, so that they need not watch them. Every write is one
/// blocking call of at most 5 seconds, also a write of the value that was there.
class CVconfChangedHandler
{
public:
    void Init(std::shared_ptr<CDbusClient> dbusClient);
    /// Ends no watch: all five outlive it and end with the process. A write is told until the handler is gone.
    void Deinit();

    // The calls are answered before the next write is heard of. The first two settings are watched and told to nobody.

    void OnAutoOnOffMobileListVconfKeyChanged(keynode_t* keyNode) const;
    void OnSMDeviceListVconfKeyChanged(keynode_t* keyNode) const;
    void OnAudioMultiOutputChanged(keynode_t* keyNode) const;
    void OnConnectionShiftControlChanged(keynode_t* keyNode) const;
    void OnLastBtspkConnectingStatusVconfChanged(keynode_t* keyNode) const;

private:
    std::shared_ptr<CDbusClient> m_dbusClient;
    /// The settings store keeps the handler's address for good.
    Living<CVconfChangedHandler> m_living{this};
};
