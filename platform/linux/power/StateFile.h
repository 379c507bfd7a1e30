#pragma once

#include <optional>
#include <string>

namespace power {

/// What outlives a restart of the service, but not of the box.
struct Remembered
{
    int state = 0;
    int ambientMode = 0;
    int ambientType = 0;
    int wakeupReason = 0;
    bool isSilenced = false; ///< standby muted the sound, which was not muted before

    bool operator==(const Remembered&) const = default;
};

/// /run/vyrel-lite/power.state: replaced by renaming, so that whoever reads it finds a whole one.
class StateFile
{
public:
    /// Nothing after a start of the box, and, with a line in the log, when the file makes no sense.
    static std::optional<Remembered> Load();
    /// Trouble is named in the log, once until it is over.
    static void Save(const Remembered& remembered);
};

/// What a restart that was asked for leaves for the next start of the box: /var/lib/vyrel-lite/power.restart.
class RestartNote
{
public:
    /// \param state the power state to come back to
    static void Leave(int state);
    /// The restart did not come.
    static void Forget();
    /// The state that a restart left, once; nothing when the box was not restarted on request since.
    static std::optional<int> Take();
};

} // namespace power
