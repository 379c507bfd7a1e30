#pragma once

#include <glib.h>

#include <functional>
#include <memory>
#include <thread>

namespace support {

/// A thread with a main context and a main loop of its own.
class LoopThread
{
public:
    struct ContextUnref
    {
        void operator()(GMainContext* context) const
        {
            g_main_context_unref(context);
        }
    };
    using ContextPtr = std::unique_ptr<GMainContext, ContextUnref>;

    LoopThread();

    /// Ends the loop after all work posted so far, and joins the thread.
    ~LoopThread();
    LoopThread(const LoopThread&) = delete;
    LoopThread& operator=(const LoopThread&) = delete;

    /// Does \p work on the thread, after all work posted so far, and waits for its end. What it throws is thrown here.
    /// Not to be called on the thread itself.
    void Run(const std::function<void()>& work) const;

    /// Lets the thread that runs \p context do \p work later, in the order of posting. Any thread may call it. Work
    /// that the context never comes to is destroyed with it.
    static void Post(GMainContext* context, std::function<void()> work);

    /// \return a share of the context, for those that post to it
    [[nodiscard]] ContextPtr Context() const;

private:
    struct LoopUnref
    {
        void operator()(GMainLoop* loop) const
        {
            g_main_loop_unref(loop);
        }
    };

    ContextPtr m_context;
    std::unique_ptr<GMainLoop, LoopUnref> m_loop;
    std::thread m_thread;
};

} // namespace support
