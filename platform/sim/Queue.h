#pragma once

#include <glib.h>

#include <chrono>
#include <functional>
#include <set>

namespace sim {

/// What will happen on the main loop: never from inside the call that caused it, one at a time, in the order in which
/// it was posted. What is still pending when the queue goes never happens.
class Queue
{
public:
    using Deed = std::function<void()>;

    Queue() = default;
    ~Queue()
    {
        Clear();
    }
    Queue(const Queue&) = delete;
    Queue& operator=(const Queue&) = delete;

    void Post(Deed deed);
    void PostAfter(std::chrono::milliseconds delay, Deed deed);
    void Clear();

private:
    struct Pending;
    void Attach(GSource* source, Deed deed);
    static gboolean Dispatch(gpointer pending);

    std::set<GSource*> m_sources;
};

} // namespace sim
