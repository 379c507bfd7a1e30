// What the smart remote's connection events count, kept in the settings across events and reboots.

#include "DlogUtil.h"
#include "KpiRemocon.h"
#include "VconfKeyId.h"
#include "VconfUtil.h"

#include <limits>
#include <string>

namespace {

int ReadCount(int id)
{
    int count = 0;
    Util::VconfUtil::GetVconf(id, count);
    return count;
}

void AddOne(int id)
{
    const int count = ReadCount(id);
    // Other programs can write the setting too: it may hold the largest int, to which nothing can be added.
    Util::VconfUtil::SetVconf(id, count < std::numeric_limits<int>::max() ? count + 1 : count);
}

} // namespace

void KpiRemocon::SetSmartRcPairingCount() const
{
    AddOne(VconfKey::DB_VYREL_RC_PAIRCOUNT);
}

void KpiRemocon::SetReconnectCount() const
{
    AddOne(VconfKey::DB_VYREL_RC_RECONNECTCOUNT);
}

void KpiRemocon::SetBtChipResetCount() const
{
    AddOne(VconfKey::DB_VYREL_RC_MODULERESETCOUNT);
}

void KpiRemocon::SetSmartRcRssi(int rssi) const
{
    LOGI("rssi = %d", rssi);
    Util::VconfUtil::SetVconf(VconfKey::DB_VYREL_RC_RSSIVALUE, rssi);
}

int KpiRemocon::GetSmartRcPairingCount() const
{
    return ReadCount(VconfKey::DB_VYREL_RC_PAIRCOUNT);
}

int KpiRemocon::GetReconnectCount() const
{
    return ReadCount(VconfKey::DB_VYREL_RC_RECONNECTCOUNT);
}

int KpiRemocon::GetBtChipResetCount() const
{
    return ReadCount(VconfKey::DB_VYREL_RC_MODULERESETCOUNT);
}

int KpiRemocon::GetSmartRcRssi() const
{
    return ReadCount(VconfKey::DB_VYREL_RC_RSSIVALUE);
}

bool KpiRemocon::IsReconnectCase(const std::string& address) const
{
    std::string lastAddress;
    Util::VconfUtil::GetVconf(VconfKey::DB_VYREL_LAST_SMARTRC_ADDRESS, lastAddress);
    return address == lastAddress;
}

void KpiRemocon::SetBtConnectDescription(KpiRemoconEventType type, const std::string& address)
{
    m_eventType = type;
    if (type == KPI_REMOCON_MODULE_RESET) {
        SetBtChipResetCount();
    } else if (type == KPI_REMOCON_CONNECTED) {
        if (IsReconnectCase(address)) {
            SetReconnectCount();
        } else {
            // Reconnections are counted from the last new pairing on.
            Util::VconfUtil::SetVconf(VconfKey::DB_VYREL_RC_RECONNECTCOUNT, 0);
            SetSmartRcPairingCount();
        }
    }
}

void KpiRemocon::SetLastConnectedAddress(const std::string& address) const
{
    if (m_eventType != KPI_REMOCON_CONNECTED) {
        LOGE("not connected event");
        return;
    }
    Util::VconfUtil::SetVconf(VconfKey::DB_VYREL_LAST_SMARTRC_ADDRESS, address);
}

void KpiRemocon::SetSmartRcDisconnectReason(KpiRemoconEventType type)
{
    m_eventType = type;
}

KpiRemoconEventType KpiRemocon::GetDisconnectReason() const
{
    return m_eventType;
}
