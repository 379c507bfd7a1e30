#include "support/LoopThread.h"

#include <atomic>
#include <future>
#include <utility>

namespace support {

namespace {

void RunLoop(GMainContext* context, GMainLoop* loop)
{
    g_main_context_push_thread_default(context);
    g_main_loop_run(loop);
    g_main_context_pop_thread_default(context);
}

/// GLib hands it to the other thread under a lock that the thread sanitizer does not know: the flag tells it that what
/// was written before is there for the other to read.
struct Work
{
    std::function<void()> body;
    std::atomic<bool> isHandedOver = false;
};

Work* Taken(gpointer work)
{
    auto* const taken = static_cast<Work*>(work);
    static_cast<void>(taken->isHandedOver.load(std::memory_order_acquire));
    return taken;
}

gboolean DoWork(gpointer work)
{
    Taken(work)->body();
    return G_SOURCE_REMOVE;
}

void ForgetWork(gpointer work)
{
    const std::unique_ptr<Work> owned(Taken(work));
}

} // namespace

LoopThread::LoopThread()
    : m_context(g_main_context_new()),
      m_loop(g_main_loop_new(m_context.get(), FALSE)),
      m_thread(RunLoop, m_context.get(), m_loop.get())
{}

LoopThread::~LoopThread()
{
    // Posted, because a loop that is told to quit before it runs would run for ever.
    Post(m_context.get(), [this] { g_main_loop_quit(m_loop.get()); });
    m_thread.join();
}

void LoopThread::Run(const std::function<void()>& work) const
{
    std::packaged_task<void()> task(work);
    std::future<void> end = task.get_future();
    Post(m_context.get(), [&task] { task(); });
    end.get();
}

void LoopThread::Post(GMainContext* context, std::function<void()> work)
{
    auto owned = std::make_unique<Work>();
    owned->body = std::move(work);
    owned->isHandedOver.store(true, std::memory_order_release);
    GSource* source = g_idle_source_new();
    g_source_set_priority(source, G_PRIORITY_DEFAULT);
    g_source_set_callback(source, DoWork, owned.release(), ForgetWork);
    g_source_attach(source, context);
    g_source_unref(source);
}

LoopThread::ContextPtr LoopThread::Context() const
{
    return ContextPtr(g_main_context_ref(m_context.get()));
}

} // namespace support
