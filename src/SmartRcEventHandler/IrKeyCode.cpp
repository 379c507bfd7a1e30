// The set's IR key code, which a remote that connects is told ten seconds later.

#include "CommonUtil.h"
#include "ExceptionText.h"
#include "Guard.h"
#include "LiteDebug.h"
#include "Living.h"
#include "SmartRcEventHandler/SmartRcEventHandler.h"
#include "SystemConfigUtil.h"

#include <glib.h>

#include <bt_error.h>
#include <bt_hid.h>
#include <device_power.h>

#include <array>
#include <string>

namespace {

constexpr unsigned int kPeriodSeconds = 10;
constexpr unsigned char kCommandIrKeyCode = 0x24;
constexpr int kMaxIrRetries = 2;

} // namespace

int CSmartRcEventHandler::OnIrKeyCodeTimer(void* userData)
{
    auto* handler = Living<CSmartRcEventHandler>::Find(userData);
    RETURN_IF_NULL(handler, "userData is nullptr", G_SOURCE_REMOVE);
    if (handler->SendIrKeyCodeCommand()) {
        return G_SOURCE_CONTINUE;
    }
    handler->m_irKeyCodeTimerId = 0;
    return G_SOURCE_REMOVE;
}

void CSmartRcEventHandler::AddIrKeyCodeTimer()
{
    if (m_irKeyCodeTimerId != 0) {
        RemoveIrKeyCodeTimer();
    }
    LOGI("Add IR Key code timer");
    m_irKeyCodeTimerId = g_timeout_add_seconds(kPeriodSeconds, OnIrKeyCodeTimer, this);
}

void CSmartRcEventHandler::RemoveIrKeyCodeTimer()
{
    LOGI("Remove IR Key code timer");
    Util::CommonUtil::RemoveTimer(&m_irKeyCodeTimerId);
}

bool CSmartRcEventHandler::SendIrKeyCodeCommand() const
{
    // Not set back when the remote is lost between two tries, so the next one may get fewer.
    static int count = 0;
    try {
        if (!IsSmartRcConnected()) {
            return false;
        }
        if (device_power_get_state() != DEVICE_POWER_STATE_NORMAL) {
            LOGI("power state is not normal. Do not send year information");
            return false;
        }
        unsigned char keyCode = 0;
        if (!Util::SystemConfigUtil::GetIrKeyCode(keyCode)) {
            LOGE("Getting Ir key code form factory is failed");
            return false;
        }
        const std::array<unsigned char, 2> data = {kCommandIrKeyCode, keyCode};
        const int result = bt_hid_send_rc_command(m_smartRcAddress.c_str(), data.data(), static_cast<int>(data.size()));
        LOGI("bt_hid_send_rc_command(0x%x, 0x%x) : [%d]", data[0], data[1], result);
        if (count > kMaxIrRetries) {
            LOGI("retry count : %d", count);
            count = 0;
            return false;
        }
        if (result != BT_ERROR_NONE) {
            ++count;
            return true;
        }
        LOGI("success");
    } catch (...) {
        LOGE("exception : %s", TextOfException().c_str());
    }
    count = 0;
    return false;
}
