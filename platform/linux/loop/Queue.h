#pragma once

#include <glib.h>

#include <deque>
#include <functional>
#include <utility>

namespace loop {

/// Work that the main loop comes to later, one piece in each round, in the order of posting. What is left when its
/// owner goes is dropped.
class Queue
{
public:
    /// \param priority G_PRIORITY_DEFAULT..., lower work waits until nothing else is ready
    explicit Queue(int priority = G_PRIORITY_DEFAULT) : m_priority(priority) {}
    ~Queue()
    {
        Clear();
    }
    Queue(const Queue&) = delete;
    Queue& operator=(const Queue&) = delete;

    void Post(std::function<void()> work)
    {
        m_work.push_back(std::move(work));
        if (m_source == 0) {
            m_source = g_idle_add_full(m_priority, OnTurn, this, nullptr);
        }
    }

    void Clear()
    {
        m_work.clear();
        if (m_source != 0) {
            g_source_remove(m_source);
            m_source = 0;
        }
    }

private:
    static gboolean OnTurn(gpointer self)
    {
        auto& queue = *static_cast<Queue*>(self);
        const std::function<void()> work = std::move(queue.m_work.front());
        queue.m_work.pop_front();
        // Before the work, which may post more or clear the queue.
        if (queue.m_work.empty()) {
            queue.m_source = 0;
            work();
            return G_SOURCE_REMOVE;
        }
        work();
        return queue.m_source != 0 ? G_SOURCE_CONTINUE : G_SOURCE_REMOVE;
    }

    const int m_priority;
    guint m_source = 0;
    std::deque<std::function<void()>> m_work;
};

} // namespace loop
