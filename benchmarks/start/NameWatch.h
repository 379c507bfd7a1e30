// Sees from outside who owns a bus name.
#pragma once

#include <gio/gio.h>

#include <string>

namespace bench {

/// Follows one name on the system bus, on a connection of its own. Throws std::runtime_error when there is no bus.
class NameWatch
{
public:
    explicit NameWatch(const std::string& name);
    ~NameWatch();
    NameWatch(const NameWatch&) = delete;
    NameWatch& operator=(const NameWatch&) = delete;

    /// Waits until the name has an owner, or has none. Throws std::runtime_error after \p seconds.
    void WaitUntilOwned(bool owned, unsigned int seconds);

private:
    static void OnSignal(GDBusConnection* connection, const gchar* sender, const gchar* path, const gchar* interface,
                         const gchar* signal, GVariant* parameters, gpointer self);
    bool AskWhetherOwned();

    std::string m_name;
    GDBusConnection* m_connection;
    bool m_owned = false;
};

} // namespace bench
