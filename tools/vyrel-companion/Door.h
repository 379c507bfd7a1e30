#pragma once

#include "people/Requests.h"
#include "vyrel-companion/Friends.h"
#include "vyrel-companion/Rules.h"
#include "vyrel-companion/Terminal.h"

#include <gio/gio.h>

#include <cstdint>
#include <set>
#include <string>

namespace companion {

/// Decides who may pair and connect, and answers the platform, where the requests wait. A decision is never waited for
/// in a call of the service, which could not pass the answer on until it has its own.
class Door
{
public:
    Door(GDBusConnection* connection, Friends& friends, Terminal& terminal, Rules rules);
    ~Door();
    Door(const Door&) = delete;
    Door& operator=(const Door&) = delete;

    /// Somebody may be waiting: looks at all who do.
    void Look();

private:
    static void OnDone(GDBusConnection* connection, const char* sender, const char* path, const char* interface,
                       const char* signal, GVariant* body, gpointer self);
    static void OnCame(GDBusConnection* connection, const char* name, const char* owner, gpointer self);
    static void OnWent(GDBusConnection* connection, const char* name, gpointer self);

    void Decide(const people::Request& request);
    void AskPerson(const people::Request& request);
    void Accept(const people::Request& request, const std::string& code);
    void Refuse(const people::Request& request);
    void Answer(const people::Request& request, bool accept, const std::string& code);

    GDBusConnection* m_connection;
    Friends& m_friends;
    Terminal& m_terminal;
    const Rules m_rules;
    std::set<std::uint64_t> m_seen; ///< what waits and was looked at
    guint m_done = 0;
    guint m_watch = 0;
};

} // namespace companion
