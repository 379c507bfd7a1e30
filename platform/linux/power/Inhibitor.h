#pragma once

#include "bus/Handles.h"

#include <gio/gio.h>

#include <login_dbus.h>

#include <memory>

namespace power {

/// One hold on logind. It is a descriptor, so it ends with the process whatever happens to it.
class Inhibitor
{
public:
    /// \param what "sleep:shutdown"
    /// \param why for whoever lists the holds
    /// \param mode "delay" or "block"
    Inhibitor(const char* what, const char* why, const char* mode) : m_what(what), m_why(why), m_mode(mode) {}
    ~Inhibitor();
    Inhibitor(const Inhibitor&) = delete;
    Inhibitor& operator=(const Inhibitor&) = delete;

    /// Asks for it, unless it is held or asked for already. Failure is named in the log.
    void Take(LoginManager* login);
    /// Gives it back; an answer that is still on its way gives nothing any more.
    void Drop();

    [[nodiscard]] bool IsHeld() const
    {
        return m_descriptor >= 0;
    }

private:
    static void OnAnswer(GObject* login, GAsyncResult* result, gpointer self);

    const char* m_what;
    const char* m_why;
    const char* m_mode;
    int m_descriptor = -1;
    bus::ObjectPtr<GCancellable> m_asking;
};

} // namespace power
