#include "hid/Interview.h"

#include "Log.h"

#include <chrono>
#include <csignal>
#include <system_error>
#include <utility>
#include <vector>

namespace hid {

namespace {

/// What the process is sent is for its main thread: a thread that is made meanwhile inherits that.
class NoSignals
{
public:
    NoSignals()
    {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &m_before);
    }
    ~NoSignals()
    {
        pthread_sigmask(SIG_SETMASK, &m_before, nullptr);
    }
    NoSignals(const NoSignals&) = delete;
    NoSignals& operator=(const NoSignals&) = delete;

private:
    sigset_t m_before{};
};

} // namespace

void Interview::Start(std::shared_ptr<Channel> channel, std::function<void(const Answers&)> onDone)
{
    End();
    m_channel = std::move(channel);
    m_onDone = std::move(onDone);
    m_isDone = false;
    m_isCancelled = false;
    m_answers = {};
    // Never by itself: the thread makes it ready.
    m_source.reset(g_timeout_source_new(G_MAXUINT));
    g_source_set_priority(m_source.get(), G_PRIORITY_DEFAULT);
    g_source_set_callback(m_source.get(), OnEnd, this, nullptr);
    g_source_attach(m_source.get(), nullptr);
    try {
        const NoSignals guard;
        m_thread = std::thread([this] { Ask(*m_channel); });
    } catch (const std::system_error& error) {
        PLATFORM_LOG(DLOG_ERROR, "a remote cannot be asked: %s", error.what());
        m_isDone = true;
        g_source_set_ready_time(m_source.get(), 0);
    }
}

void Interview::Ask(Channel& channel)
{
    Answers answers;
    if (const auto report = channel.GetFeature(kIdentity, kIdentitySize)) {
        answers.identity = IdentityIn(*report);
    }
    bool isCancelled = false;
    {
        const std::lock_guard lock(m_mutex);
        isCancelled = m_isCancelled;
    }
    if (!isCancelled) {
        if (const auto report = channel.GetFeature(kStatus, kStatusSize)) {
            answers.status = StatusIn(*report);
        }
    }
    const std::lock_guard lock(m_mutex);
    m_answers = answers;
    m_isDone = true;
    m_ended.notify_all();
    g_source_set_ready_time(m_source.get(), 0);
}

std::optional<Answers> Interview::Wait(int milliseconds)
{
    std::unique_lock lock(m_mutex);
    if (!m_source) {
        return std::nullopt;
    }
    m_ended.wait_for(lock, std::chrono::milliseconds(milliseconds), [this] { return m_isDone; });
    return m_isDone ? std::optional(m_answers) : std::nullopt;
}

gboolean Interview::OnEnd(gpointer self)
{
    auto& interview = *static_cast<Interview*>(self);
    interview.End();
    // A copy of each: who is told may start the next one, or end this.
    const auto onDone = std::move(interview.m_onDone);
    const Answers answers = interview.m_answers;
    onDone(answers);
    return G_SOURCE_REMOVE;
}

void Interview::End()
{
    if (m_thread.joinable()) {
        {
            const std::lock_guard lock(m_mutex);
            m_isCancelled = true;
        }
        m_thread.join();
    }
    m_source.reset();
    m_channel.reset();
}

} // namespace hid
