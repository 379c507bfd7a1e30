// The touch-IR monitor runs while its setting is on.

#include "DbusClient/DbusClient.h"
#include "Guard.h"
#include "LiteDebug.h"
#include "SmartRcEventHandler/SmartRcEventHandler.h"
#include "VconfKeyId.h"
#include "VconfUtil.h"

#include <vconf.h>

#include <memory>

namespace {

constexpr const char* kStart = "Start";
constexpr const char* kStop = "Stop";

void Send(const std::shared_ptr<CDbusClient>& dbusClient, const char* command)
{
    RETURN_IF_NULL(dbusClient, "dbus client is NULL");
    dbusClient->SendToTouchIrMonitor(command);
}

} // namespace

void CSmartRcEventHandler::StartTouchIrMonitor() const
{
    int touchIrMode = 0;
    Util::VconfUtil::GetVconf(VconfKey::MEMORY_TOUCH_INTERACTIVE_TOUCH_INTERACTIVE_RUNNING, touchIrMode);
    if (touchIrMode == 0) {
        LOGE("touchIrMode is not enabled");
        return;
    }
    Send(m_dbusClient, kStart);
}

void CSmartRcEventHandler::OnTouchIrModeChanged(keynode_t* keyNode) const
{
    RETURN_IF_NULL(keyNode, "keyNode is null");
    const int touchIrMode = vconf_keynode_get_int(keyNode);
    LOGI("touchIrMode: %d", touchIrMode);
    // At start any value but 0 is on; a change is on with 1 only.
    Send(m_dbusClient, touchIrMode == 1 ? kStart : kStop);
}
