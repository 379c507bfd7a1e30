#include "sound/Server.h"

#include "Log.h"
#include "features/KeyFiles.h"
#include "sound/Library.h"

#include <pulse/def.h>

#include <algorithm>
#include <optional>

namespace sound {

namespace {

constexpr const char* kOwnName = "vyrel-lite";
constexpr const char* kServerKey = "sound.server";

} // namespace

Server& Server::OfProcess()
{
    static Server server;
    return server;
}

Server::~Server()
{
    Disconnect();
}

Result Server::SetMute(const std::string& sink, bool mute)
{
    m_deadline = g_get_monotonic_time() + kPatienceMs * G_TIME_SPAN_MILLISECOND;
    Answer answer;
    return !Connect() ? Result::Absent
                      : Wait(m_library->pa_context_set_sink_mute_by_name(m_context, sink.c_str(), mute ? 1 : 0, OnDone,
                                                                         &answer),
                             answer);
}

Result Server::GetMute(const std::string& sink, bool* mute)
{
    m_deadline = g_get_monotonic_time() + kPatienceMs * G_TIME_SPAN_MILLISECOND;
    Answer answer;
    if (!Connect()) {
        return Result::Absent;
    }
    const Result result =
        Wait(m_library->pa_context_get_sink_info_by_name(m_context, sink.c_str(), OnSink, &answer), answer);
    if (result == Result::Done) {
        *mute = answer.isMuted;
    }
    return result;
}

void Server::OnDone(pa_context*, int success, void* answer)
{
    *static_cast<Answer*>(answer) = {true, success != 0, false};
}

void Server::OnSink(pa_context*, const pa_sink_info* info, int end, void* data)
{
    auto& answer = *static_cast<Answer*>(data);
    if (info != nullptr) {
        answer.isGood = true;
        answer.isMuted = info->mute != 0;
    }
    answer.isThere = end != 0; // 1 after the last one, less than 0 for an error
}

bool Server::IsConnected() const
{
    return m_context != nullptr && m_library->pa_context_get_state(m_context) == PA_CONTEXT_READY;
}

bool Server::Connect()
{
    if (g_get_monotonic_time() < m_restsUntil) {
        return false;
    }
    // A server that went since the last question has left word of it in the socket.
    while (IsConnected() && m_library->pa_mainloop_prepare(m_loop, 0) >= 0 &&
           m_library->pa_mainloop_poll(m_loop) >= 0 && m_library->pa_mainloop_dispatch(m_loop) > 0) {
    }
    if (IsConnected()) {
        return true;
    }
    Disconnect();
    m_library = Library::Loaded();
    if (m_library == nullptr) {
        return false;
    }
    m_loop = m_library->pa_mainloop_new();
    m_context = m_library->pa_context_new(m_library->pa_mainloop_get_api(m_loop), kOwnName);
    const std::optional<std::string> address = features::KeyFiles::OfBox().PlatformText(kServerKey);
    if (m_library->pa_context_connect(m_context, address ? address->c_str() : nullptr, PA_CONTEXT_NOAUTOSPAWN,
                                      nullptr) >= 0) {
        while (PA_CONTEXT_IS_GOOD(m_library->pa_context_get_state(m_context)) && !IsConnected() && Turn()) {
        }
    }
    if (!IsConnected()) {
        if (!m_saidAbsent) {
            PLATFORM_LOG(DLOG_WARN, "no sound server: %s",
                         m_library->pa_strerror(m_library->pa_context_errno(m_context)));
        }
        m_saidAbsent = true;
        Disconnect();
        return false;
    }
    m_saidAbsent = false;
    return true;
}

void Server::Disconnect()
{
    if (m_context != nullptr) {
        m_library->pa_context_disconnect(m_context);
        m_library->pa_context_unref(m_context);
        m_context = nullptr;
    }
    if (m_loop != nullptr) {
        m_library->pa_mainloop_free(m_loop);
        m_loop = nullptr;
    }
}

bool Server::Turn()
{
    const gint64 left = m_deadline - g_get_monotonic_time();
    if (left <= 0) {
        PLATFORM_LOG(DLOG_ERROR, "the sound server does not answer");
        m_restsUntil = g_get_monotonic_time() + kRestMs * G_TIME_SPAN_MILLISECOND;
        return false;
    }
    return m_library->pa_mainloop_prepare(m_loop, static_cast<int>(left)) >= 0 &&
           m_library->pa_mainloop_poll(m_loop) >= 0 && m_library->pa_mainloop_dispatch(m_loop) >= 0;
}

Result Server::Wait(pa_operation* operation, const Answer& answer)
{
    if (operation == nullptr) {
        return Result::Failed;
    }
    while (!answer.isThere && IsConnected() && Turn()) {
    }
    if (!answer.isThere) {
        m_library->pa_operation_cancel(operation); // or it would write to an answer that is gone
    }
    m_library->pa_operation_unref(operation);
    if (answer.isThere) {
        return answer.isGood ? Result::Done : Result::Failed;
    }
    Disconnect(); // it died, or is not to be waited for
    return Result::Absent;
}

} // namespace sound
