// The set's unique id, which remotes with two microphones keep.

#include "CommonUtil.h"
#include "LiteDebug.h"
#include "Living.h"
#include "SmartRcEventHandler/SmartRcEventHandler.h"
#include "VconfKeyId.h"
#include "VconfUtil.h"

#include <glib.h>

#include <bt_error.h>
#include <bt_hid.h>
#include <vconf.h>

#include <string>

namespace {

constexpr unsigned int kPeriodMs = 500;
constexpr int kMaxRetries = 5;

std::string ReadDuid()
{
    std::string duid;
    Util::VconfUtil::GetVconf(VconfKey::DB_COMSS_DUID, duid);
    return duid;
}

/// True when the remote is to be tried again.
bool Send(const std::string& address, const std::string& duid, int& retries)
{
    const int result = bt_hid_send_duid(address.c_str(), duid.c_str());
    if (result == BT_ERROR_NONE) {
        LOGI("Success to bt_hid_send_duid");
        return false;
    }
    if (result == BT_ERROR_NOW_IN_PROGRESS && retries < kMaxRetries) {
        ++retries;
        LOGI("retry : %d", retries);
        return true;
    }
    LOGE("fail to bt_hid_send_duid : %s", Util::CommonUtil::ERR_STR(result));
    return false;
}

/// True when the id is to be sent again.
bool TrySend(CSmartRcEventHandler& handler, int& retries)
{
    const std::string duid = ReadDuid();
    const std::string address = handler.GetSmartRcAddress();
    if (duid.empty() || address.empty()) {
        LOGE("duid or address is NULL");
        return false;
    }
    if (!handler.Is2MicSmartRc()) {
        LOGE("Not a 2mic SmartRc");
        return false;
    }
    return Send(address, duid, retries);
}

} // namespace

void CSmartRcEventHandler::OnDuidChanged(keynode_t*)
{
    // Not at once: the remote that was just paired is still busy.
    if (!m_smartRcAddress.empty()) {
        g_timeout_add(kPeriodMs, RetryTimerSetDuid, this);
    }
}

int CSmartRcEventHandler::RetryTimerSetDuid(void* userData)
{
    static int cnt = 0;
    auto* handler = Living<CSmartRcEventHandler>::Find(userData);
    if (handler == nullptr) {
        LOGE("userData is NULL");
    } else if (TrySend(*handler, cnt)) {
        return G_SOURCE_CONTINUE;
    }
    cnt = 0;
    return G_SOURCE_REMOVE;
}
