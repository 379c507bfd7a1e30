#pragma once

#include "sim/Tape.h"

#include <glib.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <set>
#include <vector>

namespace sim {

/// What will happen on the main loop: never from inside the call that caused it, one at a time, in the order in which
/// it was posted. What is still pending when the queue goes never happens. What happens has the cause that was handled
/// when it was posted.
class Queue
{
public:
    using Deed = std::function<void()>;

    explicit Queue(Tape& tape) : m_tape(tape) {}
    ~Queue()
    {
        Clear();
    }
    Queue(const Queue&) = delete;
    Queue& operator=(const Queue&) = delete;

    void Post(Deed deed);
    void PostAfter(std::chrono::milliseconds delay, Deed deed);
    void Clear();
    /// When what was posted for later will happen, on the service's clock in microseconds, the first one first.
    [[nodiscard]] std::vector<std::int64_t> Due() const;

private:
    struct Pending;
    void Attach(GSource* source, Deed deed);
    static gboolean Dispatch(gpointer pending);

    Tape& m_tape;
    std::set<GSource*> m_sources;
};

} // namespace sim
