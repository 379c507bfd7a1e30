#pragma once

#include "bus/Handles.h"
#include "hid/Protocol.h"
#include "hid/Transport.h"

#include <glib.h>

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

namespace hid {

struct Answers
{
    std::optional<Identity> identity;
    std::optional<Status> status;
};

/// Asks a remote what it is and how it is. The kernel waits for the answers, so a thread of its own does, which lasts
/// for a second at most.
class Interview
{
public:
    Interview() = default;
    ~Interview()
    {
        End();
    }
    Interview(const Interview&) = delete;
    Interview& operator=(const Interview&) = delete;

    /// \param onDone told on the main loop
    void Start(std::shared_ptr<Channel> channel, std::function<void(const Answers&)> onDone);
    [[nodiscard]] bool IsRunning() const
    {
        return m_source != nullptr;
    }
    /// Waits for the end of the interview.
    /// \return what the remote has said, while the interview runs; nothing is told of it before
    std::optional<Answers> Wait(int milliseconds);

private:
    static gboolean OnEnd(gpointer self);
    void Ask(Channel& channel);
    void End();

    std::thread m_thread;
    std::shared_ptr<Channel> m_channel;
    std::function<void(const Answers&)> m_onDone;
    bus::SourcePtr m_source; ///< ready when the thread is done

    std::mutex m_mutex; ///< guards what is below
    std::condition_variable m_ended;
    bool m_isDone = false;
    bool m_isCancelled = false;
    Answers m_answers;
};

} // namespace hid
