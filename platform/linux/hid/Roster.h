#pragma once

#include "hid/Protocol.h"
#include "hid/Remote.h"

#include <glib.h>

#include <cstddef>
#include <cstdint>
#include <list>
#include <optional>
#include <string>

namespace hid {

/// What is known of one of the box's own remotes, also while it sleeps.
struct RosterEntry
{
    std::string address;
    Role role = Role::Other;
    bool isConnected = false;
    bool speaks = false;                 ///< the protocol
    std::optional<std::uint8_t> battery; ///< as it was reported, or made of a percentage
    gint64 batteryTime = 0;              ///< when, of Now()
    std::optional<Identity> identity;
};

/// The box's own remotes that were connected since the service started: for people, who see a remote most often when
/// it is not connected. The latest are kept.
class Roster
{
public:
    static constexpr std::size_t kKept = 16;

    /// Milliseconds, also those in which the box slept.
    static gint64 Now();

    /// \param battery nothing for no news of it
    void Note(const Remote& remote, std::optional<std::uint8_t> battery);

    /// The one that was heard of last comes first.
    [[nodiscard]] const std::list<RosterEntry>& Entries() const
    {
        return m_entries;
    }

private:
    std::list<RosterEntry> m_entries;
};

} // namespace hid
