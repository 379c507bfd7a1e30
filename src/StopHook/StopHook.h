#pragma once

#include <glib.h>

/// Lets SIGTERM and SIGINT end a main loop: the first of them quits it, so that the service stops in its own order, and
/// the second ends the process at once, also while the loop is held by a call that blocks. A signal that comes before
/// the loop runs ends it as soon as it does.
///
/// There is one at a time in a process; when it goes, both signals have their default effect again. Without a file
/// descriptor left for it the signals keep the effect that they have, and the log says so.
class StopHook
{
public:
    /// \param loop is quit by the first signal; the hook keeps a reference
    explicit StopHook(GMainLoop* loop);
    ~StopHook();
    StopHook(const StopHook&) = delete;
    StopHook& operator=(const StopHook&) = delete;

private:
    int m_eventFd; ///< -1 when there was none to be had
    unsigned int m_source = 0;
};
