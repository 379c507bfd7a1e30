#pragma once

#include "bus/Handles.h"
#include "bus/SystemBus.h"
#include "sensor/Reading.h"

#include <gio/gio.h>

#include <optional>
#include <string>

namespace sensor {

/// The sensor daemon of desktops, for boxes whose sensor is no plain device of the kernel. It knows brightness only,
/// and leaves the bus when there is no sensor.
class Proxy final : private bus::Guest
{
public:
    /// For one reading, all its questions together.
    static constexpr int kPatienceMs = 800;

    static Proxy& OfProcess();

    Proxy() = default;
    ~Proxy();
    Proxy(const Proxy&) = delete;
    Proxy& operator=(const Proxy&) = delete;

    /// \param isThere whether the daemon answers and has a sensor
    std::optional<Reading> Read(bool* isThere);

private:
    struct Question
    {
        const char* name;
        const char* path;
        const char* interface;
        const char* method;
    };

    void BusCame(GDBusConnection* connection) override;
    void BusWent(GDBusConnection* connection) override;
    /// Null when it is not answered in the time that is left.
    [[nodiscard]] bus::VariantPtr Ask(const Question& question, GVariant* body, const GVariantType* type) const;
    bus::VariantPtr Property(const char* name, const GVariantType* type);
    /// \param isFresh whether it was not claimed before
    bool Claim(bool* isFresh);
    [[nodiscard]] bool Pauses() const;

    gint64 m_deadline = 0;     ///< of the reading that is under way; monotonic, microseconds
    std::string m_claimedFrom; ///< the daemon's unique name: another one knows of no claim
};

} // namespace sensor
