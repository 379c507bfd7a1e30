// The no-latency mode of both remotes. The wheel is served after the smart remote, also when that gave up.

#include "Guard.h"
#include "LiteDebug.h"
#include "Living.h"
#include "SmartRcEventHandler/SmartRcEventHandler.h"

#include <glib.h>

#include <bt_error.h>
#include <bt_hid.h>

#include <string>

namespace {

constexpr unsigned int kRetryPeriodMs = 400;
constexpr int kLastRetry = 9;

bool IsSuccess(int result)
{
    return result == BT_ERROR_NONE || result == BT_ERROR_ALREADY_DONE;
}

gboolean OnSmartRcRetryTimer(gpointer userData)
{
    static int count = 0;
    auto* handler = Living<CSmartRcEventHandler>::Find(userData);
    RETURN_IF_NULL(handler, "userData is NULL", G_SOURCE_REMOVE);
    if (handler->SetNoLatency(handler->GetSmartRcAddress())) {
        LOGI("success to bt_hid_set_no_latency");
    } else if (count <= kLastRetry) {
        ++count;
        LOGW("Fail to set bt_hid_set_no latency, so try again, try count: %d", count);
        return G_SOURCE_CONTINUE;
    } else {
        LOGE("fail to bt_hid_set_no_latency");
    }
    count = 0;
    handler->SendNoLatencyToHalvoWheel();
    return G_SOURCE_REMOVE;
}

gboolean OnHalvoWheelRetryTimer(gpointer userData)
{
    static int count = 0;
    auto* handler = Living<CSmartRcEventHandler>::Find(userData);
    RETURN_IF_NULL(handler, "userData is NULL", G_SOURCE_REMOVE);
    // The wheel may be another one, or gone, since the last try.
    std::string address;
    if (!handler->GetHalvoWheelAddress(address)) {
        LOGE("failed to get halvo address do not retry");
        return G_SOURCE_REMOVE;
    }
    if (IsSuccess(bt_hid_set_conn_no_latency(address.c_str(), true))) {
        LOGI("success to set no latency %s", address.c_str());
    } else if (count <= kLastRetry) {
        ++count;
        LOGW("Fail to set bt_hid_set_no latency, so try again, try count: %d", count);
        return G_SOURCE_CONTINUE;
    } else {
        LOGE("fail to bt_hid_set_no_latency");
    }
    count = 0;
    return G_SOURCE_REMOVE;
}

} // namespace

bool CSmartRcEventHandler::SetNoLatency(const std::string& address) const
{
    if (!IsSuccess(bt_hid_set_conn_no_latency(address.c_str(), true))) {
        LOGW("Now in progress or operation failed, retry");
        return false;
    }
    LOGI("success to set no latency %s", address.c_str());
    return true;
}

void CSmartRcEventHandler::SendNoLatencyCommand()
{
    SendNoLatencyToSmartRC();
}

void CSmartRcEventHandler::SendNoLatencyToSmartRC()
{
    if (IsSmartRcConnected() && !SetNoLatency(m_smartRcAddress)) {
        RetrySetNoLatencyToSmartRc();
        return;
    }
    SendNoLatencyToHalvoWheel();
}

void CSmartRcEventHandler::SendNoLatencyToHalvoWheel()
{
    if (!IsHalvoWheelConnected()) {
        return;
    }
    std::string address;
    GetHalvoWheelAddress(address);
    if (!SetNoLatency(address)) {
        RetrySetNoLatencyToHalvoWheel(address);
    }
}

void CSmartRcEventHandler::RetrySetNoLatencyToSmartRc()
{
    g_timeout_add(kRetryPeriodMs, OnSmartRcRetryTimer, this);
}

void CSmartRcEventHandler::RetrySetNoLatencyToHalvoWheel(const std::string& address)
{
    if (!address.empty()) {
        g_timeout_add(kRetryPeriodMs, OnHalvoWheelRetryTimer, this);
    }
}
