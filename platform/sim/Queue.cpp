#include "sim/Queue.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace sim {

struct Queue::Pending
{
    Queue* queue;
    GSource* source;
    Deed deed;
    EntryId cause;
};

void Queue::Post(Deed deed)
{
    GSource* source = g_idle_source_new();
    g_source_set_priority(source, G_PRIORITY_DEFAULT);
    Attach(source, std::move(deed));
}

void Queue::PostAfter(std::chrono::milliseconds delay, Deed deed)
{
    Attach(g_timeout_source_new(static_cast<guint>(delay.count())), std::move(deed));
}

void Queue::Attach(GSource* source, Deed deed)
{
    auto* pending = new Pending{this, source, std::move(deed), m_tape.Cause()}; // owned by the source
    g_source_set_callback(source, Dispatch, pending, [](gpointer data) { delete static_cast<Pending*>(data); });
    g_source_attach(source, nullptr);
    m_sources.insert(source);
}

gboolean Queue::Dispatch(gpointer data)
{
    auto* pending = static_cast<Pending*>(data);
    pending->queue->m_sources.erase(pending->source);
    const Deed deed = std::move(pending->deed);
    const Tape::Scope handles = pending->queue->m_tape.Resume(pending->cause);
    g_source_unref(pending->source);
    deed();
    return G_SOURCE_REMOVE;
}

std::vector<std::int64_t> Queue::Due() const
{
    std::vector<std::int64_t> due;
    std::ranges::transform(m_sources, std::back_inserter(due), g_source_get_ready_time);
    std::ranges::sort(due);
    return due;
}

void Queue::Clear()
{
    for (GSource* source : std::exchange(m_sources, {})) {
        g_source_destroy(source);
        g_source_unref(source);
    }
}

} // namespace sim
